"""The operations that are swept: each strikes one fault and looks what became of it."""

from __future__ import annotations

from abc import ABC, abstractmethod
from collections.abc import Iterator
from dataclasses import dataclass

from support.resources import Resources

from . import checks
from .course import Course
from .faults import Fault
from .station import VERSIONS, Station

# A leak grows whenever its cause comes again; a cache does until it is full, as the queue does in
# which libcrypto keeps its last 16 errors.
REPETITIONS = 24


@dataclass(frozen=True)
class Injection:
    """One fault, and what came of it. `acted` is false where the operation ended without it."""

    operation: str
    group: str
    fault: str
    number: int
    acted: bool
    ended: bool
    count: int
    where: str
    lost_by: str
    violations: tuple[str, ...]

    def __str__(self) -> str:
        words = f"{self.operation}, {self.group}: {self.fault}, at number {self.number}"
        return f"{words} ({self.where})" if self.where else words


class Operation(ABC):
    """Something that the service does, and that may be struck by a fault."""

    name: str

    def concerns(self, fault: Fault) -> bool:
        """Whether this operation is struck by such a fault."""
        return True

    def strike(self, station: Station, fault: Fault, number: int) -> Injection:
        """The operation with the fault at its `number`-th event (0: without), then the checks."""
        self.prepare(station)
        station.world.trace.forget()
        armed = fault.arm(station.world, station.calls, number)
        try:
            course = self.run(station)
            acted, count, course.where = armed.acted(), armed.count(), armed.where()
        finally:
            armed.disarm()
        station.finish(course)
        wrong = tuple(dict.fromkeys(self.check(station, course, fault, number)))
        if wrong:
            station.baseline = None  # what is wrong with this service must not show again
        named = (self.name, fault.group, fault.name, number)
        return Injection(
            *named, acted, course.ended, count, course.where, course.lost_by, wrong
        )

    @abstractmethod
    def prepare(self, station: Station) -> None:
        """Brings the service to where the operation begins."""

    @abstractmethod
    def run(self, station: Station) -> Course:
        """The operation itself, to be finished."""

    @abstractmethod
    def check(
        self, station: Station, course: Course, fault: Fault, number: int
    ) -> Iterator[str]:
        """What is wrong after it, in words; the fault is over."""


class Update(Operation):
    """One update of one CPLD, by a service that has done some."""

    def __init__(self, kind: str) -> None:
        self.name = kind
        self._kind = kind

    def prepare(self, station: Station) -> None:
        """See `Operation.prepare`."""
        if station.baseline is None or not station.world.running:
            bring_to_rest(station)

    def run(self, station: Station) -> Course:
        """See `Operation.run`."""
        station.log_size = station.world.log_file.stat().st_size
        return station.update(self._kind, 0)

    def check(
        self, station: Station, course: Course, fault: Fault, number: int
    ) -> Iterator[str]:
        """See `Operation.check`."""
        yield from self._of_job(station, course, fault)
        if not station.world.running:
            bring_to_rest(station)
        yield from checks.of_holdings(station)
        yield from self._after_next_update(station)
        if station.calls.now.blocks > station.blocks and self._grows(station, fault, number):
            yield f"it holds more memory each time, {REPETITIONS} times"

    def _of_job(self, station: Station, course: Course, fault: Fault) -> Iterator[str]:
        yield from checks.of_process(course)
        yield from checks.of_reports(course)
        yield from checks.of_port(course, station, self._kind)
        if fault.group != "files":  # there, what is written is the fault's own business
            yield from checks.of_log_file(station)

    def _after_next_update(self, station: Station) -> Iterator[str]:
        station.world.trace.forget()
        following = station.finish(station.update(self._kind, 1))
        yield from checks.of_next_update(following, station, self._kind, 1)
        yield from checks.of_holdings(station)

    def _grows(self, station: Station, fault: Fault, number: int) -> bool:
        """Whether the service holds more memory each time that the fault is repeated."""
        for _ in range(REPETITIONS):
            station.blocks = station.calls.now.blocks
            armed = fault.arm(station.world, station.calls, number)
            course = self.run(station)
            armed.disarm()
            station.finish(course)
            list(self._after_next_update(station))
            if station.calls.now.blocks <= station.blocks:
                return False
        return True


class FirstUpdate(Update):
    """The first update of a process, in which libraries set up what they keep for all others."""

    def __init__(self) -> None:
        super().__init__("flop")
        self.name = "first"
        self._held: Resources | None = None

    def concerns(self, fault: Fault) -> bool:
        """Any other fault strikes it as it strikes a later update."""
        return fault.group == "memory"

    def prepare(self, station: Station) -> None:
        """See `Operation.prepare`."""
        if self._held is None:
            bring_to_rest(station)
            self._held = station.baseline
        station.start()
        station.finish(station.settle_start())

    def check(
        self, station: Station, course: Course, fault: Fault, number: int
    ) -> Iterator[str]:
        """See `Operation.check`."""
        yield from self._of_job(station, course, fault)
        if station.world.running:
            station.baseline = self._held
            yield from self._after_next_update(station)
            station.baseline = None


class Start(Operation):
    """A start, from the process's first step to the registration of its CPLDs."""

    name = "start"

    def __init__(self) -> None:
        self._usual: set[str] = set()
        self._baseline: Resources | None = None

    def prepare(self, station: Station) -> None:
        """See `Operation.prepare`."""
        if not self._usual:
            station.start()
            usual = station.finish(station.settle_start())
            self._usual = set(_error_formats(usual))
            station.finish(station.update("pbb", 1))
            self._baseline = station.holdings()
        if station.world.running:
            station.world.kill()

    def run(self, station: Station) -> Course:
        """See `Operation.run`."""
        station.start()
        return station.settle_start()

    def check(
        self, station: Station, course: Course, fault: Fault, number: int
    ) -> Iterator[str]:
        """See `Operation.check`."""
        yield from checks.of_process(course)
        if course.ended:
            return
        if not station.is_published("pbb"):
            # The end of the FRU read may still be to come; then it publishes.
            station.world.fru_reader.complete()
            course = station.finish(station.settle_start())
            yield from checks.of_process(course)
        if not station.is_published("pbb"):
            if set(_error_formats(course)) <= self._usual:
                yield f"a CPLD is not published, and nobody tells why: {course.logs[-3:]}"
            return
        station.world.trace.forget()
        following = station.finish(station.update("pbb", 1))
        yield from checks.of_next_update(following, station, "pbb", 1)
        station.baseline = self._baseline
        # Without an event descriptor the loop stands on a pipe, which is two.
        yield from (words for words in checks.of_holdings(station) if "of pipe:" not in words)
        station.baseline = None


def operations() -> dict[str, Operation]:
    """All of them by name."""
    return {one.name: one for one in (Start(), FirstUpdate(), *map(Update, VERSIONS))}


def bring_to_rest(station: Station) -> None:
    """Starts a service and lets it do all that fills its caches."""
    station.start()
    station.settle_start()
    for kind in VERSIONS:
        for turn in (0, 1):
            station.finish(station.update(kind, turn))
    station.baseline = station.holdings()
    station.blocks = station.calls.now.blocks


def _error_formats(course: Course) -> list[str]:
    return [line["format"] for line in course.lines if line.get("level") == 1]
