"""Debian in a folder: made once, copied for each use."""

from __future__ import annotations

import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

from tavrinsim import payload
from tavrinsim.board import Board
from tavrinsim.keys import KeyRing

# What a small image has: the packages' own needs among it, so that no archive is asked at their
# installation.
INCLUDED = (
    "dbus",
    "libjson-c5",
    "libssl3",
    "libstdc++6",
    "libsystemd0",
    "man-db",
    "systemd-sysv",
)
RELEASE = "bookworm"


def make_base(folder: Path) -> None:
    """Makes the root that all others are copies of; takes minutes, and the network."""
    words = ["debootstrap", "--variant=minbase", f"--include={','.join(INCLUDED)}", RELEASE]
    draft = folder.with_name(folder.name + ".new")
    shutil.rmtree(draft, ignore_errors=True)
    subprocess.run([*words, str(draft)], check=True, stdout=subprocess.DEVNULL)
    draft.rename(folder)


@dataclass(frozen=True)
class Root:
    """A root folder that nothing runs in."""

    folder: Path

    @classmethod
    def copy(cls, base: Path, folder: Path) -> Root:
        """A new one, as the base is."""
        subprocess.run(["cp", "-a", "--reflink=auto", str(base), str(folder)], check=True)
        return cls(folder)

    def run(self, *words: str, check: bool = True) -> str:
        """What a command in it prints, errors included."""
        done = subprocess.run(
            ["chroot", str(self.folder), *words],
            env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "DEBIAN_FRONTEND": "noninteractive"},
            text=True,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )
        assert done.returncode == 0 or not check, f"{words}: {done.stdout}"
        return done.stdout

    def install(self, packages: list[Path]) -> None:
        """Installs package files with apt."""
        inside = [f"/root/{package.name}" for package in packages]
        for package in packages:
            shutil.copy(package, self.folder / "root")
        self.run("apt-get", "install", "--yes", "--no-install-recommends", *inside)
        for path in inside:
            (self.folder / path[1:]).unlink()

    def files(self) -> set[str]:
        """Every path in it."""
        return {f"/{path.relative_to(self.folder)}" for path in self.folder.rglob("*")}


NEW_VERSION = "2.3.4"
PAYLOAD_FOLDER = "/srv/payload"
BOARD_FOLDER = "/var/board"

# What a platform's image opens in the sandbox for its own libraries.
DROP_IN = f"""\
[Service]
Environment=SIM_BOARD={BOARD_FOLDER} LD_PRELOAD=libsimi2c.so
ReadWritePaths={BOARD_FOLDER}
"""


def fit_out(root: Root) -> Board:
    """Puts one board of each kind into it, and a payload for the PBB's CPLD."""
    drop_in = _inside(root, "/etc/systemd/system/tavrinupdate.service.d/platform.conf")
    drop_in.parent.mkdir(parents=True)
    drop_in.write_text(DROP_IN)
    keys = KeyRing.create(_inside(root, "/etc/shared_keys"))
    contents = payload.make("pbb", NEW_VERSION, keys.private["i2cpld", "default"])
    payload.write(_inside(root, PAYLOAD_FOLDER), contents)
    return Board.create(_inside(root, BOARD_FOLDER), pbb=1, pdb=1, flop=1)


def _inside(root: Root, path: str) -> Path:
    return root.folder / path[1:]
