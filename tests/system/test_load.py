"""Updates while sixteen clients read everything that the service shows, without a pause."""

from __future__ import annotations

import time

from conftest import BuildWorld
from reliability.load.comparison import compare
from reliability.load.readers import LONGEST_MS, reading
from support.jobs import break_library, run_job
from tavrinsim.answers import Late, Reply
from tavrinsim.coordinator import STATUS

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
