"""Reports that do not go smoothly: none of it changes the course of an update."""

from __future__ import annotations

import subprocess
import time
from collections.abc import Iterator
from contextlib import contextmanager

import pytest
from conftest import FindDouble
from dbus_next import Variant
from expected import intake, ports, reports, worker
from expected.reports import Lines
from messages import settled_mark
from support.jobs import (
    break_library,
    connections,
    followed,
    put_back,
    run_job,
    send_without_coordinator,
    update,
    wait_until,
)
from tavrinsim import names
from tavrinsim.answers import Answer, Departure, Failure, Held, Latch, Reply
from tavrinsim.coordinator import STATUS, Job
from tavrinsim.names import PBB
from tavrinsim.world import World
from watching import IMPATIENT

NO_OWNER = (
    "org.freedesktop.DBus.Error.ServiceUnknown",
    "The name com.vexa.bevon.cmnfwupd was not provided by any .service files",
)


def with_failures(steps: Lines, failure: Lines) -> Lines:
    """The steps of an update with each of its reports followed by the lines of a failure."""
    sent = "> cmnfwupd_fw_update_status("
    return [
        line
        for step in steps
        for line in ([step, *failure] if step.startswith(sent) else [step])
    ]


def unsent(steps: Lines, failure: Lines) -> Lines:
    """The same where the reports do not even reach the coordinator."""
    return [
        step for step in with_failures(steps, failure) if not step.startswith("> cmnfwupd_fw")
    ]


def healthy(world: World, job: Job) -> Lines:
    """The steps of an update of the first PBB where all goes well."""
    device = world.board.device("pbb")
    return [
        *intake.started(job, 2),
        *ports.unlocked(device, 2),
        *intake.worker_started(job),
        *worker.programmed(job),
        *ports.locked(device, 2),
        *worker.succeeded(job),
    ]


def short(world: World, job: Job) -> Lines:
    """The same where the programming library is broken."""
    device = world.board.device("pbb")
    return [
        *intake.started(job, 2),
        *ports.unlocked(device, 2),
        *intake.worker_started(job),
        *worker.broken(job),
        *ports.locked(device, 2),
        *worker.given_up(job),
    ]


@pytest.mark.parametrize(
    "answer, code, text, message",
    [
        (Failure("org.example.Error.Busy", "later"), -5, "Input/output error", "later"),
        (
            Failure("org.freedesktop.DBus.Error.AccessDenied", "no"),
            -13,
            "Permission denied",
            "no",
        ),
    ],
    ids=["error of its own", "known error"],
)
def test_error_replies_are_logged_and_the_update_goes_on(
    service: World, answer: Failure, code: int, text: str, message: str
) -> None:
    service.coordinator.always(STATUS, answer)
    break_library(service)
    done = update(service, "pbb")
    failure = reports.failure(code, text, answer.name, message)
    assert done.result == 0
    assert done.steps == with_failures(short(service, done.job), failure)
    wait_until(lambda: len(connections(service)) == 2, "no report leaves its connection open")


def test_what_a_reply_holds_does_not_matter(service: World) -> None:
    answers: list[Answer] = [
        Reply("s", "thanks"),
        Reply("a{sv}", {"x": Variant("u", 1)}),
        Reply("i", -1),
    ]
    service.coordinator.once(STATUS, *answers)
    done = update(service, "pbb")
    assert done.steps == healthy(service, done.job)


def test_a_refusal_that_cannot_be_reported_is_still_the_calls_result(service: World) -> None:
    service.coordinator.always(STATUS, Failure("org.example.Error.Busy", ""))
    job = service.job("PBBCPLD.Embedded.1", "/nowhere")
    done = send_without_coordinator(service, job)
    failure = reports.failure(-5, "Input/output error", "org.example.Error.Busy", "")
    refused = intake.refused(job, "[TavrinUpdateStart] : Directory not found: /nowhere")
    assert done.result == 1
    assert done.steps == [*intake.device_found(job, 2), *refused, *failure]


def test_without_a_coordinator_an_update_runs_to_its_end(service: World) -> None:
    service.coordinator.stop()
    job = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    done = send_without_coordinator(service, job)
    assert done.result == 0
    failure = reports.failure(-113, "No route to host", *NO_OWNER)
    assert done.steps == unsent(healthy(service, job), failure)
    assert service.board.device("pbb").version == "2.3.4"


