"""What every subject is measured with."""

from __future__ import annotations

import os
import subprocess
import tempfile
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path

from tavrinsim.setting import Setting
from tavrinsim.world import World

# In front of the simulated platform: one that takes no time.
PROMPT_PLATFORM = "libprompt_platform.so"


@dataclass(frozen=True)
class Bench:
    """The service under measurement, and the programs of the same build that measure it."""

    binary: Path

    def build(self, *names: str) -> None:
        """Builds programs of this folder."""
        targets = [f"bench/{name}" for name in names]
        subprocess.run(["ninja", "-C", self.binary.parent, *targets], check=True)

    def program(self, name: str) -> Path:
        """One of those that were built."""
        return self.binary.parent / "bench" / name

    def start(self, world: World, **variables: object) -> None:
        """Starts the service on the prompt platform; `variables` as that one knows them."""
        texts = {name: str(value) for name, value in variables.items()}
        world.start([self.program(PROMPT_PLATFORM)], texts)

    def talk(self, world: World, program: str, *words: str) -> subprocess.Popen[str]:
        """A program on the world's bus that says "ready" when it is; a context manager."""
        process = subprocess.Popen(
            [self.program(program), *words],
            env=os.environ | world.bus.environment(),
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        if line_of(process) != "ready":
            raise RuntimeError(f"{program} does not begin")
        return process


def line_of(process: subprocess.Popen[str]) -> str:
    """The next line of a program's output; empty at its end."""
    assert process.stdout is not None
    return process.stdout.readline().rstrip("\n")


@contextmanager
def prompt_world(bench: Bench) -> Iterator[World]:
    """A world in memory, since a disk would be measured otherwise, and without a monitor."""
    before = tempfile.tempdir
    tempfile.tempdir = "/dev/shm"
    try:
        with World(bench.binary, Setting(monitored=False)) as world:
            yield world
    finally:
        tempfile.tempdir = before


@contextmanager
def one_processor() -> Iterator[None]:
    """What begins here shares one processor: of a call all parts take turns, so nothing is lost.

    On several, where the kernel happens to put them makes a call take once or twice its time.
    """
    allowed = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {max(allowed)})
    try:
        yield
    finally:
        os.sched_setaffinity(0, allowed)
