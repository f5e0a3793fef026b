"""The steps of an update, by what a sudden end in each of them leaves behind; the points at which it ends.

The table "After a sudden end" of docs/operation.md has a row for each step.
"""

from __future__ import annotations

import signal
from collections.abc import Iterator
from dataclasses import dataclass

from support.jobs import HEALTHY
from tavrinsim.device import Device
from tavrinsim.trace import Line, Trace

# How many of the reports the coordinator has got: up to the start, to the last percentage, to the
# outcome.
STARTED, PROGRAMMED, TOLD = 1, len(HEALTHY) - 1, len(HEALTHY)


@dataclass(frozen=True)
class Found:
    """What is left: the CPLD as it stands, and whether the coordinator knows the outcome."""

    port_open: bool
    image: str
    updated: bool
    told: bool

    @classmethod
    def at(cls, device: Device, version: str, told: bool) -> Found:
        """What is left of an update of this device to this version."""
        return cls(device.port_open, device.image_state, device.version == version, told)

    def __str__(self) -> str:
        port = "open" if self.port_open else "closed"
        version = "new" if self.updated else "old"
        outcome = "told" if self.told else "not told"
        return f"port {port}, image {self.image}, {version} version runs, outcome {outcome}"


@dataclass(frozen=True)
class Step:
    """A part of an update.

    `begins` is the device's event that opens it, `reports` how many reports the coordinator has
    got when it ends suddenly: at least, at most.
    """

    name: str
    begins: str | None
    leaves: Found
    reports: tuple[int, int]

    def fits(self, reports: int) -> bool:
        """Whether the coordinator may have got so many."""
        least, most = self.reports
        return least <= reports <= most


# The CPLD takes the image for whole when the library is done with it: after the last percentage.
STEPS = (
    Step("check", None, Found(False, "valid", False, False), (0, STARTED)),
    Step("port opened", "port-opened", Found(True, "valid", False, False), (STARTED, STARTED)),
    Step(
        "programming", "erased", Found(True, "interrupted", False, False), (STARTED, PROGRAMMED)
    ),
    Step(
        "programmed",
        "complete",
        Found(True, "complete", False, False),
        (PROGRAMMED, PROGRAMMED),
    ),
    Step("port closed", "loaded", Found(False, "valid", True, False), (PROGRAMMED, PROGRAMMED)),
    Step("reported", None, Found(False, "valid", True, True), (TOLD, TOLD)),
)


def step_of(found: Found) -> int | None:
    """The step whose sudden end leaves this, by its place in STEPS."""
    return next((place for place, step in enumerate(STEPS) if step.leaves == found), None)


def latest_step(trace: Trace, device: Device, start: int, told: bool) -> int:
    """The step that the update has come to, as the trace and the coordinator tell it."""
    if told:
        return len(STEPS) - 1
    events = {line["event"] for line in _events(trace, device, start)}
    begun = [place for place, step in enumerate(STEPS) if step.begins in events]
    return max(begun, default=0)


def _events(trace: Trace, device: Device, start: int) -> list[Line]:
    return trace.select(start=start, what="device", device=device.name)


# -- the points ------------------------------------------------------------------------


# Every fifth end is a supervisor's.
TERMINATED = 5

# Effects differ by a few from run to run: the last points lie behind all of them.
BEHIND = 5


@dataclass(frozen=True)
class Point:
    """Where a service ends: before which effect of an update of which kind, and by which signal.

    Effects count from 1. One that never comes stands for an end right after the update.
    """

    kind: str
    effect: int
    number: signal.Signals = signal.SIGKILL

    def __str__(self) -> str:
        return f"{self.kind} {self.number.name} before effect {self.effect}"


def every(effects: dict[str, int]) -> list[Point]:
    """All points of an update of each kind that has so many effects."""
    places = [(kind, at) for kind, count in effects.items() for at in range(1, count + BEHIND)]
    signals = [signal.SIGKILL] * (TERMINATED - 1) + [signal.SIGTERM]
    return [Point(*place, signals[i % TERMINATED]) for i, place in enumerate(places)]


def spread(effects: dict[str, int], number: int) -> Iterator[Point]:
    """So many points for each kind, evenly from its first to its last."""
    points = every(effects)
    for kind in effects:
        own = [point for point in points if point.kind == kind]
        yield from (own[i * (len(own) - 1) // (number - 1)] for i in range(number))
