"""What every subject is measured with."""

from __future__ import annotations

import os
import struct
import subprocess
import tempfile
from collections.abc import Iterator, Sequence
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path

from tavrinsim.setting import Setting
from tavrinsim.world import World

# In the place of the simulated platform: one that takes no time.
PROMPT_PLATFORM = "tests/system/doubles/libsecond_platform.so"


@dataclass(frozen=True)
class Bench:
    """The service under measurement, and the programs of the same build that measure it."""

    binary: Path

    def build(self, *names: str) -> None:
        """Builds programs of this folder, or what has another."""
        targets = [self.program(name).relative_to(self.binary.parent) for name in names]
        subprocess.run(["ninja", "-C", self.binary.parent, *targets], check=True)

    def program(self, name: str) -> Path:
        """One of those that were built."""
        return self.binary.parent / (name if "/" in name else f"bench/{name}")

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


class PromptWorld(World):
    """A world without a monitor, on the platform that takes no time but for its transfers."""

    def __init__(self, bench: Bench) -> None:
        super().__init__(bench.binary, Setting(monitored=False))
        self._platform = bench.program(PROMPT_PLATFORM)
        self._transfers = self.folder / "transfers"

    def begin(self, devices: int = 1, bit_ns: int = 0, words: Sequence[Path | str] = ()) -> int:
        """Starts the service or what the words say; its process.

        There are so many CPLDs of each kind, and a bit on the I2C bus takes `bit_ns`.
        """
        self._transfers.write_bytes(bytes(16))
        variables = {
            "LD_PRELOAD": str(self._platform),
            "SECOND_BIT_NS": str(bit_ns),
            "SECOND_DEVICES": str(devices),
            "SECOND_QUIET": "yes",
            "SECOND_STEP": "10",
            "SECOND_TRANSFERS": str(self._transfers),
        }
        program, *arguments = words or [self.binary]
        service = self.start(
            [self._platform], variables, program=Path(program), arguments=map(str, arguments)
        )
        return service.pid

    def transferred(self, bit_ns: int) -> float:
        """What all transfers took, in ms; faster than their bits, or none, would say nothing."""
        bits, took = struct.unpack("=qq", self._transfers.read_bytes())
        if took < bits * bit_ns or (bit_ns > 0 and bits == 0):
            raise RuntimeError(f"{bits} bits of {bit_ns} ns were transferred in {took} ns")
        return float(took) / 1e6


@contextmanager
def prompt_world(bench: Bench) -> Iterator[PromptWorld]:
    """Such a world in memory: a disk would be measured otherwise."""
    before = tempfile.tempdir
    tempfile.tempdir = "/dev/shm"
    try:
        with PromptWorld(bench) as world:
            yield world
    finally:
        tempfile.tempdir = before


@contextmanager
def one_processor() -> Iterator[None]:
    """What begins here shares one processor: the parts of a call take turns, so nothing is lost.

    On several, a call takes once or twice its time, by where the kernel happens to put them.
    """
    allowed = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {max(allowed)})
    try:
        yield
    finally:
        os.sched_setaffinity(0, allowed)
