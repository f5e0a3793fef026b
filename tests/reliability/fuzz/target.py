"""One fuzz target, one run of it, and the few inputs that reach everything that all reach."""

from __future__ import annotations

import os
import re
import shutil
import subprocess
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
SOURCES = ROOT / "tests" / "fuzz"

# An input that takes longer than this many seconds hangs.
LONGEST_INPUT = 60
LARGEST_INPUT = 4096

_STATUS = re.compile(r"^#(\d+)\t.* cov: (\d+) ", re.M)
_WRONG = re.compile(r"^(?:does not hold: .*|SUMMARY: .*)$", re.M)


@dataclass(frozen=True)
class Target:
    """A fuzz target, and where its inputs are."""

    name: str
    build: Path

    @property
    def program(self) -> Path:
        return self.build / "tests" / "fuzz" / f"{self.name}_fuzz"

    @property
    def seeds(self) -> Path:
        """The inputs in the tree."""
        return SOURCES / "corpus" / self.name

    @property
    def found(self) -> Path:
        """What runs have found; not in the tree."""
        return self.build / "corpus" / self.name

    @property
    def crashes(self) -> Path:
        return self.build / "crashes" / self.name

    def command(self, *options: str) -> list[str]:
        """The program with what all its runs have in common."""
        return [
            str(self.program),
            f"-timeout={LONGEST_INPUT}",
            f"-max_len={LARGEST_INPUT}",
            f"-artifact_prefix={self.crashes}/",
            *options,
        ]

    def merge(self) -> list[Path]:
        """Adds what runs have found and takes branches that no input in the tree takes; the added ones."""
        before = set(self.seeds.iterdir())
        subprocess.run(
            self.command("-merge=1", "-use_counters=0", str(self.seeds), str(self.found)),
            check=True,
            capture_output=True,
        )
        return sorted(set(self.seeds.iterdir()) - before)


def targets(build: Path) -> list[Target]:
    """All targets, by name."""
    sources = sorted(SOURCES.glob("*_fuzz.cpp"))
    return [Target(source.stem.removesuffix("_fuzz"), build) for source in sources]


class Run:
    """A run of a target in the background; it ends after its time, or with the first input that fails."""

    def __init__(self, target: Target, seconds: int) -> None:
        self.target = target
        self._before = {path.name for path in target.crashes.glob("*")}
        self._log = target.build / f"{target.name}.log"
        self._begin = time.monotonic()
        command = target.command(
            f"-max_total_time={seconds}",
            f"-dict={SOURCES / target.name}.dict",
            str(target.found),
            str(target.seeds),
        )
        with self._log.open("wb") as log:
            self._process = subprocess.Popen(
                command, stdout=log, stderr=log, env=os.environ | _SANITIZERS
            )

    def ended(self) -> bool:
        """Whether the run is over."""
        if self._process.poll() is None:
            self.seconds = time.monotonic() - self._begin
            return False
        return True

    def stop(self) -> None:
        """Ends the run before its time."""
        self._process.terminate()
        self._process.wait()

    seconds = 0.0

    @property
    def executions(self) -> int:
        return self._last_status()[0]

    @property
    def edges(self) -> int:
        """Number of branches of the program that some input takes."""
        return self._last_status()[1]

    @property
    def new_crashes(self) -> list[Path]:
        """Inputs that made the program fail, leak or hang."""
        found = sorted(self.target.crashes.glob("*"))
        return [path for path in found if path.name not in self._before and not _is_slow(path)]

    @property
    def violations(self) -> list[str]:
        """What went wrong, with the way to see it again."""
        replays = [f"{self.target.program} {path}" for path in self.new_crashes]
        if not replays and self._process.poll() == 0:
            return []
        reasons = _WRONG.findall(self._log.read_text(errors="replace"))
        reason = reasons[0] if reasons else f"ended with {self._process.poll()}"
        how = f"see it again: {' '.join(replays)}" if replays else f"its output is {self._log}"
        return [f"{self.target.name}: {reason}; {how}"]

    def _last_status(self) -> tuple[int, int]:
        statuses = _STATUS.findall(self._log.read_text(errors="replace"))
        return (int(statuses[-1][0]), int(statuses[-1][1])) if statuses else (0, 0)


def _is_slow(path: Path) -> bool:
    """Slow inputs are kept beside those that fail, but are none of them."""
    return path.name.startswith("slow-unit-")


# Short stacks and a small quarantine for freed memory: twice as many executions in a second.
_SANITIZERS = {
    "ASAN_OPTIONS": "quarantine_size_mb=16:malloc_context_size=6",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}


MOST_FILES = 200
MOST_BYTES = 300 * 1024


def merge(target: Target) -> list[str]:
    """Adds to the inputs in the tree what reaches more than they do; what is wrong afterwards.

    The named inputs stay: each is there for a reason that a person can read.
    """
    with tempfile.TemporaryDirectory() as folder:
        chosen = Path(folder)
        named = _named(target.seeds)
        for path in named:
            shutil.copy(path, chosen)
        subprocess.run(
            target.command(
                "-set_cover_merge=1", str(chosen), str(target.seeds), str(target.found)
            ),
            check=True,
            capture_output=True,
        )
        _replace(target.seeds, chosen)
    return _too_much(target.seeds)


def _named(folder: Path) -> list[Path]:
    """The inputs that a person made; the fuzzer's have digests for names."""
    return [path for path in folder.iterdir() if not _is_digest(path.name)]


def _is_digest(name: str) -> bool:
    return len(name) == 40 and all(letter in "0123456789abcdef" for letter in name)


def _replace(folder: Path, chosen: Path) -> None:
    for path in folder.iterdir():
        path.unlink()
    for path in chosen.iterdir():
        shutil.copy(path, folder)


def _too_much(folder: Path) -> list[str]:
    sizes = [path.stat().st_size for path in folder.iterdir()]
    if len(sizes) <= MOST_FILES and sum(sizes) <= MOST_BYTES:
        return []
    where = folder.relative_to(SOURCES)
    return [f"{where}: {len(sizes)} files with {sum(sizes)} bytes are too much for the tree"]
