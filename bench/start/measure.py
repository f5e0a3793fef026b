"""The start, from the process's beginning to its first answer after all objects were published."""

from __future__ import annotations

import statistics
from collections.abc import Callable, Mapping, Sequence

from ..bench import Bench
from ..figures import ROUNDS, Section, ratios
from .runs import SLOW_BIT_NS, Start, Starter, starter

# CPLDs of each of the three kinds, and how often each start is repeated in a round: the short ones are
# disturbed more by whatever else runs.
REPEATS = {1: 10, 16: 10, 64: 4, 255: 4}
SLOW_REPEATS = {16: 4, 255: 2}
FEW, MANY = 16, 255

MOST_GROWTH, MOST_OF_TRANSFERS = 1.2, 1.1

SERIES = "Time of one object by the number of objects, ms"

# The starts of a round, by the number of CPLDs of each kind.
Round = dict[int, list[Start]]
Time = Callable[[Sequence[Start]], float]


def measure(bench: Bench) -> list[Section]:
    """Starts of all sizes by turns, with transfers that take no time and with those of 100 kHz."""
    free: list[Round] = []
    slow: list[Round] = []
    bare: list[float] = []
    with starter(bench) as service:
        # So that the log file is as full as it is on a controller.
        service.start(MANY)
        for _ in range(ROUNDS):
            free.append(_round(service, REPEATS))
            bare.append(min(service.publish_barely(MANY) for _ in range(REPEATS[MANY])))
            slow.append(_round(service, SLOW_REPEATS, SLOW_BIT_NS))
    section = Section("Start")
    _add_growth(section, free)
    _add_publication(section, free, bare)
    _add_slow(section, slow)
    _add_least(section, slow, bare)
    return [section]


def _round(service: Starter, repeats: Mapping[int, int], bit_ns: int = 0) -> Round:
    """Starts of all sizes by turns."""
    runs: Round = {size: [] for size in repeats}
    for number in range(max(repeats.values())):
        for size in (size for size, times in repeats.items() if number < times):
            runs[size].append(service.start(size, bit_ns))
    return runs


def _add_growth(section: Section, rounds: Sequence[Round]) -> None:
    """An object among many must not take longer than one among few.

    The goal is that of the processor time: wall time is shared with the bus daemon, and with what
    else the machine does.
    """
    for name, time, most in (("processor", _processor, MOST_GROWTH), ("wall", _wall, None)):
        growth = [_each(one, MANY, time) / _each(one, FEW, time) for one in rounds]
        words = f"one object of {3 * MANY}, to one of {3 * FEW}, {name} time"
        section.add(words, "ratio", growth, most)
    for name, time in (("processor", _processor), ("wall", _wall)):
        for size in list(REPEATS)[1:]:
            words = f"one object of {3 * size}, {name} time"
            figure = section.add(words, "ms", [_each(one, size, time) for one in rounds])
            line = section.series.setdefault(SERIES, {}).setdefault(f"{name} time", [])
            line.append((3 * size, figure.median))
    for size in REPEATS:
        name = f"{3 * size} objects, whole start"
        section.add(name, "ms", [_wall(one[size]) for one in rounds])
        shares = [_wall(one[size]) / (3 * size) for one in rounds]
        section.add(f"{name}, by objects", "ms", shares)


def _add_publication(section: Section, rounds: Sequence[Round], bare: Sequence[float]) -> None:
    """Most of a free start is publication, and most of that is sd-bus's work."""
    name = f"{3 * MANY} objects, publication"
    ours = [min(start.publication for start in one[MANY]) for one in rounds]
    section.add(name, "ms", ours)
    section.add(f"{name}, to plain sd-bus in C", "ratio", ratios(list(zip(ours, bare))))


def _add_slow(section: Section, rounds: Sequence[Round]) -> None:
    """Where a bus is slow, a start should take little more than the transfers."""
    for size in (FEW, MANY):
        starts = [_least(one[size]) for one in rounds]
        name = f"{3 * size} objects, 100 kHz"
        goal = MOST_OF_TRANSFERS if size == MANY else None
        whole = [start.whole / start.transfers for start in starts]
        section.add(f"{name}, whole start to its transfers", "ratio", whole, goal)
        reading = [start.reading / start.transfers for start in starts]
        section.add(f"{name}, reading of versions to its transfers", "ratio", reading, goal)
        section.add(f"{name}, transfers", "ms", [start.transfers for start in starts])
        section.add(f"{name}, publication", "ms", [start.publication for start in starts])


def _add_least(section: Section, rounds: Sequence[Round], bare: Sequence[float]) -> None:
    """The least that a start can be: its transfers, then its announcements."""
    starts = [_least(one[MANY]) for one in rounds]
    pairs = [(start.whole, start.transfers + least) for start, least in zip(starts, bare)]
    words = f"{3 * MANY} objects, 100 kHz, whole start to its transfers and a bare publication"
    section.add(words, "ratio", ratios(pairs))


def _least(starts: Sequence[Start]) -> Start:
    return min(starts, key=lambda start: start.whole)


def _wall(starts: Sequence[Start]) -> float:
    """What else runs makes it longer only."""
    return _least(starts).whole


def _processor(starts: Sequence[Start]) -> float:
    return statistics.median(start.processor for start in starts)


def _each(one: Round, size: int, time: Time) -> float:
    """Of one object, in ms: what it adds to the start of a service that has next to none."""
    few = min(one)
    return (time(one[size]) - time(one[few])) / (3 * (size - few))
