"""One service's long life on one controller: update after update, signals in between."""

from __future__ import annotations

from collections.abc import Callable
from contextlib import suppress
from dataclasses import dataclass, field
from pathlib import Path

from support import sanitizers
from support.held_memory import HeldMemory, Look, counted_controller, gives_memory_back
from support.jobs import threads, wait_until
from support.resources import Resources
from tavrinsim import names
from tavrinsim.job import IN_PROGRESS, SUCCEEDED, Job
from tavrinsim.world import World

# The service is as it will be for good when it has done this many updates: its threads' memory
# pools exist, its buffers have their size.
EARLY = 10

# How much private memory may have come after that, whatever the number of updates, although no block
# has. Not zero: the workers' lives begin and end at other moments each time, so that the C library
# puts what is in use to other places, some of it alone in a page.
TOLERATED_KIB = 512

REPORTS = [(IN_PROGRESS, 0), (IN_PROGRESS, 100), (SUCCEEDED, 100)]

# Trace lines of as many updates are kept.
REMEMBERED = 50


@dataclass
class Life:
    """What is known of a service that has come to its end."""

    updates: int = 0
    passes: int = 0
    early_kib: int = 0
    late_kib: int = 0
    more_blocks: int = 0
    more_bytes: int = 0
    violations: list[str] = field(default_factory=list)

    @property
    def grown_kib(self) -> int:
        """Private memory that came after the first updates."""
        return self.late_kib - self.early_kib


def live(
    binary: Path, updates: int, with_day: bool, tick: Callable[[], None] = lambda: None
) -> Life:
    """Runs a service through its updates; `tick` is called after each of them."""
    life = Life()
    with counted_controller(binary) as (world, memory):
        _Run(world, memory, life, updates, with_day).run(tick)
        output = world.output.read_text(errors="replace")
        world.let_service_end()
        life.violations += sanitizers.reports(world.output)
        if output:
            life.violations.append(f"the service wrote: {output[:500]}")
    return life


class _Run:
    def __init__(
        self, world: World, memory: HeldMemory, life: Life, updates: int, with_day: bool
    ) -> None:
        self._world = world
        self._memory = memory
        self._life = life
        self._updates = updates
        self._day = Day(world, updates) if with_day else None
        self._devices = world.board.devices
        self._payloads = {
            (kind, version): world.payload(kind, version)
            for kind in names.KINDS
            for version in ("2.0.0", "3.1.2")
        }
        assert world.service is not None
        self._pid = world.service.pid
        self._idle = threads(world)

    def run(self, tick: Callable[[], None]) -> None:
        early = None
        for number in range(self._updates):
            self._update(number)
            if number + 1 == EARLY:
                early = self._look()
            if number % REMEMBERED == 0:
                self._world.trace.forget()
            tick()
        assert early is not None, f"a life has more than {EARLY} updates"
        self._end(early)

    def _update(self, number: int) -> None:
        device = self._devices[number % len(self._devices)]
        version = ("2.0.0", "3.1.2")[number // len(self._devices) % 2]
        job = self._world.job(device.fqdd, self._payloads[device.kind.name, version])
        result = self._world.coordinator.update(job)
        if self._day is not None:
            self._day.go_on(number + 1)
        self._world.coordinator.wait_outcome(job.transaction)
        self._judge(job, result, device.version == version)
        self._life.updates += 1

    def _judge(self, job: Job, result: int, loaded: bool) -> None:
        told = self._world.coordinator.reports_of(job.transaction)
        progress = [(report.status, report.percent) for report in told]
        if (result, progress, loaded) != (0, REPORTS, True):
            words = f"result {result}, reports {progress}, version loaded: {loaded}"
            self._life.violations.append(f"update {job.transaction} of {job.fqdd}: {words}")

    def _end(self, early: Look) -> None:
        life = self._life
        late = self._look(early)
        if self._day is not None:
            life.passes = len(self._world.coordinator.registrations) // len(self._devices)
        life.early_kib, life.late_kib = early.resources.private_kib, late.resources.private_kib
        life.more_blocks = late.memory.blocks - early.memory.blocks
        life.more_bytes = late.memory.size - early.memory.size
        life.violations += late.grown_since(early)
        if life.grown_kib > TOLERATED_KIB and gives_memory_back(self._world):
            life.violations.append(f"{life.grown_kib} KiB more memory after update {EARLY}")

    def _look(self, before: Look | None = None) -> Look:
        """What the service holds when nothing is going on, given the time to let go of it."""
        wait_until(lambda: threads(self._world) <= self._idle, "the worker is gone")
        self._wait_for_registrations()
        memory = self._memory.at_rest(before.memory if before else None)
        if before is not None:
            self._wait_for_passes(before.resources)
        return Look(Resources.of(self._pid), memory)

    def _wait_for_registrations(self) -> None:
        """All that were asked for, and not one more."""
        coordinator = self._world.coordinator
        passes = 1 + (self._day.wishes if self._day is not None else 0)
        coordinator.wait_registered(len(self._devices) * passes, timeout=120)
        if len(coordinator.registrations) != len(self._devices) * passes:
            words = f"{len(coordinator.registrations)} registrations, not {passes} passes"
            self._life.violations.append(words)

    def _wait_for_passes(self, before: Resources) -> None:
        """The last pass's connection is closed a moment after its last answer."""
        with suppress(AssertionError):  # what is left then is told by the caller
            wait_until(
                lambda: not Resources.of(self._pid).grown_since(before),
                "nothing left",
                timeout=5,
            )


# -- a day's signals -------------------------------------------------------------------


MINUTES = 24 * 60
MINUTES_BETWEEN_REGISTRATIONS = 10
REGISTRATIONS = MINUTES // MINUTES_BETWEEN_REGISTRATIONS

PENDING = "xyz.openbmc_project.Control.Host.InternalPowerState.S5OnPending"
STATES = ("On", "S5", PENDING, "S5ToOn")


class Day:
    """One day told to one service, spread evenly over a number of updates."""

    def __init__(self, world: World, updates: int) -> None:
        self._world = world
        self._updates = updates
        self._minute = 0
        self.wishes = 0  # for registration, sent so far

    def go_on(self, done: int) -> None:
        """Sends what belongs to the time until `done` of the updates are done."""
        until = MINUTES * done // self._updates
        for minute in range(self._minute, until):
            self._world.host_state.change(STATES[minute % len(STATES)])
            if minute % MINUTES_BETWEEN_REGISTRATIONS == 0:
                self._world.coordinator.ask_for_registrations()
                self.wishes += 1
        self._minute = until
