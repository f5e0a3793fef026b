"""The worker: what it makes of the programming library's courses and outcomes."""

from __future__ import annotations

import os
import re
from collections.abc import Sequence
from contextlib import suppress
from pathlib import Path

import pytest
from expected import intake, ports, worker
from support.jobs import Outcome, followed, run, scan_blocked, unmark, update, wait_until
from tavrinsim.answers import Held, Latch, Reply
from tavrinsim.coordinator import STATUS
from tavrinsim.world import World

TAG = worker.TAG


def before(world: World, done: Outcome, number: int = 1) -> list[str]:
    """The steps of a healthy PBB job up to its worker."""
    device = world.board.device("pbb", number - 1)
    return [
        *intake.started(done.job, 2),
        *ports.unlocked(device, 2),
        *intake.worker_started(done.job),
    ]


@pytest.mark.parametrize(
    "codes", [(0, 0, 5), (0, 7, 0), (3, 0, 0), (-1, -(2**31), 2**31 - 1)], ids=str
)
def test_any_error_code_is_a_failure(service: World, codes: tuple[int, int, int]) -> None:
    service.board.faults.programming(codes=codes, percents=[0, 50], fail_at=1)
    done = update(service, "pbb")
    assert done.result == 0
    assert done.steps == [
        *before(service, done),
        *worker.programmed(done.job, percents=[0], codes=codes),
        *ports.locked(service.board.device("pbb"), 2),
        *worker.failed(done.job, codes),
    ]
    assert done.progress == [(4, 0), (4, 0), (18, 0)]


# The simulated library's codes (i2cdriver, dup, upd) for an image of another kind.
OTHER_KIND = (0, 0, 3)


def test_a_payload_of_another_kind_is_the_librarys_to_refuse(service: World) -> None:
    done = run(service, "PBBCPLD.Embedded.1", service.payload("pdb", "2.3.4"))
    assert done.result == 0
    assert done.steps == [
        *before(service, done),
        *worker.programmed(done.job, percents=[], codes=OTHER_KIND),
        *ports.locked(service.board.device("pbb"), 2),
        *worker.failed(done.job, OTHER_KIND),
    ]
    assert service.board.device("pbb").version == "1.0.0"
    assert not service.board.device("pbb").port_open


def test_a_library_that_throws_midway_is_a_failure_and_the_service_goes_on(
    service: World,
) -> None:
    fault = service.board.faults.programming(
        percents=[0, 30, 60], throw_at=2, exception_text="lost %s"
    )
    done = update(service, "pbb")
    assert done.steps == [
        *before(service, done),
        *worker.begun(done.job),
        *worker.progress(done.job, [0, 30]),
        *worker.threw("lost %s"),
        *ports.locked(service.board.device("pbb"), 2),
        *worker.given_up(done.job),
    ]
    fault.remove()
    assert update(service, "pbb").progress[-1] == (28, 100)
    assert service.board.device("pbb").version == "2.3.4"


@pytest.mark.parametrize(
    "percents",
    [[65537, 65535, 65536, 0xFFFFFFFF], [100, 3, 3, 0, 101]],
    ids=["beyond 16 bits", "out of order"],
)
def test_percentages_are_sent_as_they_come_cut_to_16_bits(
    service: World, percents: Sequence[int]
) -> None:
    service.board.faults.programming(percents=percents)
    done = update(service, "pbb")
    running = [(4, percent % 65536) for percent in percents]
    assert done.progress == [(4, 0), *running, (28, 100)]
    whole = [f"T ActivationProgress {signed(p)} in percent, " for p in (0, *percents, 100)]
    logged = [line for line in done.steps if line.startswith("T ActivationProgress")]
    assert [line.partition("status")[0] for line in logged] == whole


def signed(number: int) -> int:
    """As a number of 32 bits reads with %d."""
    return number - 2**32 if number >= 2**31 else number


def test_progress_may_come_from_a_thread_of_the_librarys(service: World) -> None:
    service.board.faults.programming(other_thread=True)
    start = service.trace.mark()
    done = update(service, "pbb")
    lines = service.trace.select(start=start, what="log")
    told = {line["tid"] for line in lines if line["text"].startswith("[StatusUpdate_CB]")}
    workers = {line["tid"] for line in lines if line["text"].startswith("[FW_update:")}
    assert told and not told & workers
    assert done.steps == [
        *before(service, done),
        *worker.programmed(done.job),
        *ports.locked(service.board.device("pbb"), 2),
        *worker.succeeded(done.job),
    ]


def test_a_library_that_tells_no_progress_still_has_an_outcome(service: World) -> None:
    service.board.faults.programming(percents=[])
    done = update(service, "pbb")
    assert done.steps == [
        *before(service, done),
        *worker.programmed(done.job, percents=[]),
        *ports.locked(service.board.device("pbb"), 2),
        *worker.succeeded(done.job),
    ]


def test_a_program_that_the_library_starts_inherits_nothing_of_the_service(
    service: World,
) -> None:
    gate = service.board.faults.gate()
    service.board.faults.programming(pause_at=5, gate=gate)
    job = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    with followed(service, job):
        assert service.coordinator.update(job) == 0
        gate.wait_reached()
        descriptors = inherited(service)
        gate.open()
    # More than the standard ones are there, and none of them goes to a child.
    assert len(descriptors) > 0
    assert [name for name, goes in descriptors.items() if goes] == []


def inherited(world: World) -> dict[str, bool]:
    """What the service has open beside its standard streams, and whether a child gets it."""
    assert world.service is not None
    process = Path(f"/proc/{world.service.pid}")
    numbers = [number for number in os.listdir(process / "fd") if int(number) > 2]
    found = {}
    for number in numbers:
        with suppress(FileNotFoundError):  # closed since
            described = (process / "fdinfo" / number).read_text()
            (flags,) = re.findall(r"^flags:\t(\d+)$", described, re.MULTILINE)
            name = f"{number} {os.readlink(process / 'fd' / number)}"
            found[name] = not int(flags, 8) & os.O_CLOEXEC
    return found


def test_the_librarys_object_and_the_devices_mark_wait_for_the_last_report(
    service: World,
) -> None:
    latch = Latch()
    service.board.faults.programming(percents=[50], step_delay_ms=0)
    service.coordinator.once(STATUS, Reply(), Reply(), Held(latch, Reply()))
    job = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    start = service.trace.mark()
    with followed(service, job):
        assert service.coordinator.update(job) == 0
        service.coordinator.wait_outcome(job.transaction)
        unmark(service, job.fqdd)  # the update's start has set it
        assert not scan_blocked(service, job.fqdd)
        assert destroyed(service, start) == 0
        latch.open()
    assert destroyed(service, start) == 1
    wait_until(lambda: scan_blocked(service, job.fqdd), "the device is marked")


def destroyed(world: World, start: int) -> int:
    """How many objects of the programming library are gone."""
    return len(world.trace.select(start=start, what="call", name="cpldfwupdate.destroy"))


def test_there_is_a_second_before_and_half_a_second_after_the_closing(service: World) -> None:
    start = service.trace.mark()
    update(service, "pbb")
    times = {
        name: service.trace.wait_for(start=start, what="call", name=f"cpldfwupdate.{name}")["t"]
        for name in ("finish", "get_error_code")
    }
    closing = service.trace.select(start=start, what="close")[-1]["t"]
    parsing = service.trace.select(start=start, what="call", name="i2c_parse_sysinfo")[-1]["t"]
    assert parsing - times["finish"] >= 1_000_000_000
    assert times["get_error_code"] - closing >= 500_000_000
