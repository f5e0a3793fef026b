"""One fuzz target and one run of it."""

from __future__ import annotations

import os
import re
import subprocess
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
