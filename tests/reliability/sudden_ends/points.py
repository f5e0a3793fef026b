"""Where services end: which points of an update are taken."""

from __future__ import annotations

import signal
from collections.abc import Iterator
from dataclasses import dataclass

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
