"""Updates during which an allocation fails: the service says so and goes on."""

from __future__ import annotations

from collections.abc import Callable

import pytest
from conftest import FindDouble
from expected import intake, ports, reports, worker
from expected.reports import Lines
from support.jobs import Outcome, run, scan_blocked, update
from tavrinsim.coordinator import Job
from tavrinsim.world import World

NO_MEMORY = "T Memory allocation failed. Update failed"
NO_THREAD = "E [TavrinUpdateStart] : Unable to start update. Failed to start worker thread: std::bad_alloc\n"


def start_with_memory_until(world: World, double: FindDouble, line: str) -> None:
    """Starts a service that gets no memory right after a log line of this format."""
    world.start(preload=[double("ending_memory")], environment={"MEMORY_ENDS_AFTER": line})
    world.wait_published()


def assert_goes_on(world: World) -> None:
    """The next job is taken as if nothing had been."""
    done = run(world, "PDBCPLD.Embedded.1", world.payload_folder())
    message = "[TavrinUpdateStart] : No valid payload file found in directory:"
    refused = intake.refused(done.job, f"{message} {done.job.directory}")
    assert (done.result, done.steps) == (1, [*intake.device_found(done.job, 1), *refused])


def up_to_the_key(job: Job) -> Lines:
    """A check begins, and its key's path is not stored any more."""
    family = intake.key_chosen(intake.component_of(job))[:-1]
    return [*intake.payload_found(job, 2), *family]


@pytest.mark.parametrize(
    ("line", "before"),
    [
        ("Entering %s\n", lambda job: intake.entered()),
        ("[%s]:count=%d str=%s device_name=%s", lambda job: intake.device_found(job, 2)),
        ("[%s] : Processing default pbb public key\n", up_to_the_key),
    ],
    ids=["while the call is stored", "while the payload is sought", "while it is verified"],
)
def test_an_intake_without_memory_refuses_in_one_line_and_reports_nothing(
    world: World, find_double: FindDouble, line: str, before: Callable[[Job], Lines]
) -> None:
    start_with_memory_until(world, find_double, line)
    done = update(world, "pbb", 2)
    assert (done.result, done.steps) == (1, [*before(done.job), NO_MEMORY])
    assert done.reports == []
    assert_goes_on(world)


def up_to_the_worker(world: World, done: Outcome) -> Lines:
    """The steps of a healthy PBB job until its port is open."""
    return [*intake.started(done.job, 2), *ports.unlocked(world.board.device("pbb"), 2)]


def test_without_memory_for_a_worker_the_port_is_closed_again(
    world: World, find_double: FindDouble
) -> None:
    start_with_memory_until(world, find_double, "[%s] : HARDIP enabled on %s\n")
    done = update(world, "pbb")
    assert done.result == 1
    assert done.steps == [
        *up_to_the_worker(world, done),
        intake.worker_started(done.job)[0],
        NO_THREAD,
        *ports.locked(world.board.device("pbb"), 2),
        *reports.sent(done.job, reports.FAILED),
    ]
    assert scan_blocked(world, done.job.fqdd)
    assert_goes_on(world)


def test_a_worker_without_memory_for_the_library_fails_and_closes_the_port(
    world: World, find_double: FindDouble
) -> None:
    start_with_memory_until(world, find_double, "[%s:%s] : Calling library for %s\n")
    done = update(world, "pbb")
    assert done.result == 0
    assert done.steps == [
        *up_to_the_worker(world, done),
        *intake.worker_started(done.job),
        *worker.begun(done.job)[:-1],
        f"E {worker.TAG} : Exception: std::bad_alloc\n",
        *ports.locked(world.board.device("pbb"), 2),
        *worker.given_up(done.job),
    ]
    assert_goes_on(world)
