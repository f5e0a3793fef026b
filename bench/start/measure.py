"""The start, from the process's beginning to its first answer after all objects were published.

Of the repetitions in a round the median stands for all, in every figure, and a ratio is one of
two things that were measured right after each other.
"""

from __future__ import annotations

import statistics
from collections.abc import Callable, Sequence
from dataclasses import dataclass

from ..bench import Bench
from ..figures import ROUNDS, Plot, Section, ratios
from .runs import SLOW_BIT_NS, Start, Starter, starter

# CPLDs of each of the three kinds, and how often each start is repeated in a round: the short
# ones are disturbed more by whatever else runs.
REPEATS = {1: 10, 16: 10, 64: 4, 255: 4}
ONE, FEW, *_, MANY = REPEATS

MOST_GROWTH, MOST_OF_TRANSFERS = 1.2, 1.1

BESIDES = "a process starts before them, sd-bus announces after: see the next row"


@dataclass(frozen=True)
class Turn:
    """A start on a bus that takes no time, one on a bus of 100 kHz, a bare publication (ms)."""

    free: Start
    slow: Start
    bare: float


# The repetitions of a round, by the number of CPLDs of each kind.
Round = dict[int, list[Turn]]
Value = Callable[[Turn], float]


def measure(bench: Bench) -> list[Section]:
    """Starts of all sizes by turns."""
    with starter(bench) as service:
        # So that the log file is as full as it is on a controller.
        service.start(MANY)
        rounds = [_round(service) for _ in range(ROUNDS)]
    free, slow = Section("Start"), Section("Start with a bus of 100 kHz")
    _add_growth(free, rounds)
    for size in REPEATS:
        _add_free(free, size, rounds)
        _add_slow(slow, size, rounds)
    return [free, slow]


def _round(service: Starter) -> Round:
    turns: Round = {size: [] for size in REPEATS}
    for number in range(max(REPEATS.values())):
        for size in (size for size, times in REPEATS.items() if number < times):
            turns[size].append(_turn(service, size))
    return turns


def _turn(service: Starter, size: int) -> Turn:
    free = service.start(size)
    bare = service.publish_barely(size)
    return Turn(free, service.start(size, SLOW_BIT_NS), bare)


def _medians(rounds: Sequence[Round], size: int, value: Value) -> list[float]:
    """Of each round."""
    return [statistics.median(map(value, one[size])) for one in rounds]


def _add_growth(section: Section, rounds: Sequence[Round]) -> None:
    """An object among many must not take longer than one among few.

    The goal is that of the processor time: wall time is shared with the bus daemon, and with
    what else the machine does.
    """
    plot = Plot("objects", "time, ms")
    section.plots["Time of one object"] = plot
    values: dict[str, tuple[Value, float | None]] = {
        "processor time": (lambda turn: turn.free.processor, MOST_GROWTH),
        "wall time": (lambda turn: turn.free.whole, None),
    }
    for name, (value, most) in values.items():
        each = {size: _each(rounds, size, value) for size in REPEATS if size > ONE}
        growth = ratios(list(zip(each[MANY], each[FEW])))
        words = f"one object of {3 * MANY}, to one of {3 * FEW}, {name}"
        section.add(words, "ratio", growth, most)
        plot.lines[name] = []
        for size, times in each.items():
            figure = section.add(f"one object of {3 * size}, {name}", "ms", times)
            plot.lines[name].append((3 * size, figure.median))


def _each(rounds: Sequence[Round], size: int, value: Value) -> list[float]:
    """Of one object: what it adds to the start of a service that has next to none."""
    pairs = zip(_medians(rounds, size, value), _medians(rounds, ONE, value))
    return [(more - least) / (3 * (size - ONE)) for more, least in pairs]


class Rows:
    """Adds the rows of one size to a section."""

    def __init__(self, section: Section, size: int, rounds: Sequence[Round]) -> None:
        self._section = section
        self._size = size
        self._rounds = rounds

    def add(
        self, words: str, unit: str, value: Value, most: float | None = None, reason: str = ""
    ) -> None:
        """One more, of each round's median."""
        values = _medians(self._rounds, self._size, value)
        self._section.add(
            f"{3 * self._size} objects, {words}", unit, values, most, reason=reason
        )


def _add_free(section: Section, size: int, rounds: Sequence[Round]) -> None:
    """Most of a free start is publication, and most of that is sd-bus's work."""
    add = Rows(section, size, rounds).add
    add("whole start", "ms", lambda turn: turn.free.whole)
    add("whole start, by objects", "ms", lambda turn: turn.free.whole / (3 * size))
    add("publication", "ms", lambda turn: turn.free.publication)
    words = "publication, to plain sd-bus in C"
    add(words, "ratio", lambda turn: turn.free.publication / turn.bare)


def _add_slow(section: Section, size: int, rounds: Sequence[Round]) -> None:
    """Where a bus is slow, a start should take little more than the transfers.

    The least that it can be is the transfers, and then the announcements.
    """
    add = Rows(section, size, rounds).add
    whole: Value = lambda turn: turn.slow.whole / turn.slow.transfers
    add("whole start to its transfers", "ratio", whole, MOST_OF_TRANSFERS, BESIDES)
    least: Value = lambda turn: turn.slow.whole / (turn.slow.transfers + turn.bare)
    add("whole start to transfers and a bare publication", "ratio", least)
    reading: Value = lambda turn: turn.slow.reading / turn.slow.transfers
    add("reading of versions to its transfers", "ratio", reading)
    add("transfers", "ms", lambda turn: turn.slow.transfers)
    add("publication", "ms", lambda turn: turn.slow.publication)
