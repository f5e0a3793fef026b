"""Jobs that the tests send, followed to their end, with all that the service did for them."""

from __future__ import annotations

import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from dbus_next import Variant
from support import resources
from support.sequence import job_sequence
from tavrinsim import names
from tavrinsim.job import IN_PROGRESS, SUCCEEDED, Job
from tavrinsim.world import World

Report = tuple[str, int, int, int]

# The percentages that the simulated programming library reports in a healthy run.
NORMAL_COURSE = tuple(range(0, 101, 10))

# Status and percentage of each report of a healthy update: its start, the library's progress, its
# outcome.
HEALTHY = [
    (IN_PROGRESS, 0),
    *((IN_PROGRESS, percent) for percent in NORMAL_COURSE),
    (SUCCEEDED, 100),
]


@dataclass
class Outcome:
    """A job that is over."""

    job: Job
    result: int | None = None
    steps: list[str] = field(default_factory=list)
    reports: list[Report] = field(default_factory=list)

    @property
    def errors(self) -> list[str]:
        """The lines of the error log."""
        return [step[2:] for step in self.steps if step.startswith("E ")]

    @property
    def progress(self) -> list[tuple[int, int]]:
        """Status and percentage of each report."""
        return [(status, percent) for _, status, _, percent in self.reports]

    @property
    def touched(self) -> list[str]:
        """What was done to a CPLD, through the bus or through the programming library."""
        hands = ("open ", "i2c ", "close ", "call cpldfwupdate.", "call i2c_parse_sysinfo")
        return [step for step in self.steps if step.startswith(hands)]


def run(world: World, fqdd: str, directory: Path | str, **fields: Any) -> Outcome:
    """Sends a job and waits until it is refused, or until its worker is gone."""
    return run_job(world, world.job(fqdd, directory, **fields))


def run_job(world: World, job: Job) -> Outcome:
    """As `run`, of a job made before."""
    with followed(world, job) as outcome:
        outcome.result = world.coordinator.update(job)
    return outcome


def send_without_coordinator(world: World, job: Job) -> Outcome:
    """Sends a job as the coordinator would, from another connection."""
    path = job.object_path()
    with followed(world, job) as done:
        for name, value in job.properties().items():
            world.client.set(path, names.COMP_UPDATE, name, value)
        call = ("CompFirmwareUpdate", "su", job.fqdd, job.transaction)
        done.result = world.client.call(names.SERVICE, path, names.COMP_UPDATE, *call)[0]
    return done


def refuse_to_open_ports(world: World) -> None:
    """Ends every job that was accepted before anything is programmed."""
    for kind in names.KINDS.values():
        world.board.faults.parser(kind, status=22)


def break_library(world: World) -> None:
    """Makes every programming run end at once, which takes a third of the time."""
    world.board.faults.programming(throw_at_once=True, exception_text="no clock")


def put_back(world: World) -> None:
    """Makes the controller a healthy one again, the service running as it does."""
    world.board.faults.clear()
    for device in world.board.devices:
        device.reset("1.0.0")
        unmark(world, device.fqdd)
    world.become_platform(world.setting.platform_id)
    world.platform.normally("Get")
    world.platform.start()


@contextmanager
def followed(world: World, job: Job) -> Iterator[Outcome]:
    """Tells, at its end, what the service did for a job that is sent meanwhile."""
    idle = threads(world)
    start = world.trace.mark()
    outcome = Outcome(job)
    yield outcome
    # Not the last report: the worker goes on after it.
    wait_until(lambda: threads(world) <= idle, "the worker is gone")
    outcome.steps = job_sequence(world, start)
    reports = world.coordinator.reports_of(job.transaction)
    outcome.reports = [(r.fqdd, r.status, r.transaction, r.percent) for r in reports]


def update(world: World, kind: str, number: int = 1, version: str = "2.3.4") -> Outcome:
    """Sends a healthy job for one CPLD and waits for its end."""
    return run(world, names.KINDS[kind].fqdd(number), world.payload(kind, version))


def update_each(world: World) -> None:
    """Updates every CPLD once: all that the service and its libraries open for good is open then."""
    for device in world.board.devices:
        done = update(world, device.kind.name, device.index + 1)
        assert (done.result, done.progress[-1]) == (0, (28, 100)), done.steps


def threads(world: World) -> set[int]:
    """The service's threads as they are now."""
    assert world.service is not None
    return resources.threads(world.service.pid)


def connections(world: World) -> list[str]:
    """The service's connections to the bus as they are now."""
    assert world.service is not None
    return world.client.connections_of(world.service.pid)


def wait_until(condition: Callable[[], bool], words: str, timeout: float = 20) -> None:
    """Waits for what announces itself nowhere."""
    deadline = time.monotonic() + timeout
    while not condition():
        assert time.monotonic() < deadline, f"not within {timeout} s: {words}"
        time.sleep(0.005)


def scan_blocked(world: World, fqdd: str) -> bool:
    """Whether the CPLD's `PSUScanBlock` is set."""
    kind, number = names.split_fqdd(fqdd)
    path = kind.object_path(number)
    return bool(world.client.get(path, names.TAVRIN_INVENTORY, "PSUScanBlock").value)


def unmark(world: World, fqdd: str) -> None:
    """Takes the CPLD's `PSUScanBlock` back, as the operator may."""
    kind, number = names.split_fqdd(fqdd)
    value = Variant("b", False)
    world.client.set(kind.object_path(number), names.TAVRIN_INVENTORY, "PSUScanBlock", value)
