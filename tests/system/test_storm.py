"""Thirty-two callers who ask for updates at once, at each moment of a job."""

from __future__ import annotations

from collections.abc import Iterator

import pytest
from conftest import BuildWorld
from reliability.load.crowd import CALLERS, Call, Crowd
from reliability.load.mixed import mix
from support.jobs import threads, wait_until
from tavrinsim.job import Report
from tavrinsim.world import World


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