def test_a_coordinator_that_leaves_with_a_report_in_its_hands_is_logged(service: World) -> None:
    service.coordinator.once(STATUS, Departure())
    break_library(service)
    job = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    done = send_without_coordinator(service, job)
    errors = [line for line in done.errors if line.startswith("[reportUpdateStatus]")]
    assert done.result == 0
    gone = "Message recipient disconnected from message bus without replying"
    left = reports.failure(
        -110, "Connection timed out", "org.freedesktop.DBus.Error.NoReply", gone
    )
    absent = reports.failure(-113, "No route to host", *NO_OWNER)
    assert errors == [line[2:] for line in (*left, *absent)]


def test_without_a_bus_for_reports_an_update_runs_to_its_end(service: World) -> None:
    (service.folder / "bus" / "socket").unlink()
    done = update(service, "pbb")
    assert done.result == 0
    expected = unsent(healthy(service, done.job), reports.no_bus())
    assert done.steps == expected
    assert done.reports == []


def test_no_port_is_opened_before_the_coordinator_has_taken_the_first_report(
    service: World,
) -> None:
    latch = Latch()
    service.coordinator.once(STATUS, Held(latch, Reply()))
    job = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    start = service.trace.mark()
    with followed(service, job) as done:
        answer = service.coordinator.begin_update(job)
        service.coordinator.wait_for_calls(STATUS)
        settled_mark(service)  # time enough for a service that does not wait
        assert service.trace.select(start=start, what="open") == []
        assert not answer.done()
        opened = time.monotonic_ns()
        latch.open()
        assert answer.result(20) == 0
    assert service.trace.wait_for(start=start, what="open")["t"] > opened
    assert done.steps == healthy(service, job)


def test_the_service_answers_while_a_report_of_its_worker_is_held(service: World) -> None:
    latch = Latch()
    service.coordinator.once(STATUS, Reply(), Held(latch, Reply()))
    job = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    with followed(service, job) as done:
        assert service.coordinator.update(job) == 0
        service.coordinator.wait_for_calls(STATUS, 2)
        jobid = service.client.get(PBB.object_path(1), names.COMP_UPDATE, "Jobid")
        assert jobid.value == job.job_id
        assert len(service.coordinator.reports) == 2
        latch.open()
    assert done.steps == healthy(service, job)


def test_a_report_waits_for_its_answer_as_long_as_the_bus_does_by_default(
    world: World, find_double: FindDouble
) -> None:
    tells = {"BUS_LIBRARY": "tells waits"}
    world.start(preload=[find_double("bus_library")], environment=tells)
    world.wait_published()
    break_library(world)
    done = update(world, "pbb")
    lines = [line.split() for line in world.output.read_text().splitlines()]
    asked = [words[2] for words in lines if words[:2] == ["asks", STATUS]]
    assert asked == ["25000000"] * len(done.reports)
    assert asked


# -- a coordinator that owns its name and never answers: "black-hole" of dbus-test-tool --


SENT = "> cmnfwupd_fw_update_status("
UNANSWERED = reports.failure(
    -110,
    "Connection timed out",
    "org.freedesktop.DBus.Error.Timeout",
    "Connection timed out",
)


@contextmanager
def black_hole(world: World, *options: str) -> Iterator[None]:
    """Takes the coordinator's place: takes every call, or not even that, and answers none."""
    world.coordinator.stop()
    command = ["dbus-test-tool", "black-hole", "--system", f"--name={names.COORDINATOR}"]
    environment = {**world.bus.environment(), "PATH": "/usr/bin"}
    with subprocess.Popen([*command, *options], env=environment) as process:
        try:
            world.client.wait_for_name(names.COORDINATOR)
            yield
        finally:
            process.terminate()


@pytest.mark.parametrize("options", [[], ["--no-read"]], ids=["taking all", "not even reading"])
def test_a_silent_coordinator_changes_nothing_of_an_update_but_its_length(
    world: World, options: list[str]
) -> None:
    world.start(environment=IMPATIENT)
    world.wait_published()
    world.board.faults.programming(percents=[50, 100], step_delay_ms=0)
    job = world.job("PBBCPLD.Embedded.1", world.payload("pbb", "2.3.4"))
    heard = run_job(world, job)
    put_back(world)
    world.board.faults.programming(percents=[50, 100], step_delay_ms=0)
    with black_hole(world, *options):
        unheard = send_without_coordinator(world, job)
    told = [step for step in heard.steps if step.startswith(SENT)]
    assert [step for step in unheard.steps if step in UNANSWERED] == UNANSWERED * len(told)
    course = [step for step in heard.steps if not step.startswith(SENT)]
    assert [step for step in unheard.steps if step not in UNANSWERED] == course
    assert (unheard.result, world.board.device("pbb").version) == (0, "2.3.4")
    assert len(told) == 4
