"""The order of reports, in whatever way the programming library goes on and the coordinator answers."""

from __future__ import annotations

import random
from collections.abc import Callable
from typing import Any

import pytest
from jobs import followed
from messages import settled_mark
from reliability import report_rules
from tavrinsim.answers import Answer, Failure, Held, Late, Latch, Reply
from tavrinsim.coordinator import STATUS
from tavrinsim.names import KINDS
from tavrinsim.world import World

Course = Callable[[random.Random], dict[str, Any]]


def rising(chance: random.Random) -> dict[str, Any]:
    """Some percentages, some of them twice, none smaller than the one before."""
    count = chance.randint(1, 30)
    return {"percents": sorted(chance.choices(range(101), k=count)), "step_delay_ms": 0}


def failing(chance: random.Random) -> dict[str, Any]:
    """The same, ended by an error code."""
    course = rising(chance)
    return course | {"fail_at": chance.randrange(len(course["percents"])), "codes": (0, 0, 9)}


def throwing(chance: random.Random) -> dict[str, Any]:
    """The same, ended by an exception."""
    course = rising(chance)
    return course | {"throw_at": chance.randrange(len(course["percents"]))}


def from_another_thread(chance: random.Random) -> dict[str, Any]:
    """Each percentage is told on a thread of the library's."""
    return rising(chance) | {"other_thread": True}


def unruly(chance: random.Random) -> dict[str, Any]:
    """Percentages in no order, beyond 100 as well: forwarded as they come."""
    count = chance.randint(1, 30)
    return {"percents": chance.choices(range(70000), k=count), "step_delay_ms": 0}


def slow_answers(chance: random.Random) -> list[Answer]:
    """A coordinator that takes its time for some reports and refuses others."""
    answers: list[Answer] = []
    for _ in range(32):
        late = Late(chance.random() / 10, Reply())
        answers.append(chance.choice([Reply(), late, Failure("a.Busy")]))
    return answers


@pytest.mark.parametrize("seed", range(2))
@pytest.mark.parametrize("course", [rising, failing, throwing, from_another_thread, unruly])
def test_reports_follow_the_library_and_end_with_the_outcome(
    ready: World, course: Course, seed: int
) -> None:
    chance = random.Random(f"{course.__name__} {seed}")
    kind = chance.choice(list(KINDS))
    ready.board.faults.programming(**course(chance))
    ready.coordinator.once(STATUS, *slow_answers(chance))
    job = ready.job(ready.board.device(kind).fqdd, ready.payload(kind, "2.3.4"))
    start = ready.trace.mark()
    with followed(ready, job):
        assert ready.coordinator.update(job) == 0
    ready.coordinator.normally(STATUS)
    assert report_rules.violations(ready, job, start) == []


def test_a_report_is_not_overtaken_by_the_next_one(ready: World) -> None:
    latch = Latch()
    ready.coordinator.once(STATUS, Reply(), Held(latch, Reply()))
    ready.board.faults.programming(percents=[10, 20, 30], step_delay_ms=0)
    job = ready.job("PBBCPLD.Embedded.1", ready.payload("pbb", "2.3.4"))
    with followed(ready, job) as done:
        assert ready.coordinator.update(job) == 0
        ready.coordinator.wait_report(
            lambda r: (r.transaction, r.percent) == (job.transaction, 10)
        )
        # Time enough for a library that would not wait until its progress is told.
        mark = settled_mark(ready)
        assert len(ready.coordinator.reports_of(job.transaction)) == 2
        latch.open()
    assert done.progress == [(4, 0), (4, 10), (4, 20), (4, 30), (28, 100)]
    told = ready.trace.select(start=mark, what="call", name="cpldfwupdate.progress")
    assert [line["args"]["percent"] for line in told] == [20, 30]
