"""Clients that read everything without a pause, and how long they waited for their answers.

The service reads and answers on one thread, so a reader waits for as long as that thread is
kept busy by somebody else. In a healthy controller that is the other readers' answers, and
a job's way to its worker: the check of the payload and the transfers that open the port.
docs/reliability.md has the waits that may take longer; none of a worker's (programming, its pauses
of 1 s and 0.5 s, its reports) is among them.
"""

from __future__ import annotations

import json
import subprocess
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path

from tavrinsim import names
from tavrinsim.machine import emulator
from tavrinsim.world import World

CLIENTS = 16

INTERFACES = (
    names.COMP_UPDATE,
    names.REGISTRATION,
    names.BASE_INVENTORY,
    names.TAVRIN_INVENTORY,
)

# Sixteen answers take some milliseconds each time, on a machine that has other things to do as well.
# Less than the longest pause of a worker: one that came onto the wrong thread would be seen.
P99_MS = 200
LONGEST_MS = 900


@dataclass
class Waits:
    """What the readers saw; times in milliseconds, 0 while they still read."""

    calls: int = 0
    failures: int = 0
    median: float = 0
    p99: float = 0
    longest: float = 0

    def violations(self) -> list[str]:
        """What a reader may complain of in a healthy controller."""
        words = [f"{self.failures} reads failed"] if self.failures else []
        if self.p99 > P99_MS:
            words.append(f"one of a hundred reads took {self.p99:.0f} ms or more")
        if self.longest > LONGEST_MS:
            words.append(f"a read took {self.longest:.0f} ms")
        return words


@contextmanager
def reading(world: World, clients: int = CLIENTS) -> Iterator[Waits]:
    """All clients read, from before the block until its end; what they saw is known then."""
    waits = Waits()
    with subprocess.Popen(
        _command(world, clients), stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
    ) as process:
        assert process.stdout is not None
        if process.stdout.readline() != "reading\n":
            raise RuntimeError("the readers did not begin")
        try:
            yield waits
        finally:
            output, _ = process.communicate()
    seen = json.loads(output)
    waits.calls, waits.failures = seen["calls"], seen["failures"]
    for name in ("median", "p99", "longest"):
        setattr(waits, name, seen[name] / 1000)


def _command(world: World, clients: int) -> list[str]:
    paths = [device.kind.object_path(device.index + 1) for device in world.board.devices]
    places = [names.SERVICE, names.OBJECT_ROOT, *INTERFACES, "--", *paths]
    program = _program(world.binary)
    return [*emulator(program), str(program), world.bus.address, str(clients), *places]


def _program(service: Path) -> Path:
    """The readers' program, which the service's build folder has as well."""
    places = [folder / "tests/reliability/inventory_readers" for folder in service.parents]
    return next(place for place in places if place.exists())
