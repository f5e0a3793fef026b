"""The fault sweep: makes the n-th fallible operation fail, for every n, and looks what becomes of it.

An operation is a start of the service with its publication, or an update of one CPLD. Each injection
is followed by the same checks and by an update without a fault. A sweep is over when a run has got to
its end without meeting the fault. Many stations side by side, each in a process of its own, share the
sweeps.
"""

from __future__ import annotations

import itertools
import multiprocessing
import signal
import sys
import traceback
from collections.abc import Iterable, Iterator, Sequence
from dataclasses import dataclass
from multiprocessing.queues import Queue
from pathlib import Path

from .faults import Fault
from .operations import Injection, Operation, operations
from .station import Station

# An operation takes a few steps more or less from time to time, where the log file is trimmed, say.
# After so many numbers that strike nothing, its end is reached.
LAST_MISSES = 2


# Classes with so many events that all stations share a sweep; others are one station's each. By class
# and not by count, which differs from station to station.
SHARED = ("memory", "bus")


@dataclass(frozen=True)
class Plan:
    """What is swept: the operations by name, the faults, and how many numbers of each sweep,
    spread evenly; None for all of them."""

    binary: Path
    operations: tuple[str, ...]
    faults: tuple[Fault, ...]
    spread: int | None = None

    def sweeps(self) -> Iterator[tuple[Operation, Fault]]:
        """Every operation with every fault that concerns it."""
        known = operations()
        for operation in (known[name] for name in self.operations):
            yield from (
                (operation, fault) for fault in self.faults if operation.concerns(fault)
            )


@dataclass(frozen=True)
class Share:
    """A station's part of anything that is counted: every `stations`-th, from its own place on."""

    place: int
    stations: int


def run(plan: Plan, stations: int) -> Iterator[Injection]:
    """All injections, as they are made. RuntimeError where a station could not go on."""
    context = multiprocessing.get_context("spawn")
    results: Queue[Injection | str | None] = context.Queue()
    shares = [Share(place, stations) for place in range(stations)]
    workers = [
        context.Process(target=_work, args=(plan, share, results), daemon=True)
        for share in shares
    ]
    for worker in workers:
        worker.start()
    try:
        yield from _collect(results, stations)
    finally:
        for worker in workers:
            worker.terminate()
            worker.join()


def work(plan: Plan, share: Share) -> Iterator[Injection]:
    """One station's injections."""
    station = Station(plan.binary)
    counts: dict[tuple[str, str], int] = {}
    try:
        for place, (operation, fault) in enumerate(plan.sweeps()):
            key = (operation.name, fault.events)
            if key not in counts:
                counts[key] = operation.strike(station, fault, 0).count
            is_own = place % share.stations == share.place
            numbers = _numbers(plan, share, fault, counts[key], is_own)
            yield from _strike(station, operation, fault, numbers)
    finally:
        station.close()


def _numbers(plan: Plan, share: Share, fault: Fault, count: int, is_own: bool) -> Iterable[int]:
    """This station's numbers: all of a small sweep that is its own, a share of a large one."""
    if plan.spread is not None:
        return _spread(count, plan.spread) if is_own else []
    if fault.group in SHARED:
        return itertools.count(share.place + 1, share.stations)
    return itertools.count(1) if is_own else []


def _strike(
    station: Station, operation: Operation, fault: Fault, numbers: Iterable[int]
) -> Iterator[Injection]:
    misses = 0
    for number in numbers:
        injection = operation.strike(station, fault, number)
        yield injection
        misses = 0 if injection.acted else misses + 1
        if misses == LAST_MISSES:
            return


def _spread(count: int, size: int) -> list[int]:
    """The first number, the last and some between."""
    return sorted(
        {1 + (count - 1) * part // (size - 1) for part in range(size)} if count else []
    )


def _collect(results: Queue[Injection | str | None], stations: int) -> Iterator[Injection]:
    left = stations
    while left:
        result = results.get()
        if result is None:
            left -= 1
        elif isinstance(result, str):
            raise RuntimeError(result)
        else:
            yield result


def _work(plan: Plan, share: Share, results: Queue[Injection | str | None]) -> None:
    signal.signal(signal.SIGINT, signal.SIG_IGN)  # the parent's to handle
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    parent = multiprocessing.parent_process()
    try:
        for injection in work(plan, share):
            results.put(injection)
            if parent is not None and not parent.is_alive():
                return
        results.put(None)
    except Exception:  # whatever it is, the parent shows it
        results.put(traceback.format_exc())


def numbers_left_out(injections: Sequence[Injection]) -> list[str]:
    """Sweeps with a number that nobody tried, though the shortest course of all has it."""
    missing = []
    for key, group in itertools.groupby(sorted(injections, key=_key), key=_key):
        tried = list(group)
        struck = {one.number for one in tried if one.acted}
        shortest = min((one.count for one in tried if not one.acted), default=None)
        if shortest is None or not set(range(1, shortest + 1)) <= struck:
            missing.append(": ".join(key))
    return missing


def _key(injection: Injection) -> tuple[str, str, str]:
    return (injection.operation, injection.group, injection.fault)
