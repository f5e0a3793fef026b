"""The private view of the fixed paths: the controller's own little file system.

The service opens `/var/log/tavrinupdate.log` and `/etc/shared_keys/...` and nothing
redirects it. So it runs inside a small root folder in which these paths are scratch,
with the machine's programs and libraries beside them, read-only. Nothing outside the
world's folder is created or changed: mount points exist in the scratch root only.

What runs in the view has no capabilities, as the service under its unit has none: root's privileges
would hide limits. Two programs can make such a view. Bubblewrap needs (user) namespaces; where these are
refused, as in many containers, proot gets there by tracing the system calls.
"""

from __future__ import annotations

import os
import shutil
import subprocess
from abc import ABC, abstractmethod
from collections.abc import Iterable, Sequence
from dataclasses import dataclass
from pathlib import Path

# What a program of the controller may see of the machine's /etc.
ETC_FILES = ("ld.so.cache", "passwd", "group", "nsswitch.conf", "localtime", "ssl/openssl.cnf")
# Every controller has a machine ID; without one, sd-bus fails over a question for it.
MACHINE_ID = "5f3759df5f3759df5f3759df5f3759df\n"
# Harmless devices only: a real I2C adapter of the machine must stay out of reach.
DEVICES = ("null", "zero", "full", "random", "urandom")
LIBRARY_FOLDERS = ("bin", "sbin", "lib", "lib32", "lib64", "libx32")

# Looks whether the view is what was asked for, by system calls that both ways know.
TRIAL = """
cd /etc/shared_keys || exit
for path; do
    if (: > "$path/.trial") 2> /dev/null; then
        echo "$path is not read-only" >&2
        exit 1
    fi
done
"""


class ViewError(RuntimeError):
    """This machine cannot give the view that was asked for."""


@dataclass(frozen=True)
class Bind:
    """A path of the machine that the view shows under the same name."""

    path: Path
    writable: bool = False


class ScratchRoot:
    """The folder that is `/` inside the view, and what is shown in it.

    `shown` are further paths (build tree, world folder) under their own names;
    `read_only` are paths of the view, such as "/var/log", that refuse writing.
    """

    def __init__(
        self, folder: Path, shown: Iterable[Bind], read_only: Iterable[str] = ()
    ) -> None:
        self.folder = folder
        self.read_only = tuple(read_only)
        self.devices = [Path("/dev") / name for name in DEVICES]
        for name in ("proc", "dev", "tmp", "var/log", "etc/shared_keys"):
            (folder / name).mkdir(parents=True, exist_ok=True)
        (folder / "etc" / "machine-id").write_text(MACHINE_ID)
        etc = (Bind(Path("/etc") / name) for name in ETC_FILES)
        machine = [Bind(Path("/usr")), *self._library_folders(), *etc]
        # Parents before children, or a parent would cover what lies below it.
        extra = sorted(shown, key=lambda bind: len(bind.path.parts))
        self.binds: list[Bind] = []
        for bind in (*machine, *extra):
            self.show(bind)
        for device in self.devices:
            self._mount_point(device)

    def show(self, bind: Bind) -> None:
        """Adds a path, where the machine has it, for all programs started from now on."""
        usr = Path("/usr")
        if usr in bind.path.parents:
            return  # shown already, and never writable
        if bind.path.exists() and bind not in self.binds:
            self._mount_point(bind.path)
            self.binds.append(bind)

    def inside(self, path: str) -> Path:
        """Where a path of the view lies on the machine."""
        return self.folder / path.lstrip("/")

    def _library_folders(self) -> list[Bind]:
        """/bin, /lib and their like: links on a merged-usr machine, else folders."""
        folders = [Path("/") / name for name in LIBRARY_FOLDERS]
        for link in (folder for folder in folders if folder.is_symlink()):
            copy = self.inside(str(link))
            if not copy.is_symlink():
                copy.symlink_to(os.readlink(link))
        return [Bind(folder) for folder in folders if not folder.is_symlink()]

    def _mount_point(self, path: Path) -> None:
        point = self.inside(str(path))
        if path.is_dir():
            point.mkdir(parents=True, exist_ok=True)
        else:
            point.parent.mkdir(parents=True, exist_ok=True)
            point.touch()


