"""Updates while many read, call and write; answers larger than a socket takes at once."""

from __future__ import annotations

import time
from collections.abc import Iterator

import pytest
from conftest import BuildWorld, FindDouble
from dbus_next import Variant
from reliability.load.crowd import CALLERS, Call, Crowd
from reliability.load.mixed import compare, mix
from reliability.load.readers import LONGEST_MS, reading
from support.jobs import break_library, run_job, threads, wait_until
from tavrinsim import names
from tavrinsim.answers import Late, Reply
from tavrinsim.coordinator import STATUS
from tavrinsim.job import Report
from tavrinsim.names import PBB
from tavrinsim.world import World

# -- sixteen clients that read everything without a pause ------------------------------


HELD = 1.5


def test_readers_change_nothing_of_an_update_and_go_on_getting_answers(
    build_world: BuildWorld,
) -> None:
    world = build_world(monitored=False)
    world.start()
    world.wait_published()
    done = compare(world)
    assert done.violations() == []
    assert done.waits.calls > 1000


def test_a_reader_waits_for_the_coordinator_to_take_a_jobs_first_report_and_no_longer(
    build_world: BuildWorld,
) -> None:
    world = build_world(monitored=False)
    world.start()
    world.wait_published()
    world.coordinator.once(STATUS, Late(HELD, Reply()))
    break_library(world)
    job = world.job("PBBCPLD.Embedded.1", world.payload("pbb", "2.3.4"))
    with reading(world) as waits:
        begin = time.monotonic()
        assert run_job(world, job).result == 0
    assert waits.failures == 0
    assert 1000 * HELD <= waits.longest < 1000 * HELD + LONGEST_MS
    assert time.monotonic() - begin > HELD


# -- thirty-two callers who ask for updates at once, at each moment of a job -----------


@pytest.fixture
def calm(build_world: BuildWorld) -> Iterator[World]:
    """A service that has registered, so that no thread but a worker comes and goes."""
    world = build_world(monitored=False)
    world.board.faults.programming(percents=[0, 100], step_delay_ms=0)
    world.start()
    world.wait_published()
    world.wait_registered()
    yield world


def end(world: World, jobs: list[Call], idle: set[int]) -> None:
    """Waits until the jobs are reported and their workers gone."""
    for job in jobs:
        world.coordinator.wait_outcome(job.transaction)
    wait_until(lambda: threads(world) <= idle, "the worker is gone")


def test_one_of_many_calls_at_once_becomes_a_job_and_none_while_it_runs(calm: World) -> None:
    idle = threads(calm)
    gate = calm.board.faults.gate()
    calm.board.faults.programming(percents=[0, 100], pause_at=1, gate=gate)
    crowd = Crowd(calm)
    first = [call for call in crowd.shout() if call.accepted]
    assert len(first) == 1
    gate.wait_reached()
    for _ in range(3):
        assert [call for call in crowd.shout() if call.accepted] == []
    gate.open()
    end(calm, first, idle)
    assert crowd.violations() == []


def test_one_call_becomes_the_next_job_between_the_end_of_a_job_and_its_last_report(
    calm: World,
) -> None:
    idle = threads(calm)
    crowd = Crowd(calm)
    accepted: list[Call] = []

    async def shout_before_the_answer(report: Report) -> None:
        if report.final and len(accepted) < 3:
            shouted = await crowd.shout_async()
            accepted.extend(call for call in shouted if call.accepted)

    calm.coordinator.on_report = shout_before_the_answer
    first = [call for call in crowd.shout() if call.accepted]
    wait_until(lambda: len(accepted) == 3, "three more storms")
    end(calm, first + accepted, idle)
    assert len(crowd.calls) == 4 * CALLERS
    assert crowd.accepted() == [*first, *accepted]
    assert crowd.violations() == []


def test_everything_at_once_leaves_each_job_and_each_neighbour_its_due(calm: World) -> None:
    mixture = mix(calm, Crowd(calm), updates=3)
    assert mixture.violations == []
    assert mixture.updates >= 3
    assert min(mixture.passes, mixture.signals, mixture.writes, mixture.waits.calls) > 10


# -- answers where root's privileges hide nothing --------------------------------------


MANY = {"pbb": 255, "pdb": 255, "flop": 255}
MEGABYTES_3 = "x" * 3_000_000
JOB_ID = (PBB.object_path(1), names.COMP_UPDATE, "Jobid")


@pytest.fixture(scope="module")
def crowded(build_shared_world: BuildWorld, find_double: FindDouble) -> World:
    """A service with as many CPLDs as there can be, and with little room for what it sends."""
    world = build_shared_world(counts=MANY, monitored=False)
    small = {"C_LIBRARY": "small buffers"}
    world.start(preload=[find_double("c_library")], environment=small)
    world.client.wait_for_name(timeout=60)
    return world


def test_all_objects_of_the_largest_platform_arrive(crowded: World) -> None:
    assert len(crowded.client.managed_objects()) == sum(MANY.values())


def test_a_property_of_megabytes_is_written_and_read(crowded: World) -> None:
    crowded.client.set(*JOB_ID, Variant("s", MEGABYTES_3))
    assert crowded.client.get(*JOB_ID).value == MEGABYTES_3
    crowded.client.set(*JOB_ID, Variant("s", ""))
