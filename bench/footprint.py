"""What the service takes of a controller: the size of its file, memory, threads, descriptors.

An idle program that links the same libraries and is on the bus is the anchor of its memory.
"""

from __future__ import annotations

import re
import subprocess
import tempfile
from collections.abc import Sequence
from dataclasses import dataclass
from pathlib import Path

from support.jobs import put_back, update_each, wait_until
from support.resources import Resources
from tavrinsim import names
from tavrinsim.payload import header, image, with_signature
from tavrinsim.world import World

from .bench import Bench
from .report import Figure

PROGRAMS = ("idle",)

STARTS = 3
UPDATES = 50
LARGE_PAYLOAD = 64 << 20
CHECKS = 3

# What it may take at most: the file, and private memory above an idle program at rest, above rest
# while a payload is checked.
FILE_KIB, REST_KIB, CHECK_KIB = 350, 3 * 1024, 5 * 1024


@dataclass(frozen=True)
class Taken:
    """What a process takes at one moment, memory in KiB."""

    private: int
    proportional: int
    threads: int
    descriptors: int

    @classmethod
    def by(cls, pid: int) -> Taken:
        """What the process takes now."""
        text = Path(f"/proc/{pid}/smaps_rollup").read_text()
        proportional = re.search(r"^Pss: +(\d+) kB", text, re.M)
        assert proportional is not None
        held = Resources.of(pid)
        numbers = (int(proportional[1]), len(held.threads), held.descriptors.total())
        return cls(held.private_kib, *numbers)


def measure(bench: Bench) -> list[Figure]:
    """Some starts, since memory differs from start to start; the updates in the last one only."""
    idle = [_idle(bench) for _ in range(STARTS)]
    rest, check, after = zip(*[_checking(bench) for _ in range(STARTS)], strict=True)
    late = _updating(bench)
    return [
        Figure("stripped file", "KiB", (_stripped_kib(bench.binary),), FILE_KIB),
        *_taken("an idle program", idle),
        *_taken("at rest", rest),
        *_held("at rest", rest),
        _above("at rest, above an idle program", rest, idle, REST_KIB),
        _above("during a check of 64 MiB, above rest", check, rest, CHECK_KIB),
        _above("at rest after that, above an idle program", after, idle, REST_KIB),
        *_taken(f"after {UPDATES} updates", [late]),
        *_held(f"after {UPDATES} updates", [late]),
    ]


def _taken(moment: str, starts: Sequence[Taken]) -> list[Figure]:
    return [
        Figure(f"{moment}, private memory", "KiB", tuple(t.private for t in starts)),
        Figure(f"{moment}, proportional memory", "KiB", tuple(t.proportional for t in starts)),
    ]


def _held(moment: str, starts: Sequence[Taken]) -> list[Figure]:
    return [
        Figure(f"{moment}, threads", "", tuple(t.threads for t in starts)),
        Figure(f"{moment}, descriptors", "", tuple(t.descriptors for t in starts)),
    ]


def _above(words: str, taken: Sequence[Taken], base: Sequence[Taken], most: int) -> Figure:
    values = (more.private - less.private for more, less in zip(taken, base, strict=True))
    return Figure(words, "KiB", tuple(values), most)


def _stripped_kib(binary: Path) -> int:
    with tempfile.TemporaryDirectory() as folder:
        stripped = Path(folder) / binary.name
        subprocess.run(["strip", "-o", stripped, binary], check=True)
        return -(-stripped.stat().st_size // 1024)


def _idle(bench: Bench) -> Taken:
    """The idle program in the service's place."""
    with World(bench.binary) as world:
        pid = world.start(program=bench.program("idle"), arguments=[names.SERVICE]).pid
        wait_until(lambda: world.client.owner() is not None, "it is on the bus")
        return Taken.by(pid)


def _checking(bench: Bench) -> tuple[Taken, Taken, Taken]:
    """The service at rest, at most during some checks, and at rest after them."""
    with World(bench.binary) as world:
        pid = _start(world)
        rest = Taken.by(pid)
        # From the second one on, the C library may keep what it gave back before.
        checks = [_during_check(world, pid) for _ in range(CHECKS)]
        return rest, max(checks, key=lambda taken: taken.private), Taken.by(pid)


def _updating(bench: Bench) -> Taken:
    """The service at rest after many updates."""
    with World(bench.binary) as world:
        pid = _start(world)
        for _ in range(UPDATES // len(world.board.devices)):
            update_each(world)
            put_back(world)
        return Taken.by(pid)


def _start(world: World) -> int:
    pid = world.start().pid
    world.wait_published()
    world.wait_registered()
    return pid


def _during_check(world: World, pid: int) -> Taken:
    """The most that the service takes from a job's beginning to its refusal."""
    kind = names.PBB
    unsigned = with_signature(header() + image(kind.name, "1.0.0", LARGE_PAYLOAD), 1, 1)
    job = world.job(kind.fqdd(1), world.payload_of(unsigned))
    answer = world.coordinator.begin_update(job)
    most = Taken.by(pid)
    while not answer.done():
        most = max(most, Taken.by(pid), key=lambda taken: taken.private)
    assert answer.result() == 1, "it is signed by nobody"
    return most