class View(ABC):
    """A way to run programs inside a scratch root.

    Where it `traces` them, they can have no second tracer, and their memory is not laid out as the
    kernel alone would: what looks at either from inside does not work there.
    """

    name: str
    traces = False

    def __init__(self, root: ScratchRoot) -> None:
        self.root = root

    @abstractmethod
    def command(self, argv: Sequence[str]) -> list[str]:
        """The command line that runs `argv` inside the view."""

    def environment(self) -> dict[str, str]:
        """What the view program itself needs in its environment."""
        return {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8"}

    def run(self, argv: Sequence[str], timeout: float = 30) -> subprocess.CompletedProcess[str]:
        """Runs a tool inside the view, for a look at the service's files."""
        return subprocess.run(
            self.command(argv),
            env=self.environment(),
            text=True,
            capture_output=True,
            timeout=timeout,
            check=False,
        )

    def trial(self) -> str:
        """Empty when the view works on this machine, else the reason why not."""
        if shutil.which(self.name) is None:
            return "not installed"
        done = self.run(["/bin/sh", "-c", TRIAL, "sh", *self.root.read_only])
        lines = done.stderr.strip().splitlines()
        return "" if done.returncode == 0 else (lines or [f"status {done.returncode}"])[-1]


class Bubblewrap(View):
    """Mount namespace; as an ordinary user inside a user namespace."""

    name = "bwrap"

    def command(self, argv: Sequence[str]) -> list[str]:
        """See `View.command`. No process namespace: a pid is the same in and out."""
        # /proc is bound, not mounted: many containers refuse a new one.
        words = ["bwrap", "--die-with-parent", "--cap-drop", "ALL"]
        words += ["--bind", str(self.root.folder), "/"]
        words += ["--dev-bind", "/proc", "/proc"]
        for device in self.root.devices:
            words += ["--dev-bind", str(device), str(device)]
        for bind in self.root.binds:
            option = "--bind" if bind.writable else "--ro-bind"
            words += [option, str(bind.path), str(bind.path)]
        for path in self.root.read_only:
            words += ["--ro-bind", str(self.root.inside(path)), path]
        return [*words, "--chdir", "/", "--", *argv]


class Proot(View):
    """System calls translated under ptrace; needs no namespace and no privilege.

    Calls younger than the program, such as statx, go past it to the machine's paths: a
    service uses none of them here, but `ls` does. Look at files from outside instead,
    through `ScratchRoot.inside`.
    """

    name = "proot"
    traces = True

    def __init__(self, root: ScratchRoot) -> None:
        super().__init__(root)
        for path in root.read_only:
            root.inside(path).chmod(0o555)

    def command(self, argv: Sequence[str]) -> list[str]:
        """See `View.command`."""
        words = ["proot", "-r", str(self.root.folder), "-b", "/proc"]
        paths = [*self.root.devices, *(bind.path for bind in self.root.binds)]
        for path in paths:
            words += ["-b", str(path)]
        return [*self._no_privileges(), *words, "-w", "/", *argv]

    def environment(self) -> dict[str, str]:
        """See `View.environment`."""
        # Its seccomp shortcut mistakes the order of events on present kernels.
        scratch = str(self.root.inside("/tmp"))
        return super().environment() | {"PROOT_NO_SECCOMP": "1", "PROOT_TMP_DIR": scratch}

    def _no_privileges(self) -> list[str]:
        if os.geteuid() != 0:
            return []
        return ["setpriv", "--inh-caps=-all", "--bounding-set=-all"]


def choose_view(root: ScratchRoot, only: str | None = None) -> View:
    """The first view that works here; `only` ("bwrap", "proot") leaves no choice."""
    reasons = []
    for kind in (Bubblewrap, Proot):
        if only not in (None, kind.name):
            continue
        view = kind(root)
        reason = view.trial()
        if not reason:
            return view
        reasons.append(f"{view.name}: {reason}")
    raise ViewError("no private view on this machine (" + "; ".join(reasons) + ")")
