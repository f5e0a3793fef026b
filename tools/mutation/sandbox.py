"""A copy of the tree in which changes are made, built and tested."""

from __future__ import annotations

import hashlib
import os
import re
import shutil
import subprocess
from collections.abc import Sequence
from pathlib import Path

# Optimised, so that changes without a meaning give the same code; without what says where
# in the source a piece of code comes from.
BUILD_OPTIONS = ("-Doptimization=1", "-Ddebug=false", "-Dtests=true")

TARGETS = ("unit-tests", "system-tests")

# Long enough for every test program; what takes longer hangs.
UNIT_SECONDS = 60
SYSTEM_SECONDS = 600

# The system tests that look at a folder most closely: they notice most of its changes, so they go
# first. The others follow.
CLOSEST = {
    "auth": ("test_signature", "test_refusals"),
    "hw": ("test_port", "test_version", "test_power"),
    "inventory": ("test_publication", "test_start", "test_properties"),
    "log": ("test_log_file", "test_start"),
    "main": ("test_start", "test_process_end", "test_publication"),
    "service": ("test_publication", "test_start", "test_interfaces", "test_properties"),
    "update": ("test_intake", "test_refusals", "test_update", "test_worker", "test_reports"),
    "watchers": ("test_registration", "test_fru", "test_power", "test_start"),
}
NAME_OF_FAILED = re.compile(r"^(?:FAILED|ERROR|\[  FAILED  \]) ([^\s,]+)", re.MULTILINE)


class Sandbox:
    """One copy below `folder`, with a build folder of its own. Used by one thread."""

    def __init__(self, folder: Path) -> None:
        self.tree = folder / "tree"
        self.build = folder / "build"
        self.original_code: dict[str, str] = {}
        self._environment = os.environ | {"PYTHONDONTWRITEBYTECODE": "1"}
        # The copy's own modules are meant, which its pytest.ini finds.
        self._environment.pop("PYTHONPATH", None)

    def prepare(self, root: Path) -> None:
        """Brings the copy to the tree's present state and builds everything."""
        names = _run(["git", "ls-files", "-z", "-co", "--exclude-standard"], root).stdout
        wanted = {name for name in names.split("\0") if (root / name).is_file()}
        for name in sorted(wanted):
            self._copy(root / name, self.tree / name)
        for path in [*self.tree.rglob("*")]:
            if path.is_file() and str(path.relative_to(self.tree)) not in wanted:
                path.unlink()
        if not (self.build / "build.ninja").exists():
            self._checked(["meson", "setup", str(self.build), str(self.tree), *BUILD_OPTIONS])
        self._checked(["ninja", "-C", str(self.build), "-j1", *TARGETS])
        sources = (name for name in wanted if (self.build / self._object(name)).exists())
        self.original_code = {source: self._digest(source) for source in sources}

    # -- building ----------------------------------------------------------------------

    def object_code(self, source: str) -> str | None:
        """Builds a source's object; what it holds, or None where it does not build."""
        return self._digest(source) if self._ninja(self._object(source)) else None

    def build_unit_tests(self, folders: Sequence[str]) -> bool:
        """Builds the unit tests of the folders."""
        return not folders or self._ninja(*(f"tests/unit/{folder}_tests" for folder in folders))

    def build_service(self) -> bool:
        """Builds the service alone."""
        return self._ninja("tavrinupdate")

    def unit_folders(self) -> list[str]:
        """The folders that have unit tests."""
        programs = (self.build / "tests" / "unit").glob("*_tests")
        return sorted(program.name.removesuffix("_tests") for program in programs)

    # -- testing: each says which test failed first, empty when none did -----------------

    def run_unit_tests(self, folder: str) -> str:
        """The unit tests of one folder."""
        program = str(self.build / "tests" / "unit" / f"{folder}_tests")
        return self._first_failure(
            [program, "--gtest_brief=1", "--gtest_fail_fast"], UNIT_SECONDS
        )

    def run_system_tests(self, folder: str) -> str:
        """All system tests until one fails, the closest ones to the folder first."""
        tests = self.tree / "tests" / "system"
        closest = CLOSEST.get(folder, ())
        files = sorted(
            tests.glob("test_*.py"),
            key=lambda file: (not file.name.startswith(closest), file.name),
        )
        options = [
            "-x",
            "-q",
            "-n2",
            f"--binary={self.build / 'tavrinupdate'}",
        ]
        command = ["/usr/bin/python3", "-m", "pytest", *options, *map(str, files)]
        return self._first_failure(command, SYSTEM_SECONDS)

    # -- helpers -----------------------------------------------------------------------

    def _first_failure(self, command: Sequence[str], seconds: float) -> str:
        # With a group of its own, so that whatever a hanging test started ends with it.
        process = subprocess.Popen(
            command,
            cwd=self.tree,
            env=self._environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            errors="replace",
            process_group=0,
        )
        try:
            output, _ = process.communicate(timeout=seconds)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            process.communicate()
            return f"{Path(command[0]).name}: not finished after {seconds} s"
        if process.returncode == 0:
            return ""
        failed = NAME_OF_FAILED.search(output)
        return failed[1] if failed else f"{Path(command[0]).name}: status {process.returncode}"

    def _ninja(self, *targets: str) -> bool:
        command = ["ninja", "-C", str(self.build), "-j1", *targets]
        return _run(command, self.tree, check=False).returncode == 0

    def _digest(self, source: str) -> str:
        return hashlib.sha256((self.build / self._object(source)).read_bytes()).hexdigest()

    def _object(self, source: str) -> str:
        folder = source.partition("/")[0]
        program = "tavrinupdate" if folder == "main" else f"lib{folder}.a"
        return f"{program}.p/{source.replace('/', '_')}.o"

    def _checked(self, command: Sequence[str]) -> None:
        done = _run(command, self.tree, check=False)
        if done.returncode != 0:
            raise RuntimeError(
                f"{' '.join(command)}\n{done.stdout[-3000:]}{done.stderr[-1000:]}"
            )

    def _copy(self, source: Path, target: Path) -> None:
        # Only what differs: an older time would not be noticed, a newer one builds for nothing.
        if target.exists() and target.read_bytes() == source.read_bytes():
            return
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(source, target)
        shutil.copymode(source, target)


def _run(
    command: Sequence[str], folder: Path, check: bool = True
) -> subprocess.CompletedProcess[str]:
    return subprocess.run(command, cwd=folder, text=True, capture_output=True, check=check)
