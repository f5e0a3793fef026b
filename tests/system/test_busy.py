"""Jobs that come while another one runs, and jobs that come right after it."""

from __future__ import annotations

from collections.abc import Iterator

import pytest
from expected import power_state, start
from expected.registration import asked_again, listening, whole_pass
from support.jobs import (
    HEALTHY,
    Outcome,
    break_library,
    followed,
    run,
    run_job,
    scan_blocked,
    unmark,
    update,
    wait_until,
)
from support.sequence import job_sequence
from tavrinsim.coordinator import Job, Report
from tavrinsim.faults import Gate
from tavrinsim.names import PBB
from tavrinsim.world import World
from watching import answer, thread_lines, wait_for_calls


class Running:
    """An update of the first PBB, held in the middle of its programming run."""

    def __init__(self, world: World, job: Job, gate: Gate, done: Outcome) -> None:
        self.world = world
        self.job = job
        self.gate = gate
        self.done = done


@pytest.fixture
def running(service: World) -> Iterator[Running]:
    """Goes on when the test opens its gate, at the latest when the test is over."""
    gate = service.board.faults.gate()
    service.board.faults.programming(pause_at=5, gate=gate)
    job = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    with followed(service, job) as done:
        assert service.coordinator.update(job) == 0
        gate.wait_reached()
        yield Running(service, job, gate, done)
        gate.open()


def refusal(fqdd: str) -> list[str]:
    """All that a busy service does for a job."""
    return [
        f"E [flop_update_handler] : Unable to start update of {fqdd}. Another update is running\n"
    ]


def test_a_busy_service_refuses_in_one_line_and_reports_nothing(running: Running) -> None:
    world = running.world
    payload = world.payload("pbb", "3.4.5")
    place = {"component_id": PBB.component_id, "path": PBB.object_path(2)}
    jobs = ["PBBCPLD.Embedded.1", "PBBCPLD.Embedded.2", "PDBCPLD.Embedded.1", "CPLD.IOBay.1"]
    for fqdd in (*jobs, "nobody.1", "", "PBBCPLD.Embedded.99999999999"):
        done = run(world, fqdd, payload, **place)
        assert (done.result, done.steps, done.reports) == (1, refusal(fqdd), [])
    assert not scan_blocked(world, "PBBCPLD.Embedded.2")


def test_the_running_job_keeps_its_own_name_and_number(running: Running) -> None:
    world, job = running.world, running.job
    other = world.job("PBBCPLD.Embedded.2", world.payload("pbb", "9.9.9"), job_id="JID_2")
    assert run_job(world, other).result == 1
    running.gate.open()
    outcome = world.coordinator.wait_outcome(job.transaction)
    assert (outcome.fqdd, outcome.status, outcome.percent) == (job.fqdd, 28, 100)
    told = [(r.fqdd, r.transaction) for r in world.coordinator.reports]
    assert set(told) == {(job.fqdd, job.transaction)}
    assert [(r.status, r.percent) for r in world.coordinator.reports] == HEALTHY
    assert [device.version for device in world.board.devices[:2]] == ["2.3.4", "1.0.0"]


def test_signals_during_an_update_are_served_and_touch_no_cpld(running: Running) -> None:
    world = running.world
    wait_for_calls(world, 4)  # the first pass is over
    world.board.hold_line = 1
    mark = world.trace.mark()
    world.fru_reader.complete()
    world.host_state.change("S5OnPending")
    world.coordinator.ask_for_registrations()
    wait_for_calls(world, 8)
    answer(world)
    assert job_sequence(world, mark) == [
        *start.fru_signal_seen(),
        *power_state.released("S5OnPending"),
    ]
    assert world.board.hold_line == 0
    assert thread_lines(world) == [
        *listening(),
        *whole_pass(),
        *asked_again(),
        *whole_pass(),
    ]
    touched = ("open", "transfer", "close")
    assert world.trace.select(lambda line: line["what"] in touched, start=mark) == []
    running.gate.open()
    assert world.coordinator.wait_outcome(running.job.transaction).status == 28


def test_the_next_job_may_be_sent_from_the_handler_of_the_last_report(service: World) -> None:
    first = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    second = service.job("CPLD.IOBay.1", service.payload("flop", "3.4.5"))
    results: list[int] = []

    async def send_next(report: Report) -> None:
        if report.final and report.transaction == first.transaction:
            results.append(await service.coordinator.update_async(second))

    service.coordinator.on_report = send_next
    assert service.coordinator.update(first) == 0
    assert service.coordinator.wait_outcome(second.transaction).status == 28
    assert results == [0]
    for job in (first, second):
        told = service.coordinator.reports_of(job.transaction)
        assert [(r.fqdd, r.status, r.percent) for r in told] == [
            (job.fqdd, *step) for step in HEALTHY
        ]
    assert service.board.device("flop").version == "3.4.5"


def test_the_next_job_leaves_the_last_one_its_mark(service: World) -> None:
    first = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    second = service.job("CPLD.IOBay.1", service.payload("flop", "3.4.5"))
    gate = service.board.faults.gate()
    service.board.faults.programming(pause_at=5, gate=gate)

    async def send_next(report: Report) -> None:
        if report.final and report.transaction == first.transaction:
            await service.coordinator.update_async(second)

    service.coordinator.on_report = send_next
    assert service.coordinator.update(first) == 0
    gate.wait_reached()
    unmark(service, first.fqdd)
    gate.open()
    service.coordinator.wait_outcome(second.transaction)
    wait_until(lambda: scan_blocked(service, first.fqdd), "the first job's mark is set again")


def test_a_job_sent_from_the_handler_of_an_earlier_report_is_refused(service: World) -> None:
    first = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    second = service.job("CPLD.IOBay.1", service.payload("flop", "3.4.5"))
    results: list[int] = []

    async def send_early(report: Report) -> None:
        if (report.transaction, report.percent) == (first.transaction, 50):
            results.append(await service.coordinator.update_async(second))

    service.coordinator.on_report = send_early
    with followed(service, first):
        assert service.coordinator.update(first) == 0
    assert results == [1]
    assert service.coordinator.reports_of(second.transaction) == []
    assert service.coordinator.reports[-1].status == 28


@pytest.mark.parametrize(
    ("codes", "last"),
    [((0, 0, 0), (28, 100)), ((0, 0, 1), (18, 0))],
    ids=["success", "failure"],
)
def test_the_service_is_free_again_after_an_outcome(
    service: World, codes: tuple[int, int, int], last: tuple[int, int]
) -> None:
    service.board.faults.programming(percents=[0, 100], codes=codes)
    assert update(service, "pdb").progress[-1] == last
    break_library(service)
    assert update(service, "pdb").result == 0
