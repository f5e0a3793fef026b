"""A service that gets no thread when it needs one."""

from __future__ import annotations

from typing import Any

from conftest import FindDouble
from expected import intake, ports, reports, start
from expected.registration import listening
from support.jobs import run, scan_blocked, threads, update
from support.sequence import logs
from tavrinsim.names import FLOP, PBB
from tavrinsim.world import World
from watching import all_paths, published_paths, said, start_pending

REFUSED = "Resource temporarily unavailable\n"


def refuse(double: FindDouble, thread: int) -> dict[str, Any]:
    """How a service is started that gets all threads but this one, counted from 1."""
    return {
        "preload": [double("refusing_threads")],
        "environment": {"REFUSED_THREAD": str(thread)},
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
