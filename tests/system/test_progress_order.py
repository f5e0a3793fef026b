"""The order of reports, in whatever way the programming library goes on and the coordinator answers."""

from __future__ import annotations

import random
from collections.abc import Callable, Iterator
from typing import Any

import pytest
from messages import settled_mark
from support.jobs import followed
from tavrinsim.answers import Answer, Failure, Held, Latch, Late, Reply
from tavrinsim.coordinator import STATUS
from tavrinsim.device import Device
from tavrinsim.job import FAILED, IN_PROGRESS, SUCCEEDED, Job, Report
from tavrinsim.names import KINDS
from tavrinsim.trace import Line
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


SIXTEEN_BITS = 0xFFFF


def wrong_reports(world: World, job: Job, start: int = 0) -> list[str]:
    """What is wrong with the reports of a job that is over, whatever the library did in it."""
    reports = world.coordinator.reports_of(job.transaction)
    steps = world.trace.select(start=start, what="call", name="cpldfwupdate.progress")
    told = [int(line["args"]["percent"]) & SIXTEEN_BITS for line in steps]
    device = world.board.device_of(job.fqdd)
    return [
        *wrong_course(reports, told),
        *wrong_end(reports),
        *early_end(reports, world.trace.select(start=start, device=device.name), device),
    ]


def wrong_course(reports: list[Report], told: list[int]) -> Iterator[str]:
    """The start, then each of the library's percentages as it came: no other, none twice."""
    course = [report.percent for report in reports if report.status == IN_PROGRESS]
    if course != [0, *told]:
        yield f"reported {course} of {told}"
    if told == sorted(told) and course != sorted(course):
        yield f"went backwards: {course}"


def wrong_end(reports: list[Report]) -> Iterator[str]:
    """One outcome, and nothing after it."""
    finals = [place for place, report in enumerate(reports) if report.final]
    if finals != [len(reports) - 1]:
        yield f"outcomes at {finals} of {len(reports)} reports"
    elif (reports[-1].status, reports[-1].percent) not in ((SUCCEEDED, 100), (FAILED, 0)):
        yield f"the outcome is {reports[-1]}"


def early_end(reports: list[Report], lines: list[Line], device: Device) -> Iterator[str]:
    """The port is closed by then, and the device let go of."""
    times = [line["t"] for line in lines if line.get("event") == "port-closed"]
    closes = [line["t"] for line in lines if line["what"] == "close"]
    for report in reports:
        if not report.final:
            continue
        if device.port_open or not times or max(*times, *closes) > report.time * 1e9:
            yield "the outcome was reported before the port was closed"


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
    assert wrong_reports(ready, job, start) == []


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
