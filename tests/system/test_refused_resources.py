"""A service that gets no thread, or no memory for a moment: it tells so and goes on."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import pytest
from conftest import FindDouble
from expected import intake, ports, reports, start, worker
from expected.registration import listening
from expected.reports import Lines
from support.jobs import Outcome, run, scan_blocked, threads, update
from support.sequence import logs
from tavrinsim.coordinator import Job
from tavrinsim.names import FLOP, PBB
from tavrinsim.world import World
from watching import all_paths, published_paths, said, start_pending

REFUSED = "Resource temporarily unavailable\n"


def refuse(double: FindDouble, thread: int) -> dict[str, Any]:
    """How a service is started that gets all threads but this one, counted from 1."""
    return {
        "preload": [double("c_library")],
        "environment": {"C_LIBRARY": "refuses threads", "REFUSED_THREAD": str(thread)},
    }


def test_without_a_thread_for_the_worker_the_port_is_closed_and_the_refusal_reported(
    world: World, find_double: FindDouble
) -> None:
    world.start(**refuse(find_double, 2))  # the first one registers
    world.wait_published()
    device = world.board.device("pbb")
    unable = "E [TavrinUpdateStart] : Unable to start update."
    done = update(world, "pbb")
    assert done.result == 1
    assert done.steps == [
        *intake.started(done.job, 2),
        *ports.unlocked(device, 2),
        intake.worker_started(done.job)[0],
        f"{unable} Failed to start worker thread: {REFUSED}",
        *ports.locked(device, 2),
        *reports.sent(done.job, reports.FAILED),
    ]
    assert done.progress == [(4, 0), (18, 0)]
    assert scan_blocked(world, done.job.fqdd)
    assert (device.version, device.port_open) == ("1.0.0", False)
    assert update(world, "pbb").progress[-1] == (28, 100)


def test_without_a_thread_for_the_worker_a_port_that_stays_open_is_told_too(
    world: World, find_double: FindDouble
) -> None:
    world.start(**refuse(find_double, 2))
    world.wait_published()
    world.board.faults.parser(PBB, status=22, after=1)
    done = update(world, "pbb")
    assert done.result == 1
    assert done.steps[-6:] == [
        *ports.not_described(world.board.device("pbb"), 2)[-2:],
        "E [TavrinUpdateStart] : Failed to disable HARDIP on PBB_PLD\n",
        *reports.sent(done.job, reports.FAILED),
    ]
    assert run(world, done.job.fqdd, "/nowhere").progress == [(18, 0)]


def test_without_a_thread_for_the_registration_the_start_ends(
    world: World, find_double: FindDouble
) -> None:
    assert world.start(**refuse(find_double, 1)).wait() == 0
    error = f"[main] : System Exception: {REFUSED}"
    assert logs(world)[-4:] == [
        start.object_registered(FLOP, 1),
        "T [~Tavrinupdate] : DESTRUCTOR called\n",
        f"E {error}",
        "T [main]: Exiting process ...",
    ]
    assert world.log().endswith(f" : {error}")
    assert world.coordinator.registrations == []


def test_without_a_thread_for_the_registration_a_running_service_works_unregistered(
    world: World, find_double: FindDouble
) -> None:
    mark = start_pending(world, **refuse(find_double, 1))
    world.fru_reader.complete()
    assert said(world, mark)[-2:] == [
        start.object_registered(FLOP, 1),
        f"E frureadcompleteHandler : Exception: {REFUSED}",
    ]
    assert published_paths(world) == all_paths()
    assert len(threads(world)) == 1
    mark = world.trace.mark()
    world.fru_reader.complete()
    assert said(world, mark) == start.fru_signal_seen()
    assert update(world, "pdb").progress[-1] == (28, 100)
    assert listening()[0] not in logs(world)


# -- updates during which an allocation fails ------------------------------------------


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
