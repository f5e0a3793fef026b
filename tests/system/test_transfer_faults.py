"""Transfers that fail: three attempts with a pause between them, and every error in the log."""

from __future__ import annotations

import signal

import pytest
from expected import intake, ports, worker
from support.jobs import break_library, update
from tavrinsim.faults import Operation
from tavrinsim.world import World

LOCK = 0x04
FIVE_MILLISECONDS = 5_000_000
ERRORS = [
    (5, "Input/output error"),
    (6, "No such device or address"),
    (16, "Device or resource busy"),
    (110, "Connection timed out"),
    (121, "Remote I/O error"),
]


@pytest.mark.parametrize("errno, text", ERRORS)
@pytest.mark.parametrize("failures", [1, 2])
def test_the_second_and_the_third_attempt_are_good_enough(
    ready: World, errno: int, text: str, failures: int
) -> None:
    ready.board.faults.transfer(errno=errno, times=failures)
    ready.board.faults.stuck(ready.board.device("pdb"))
    device = ready.board.device("pdb")
    done = update(ready, "pdb")
    assert done.steps == [
        *intake.started(done.job, 1),
        *ports.reached(device, 1),
        *ports.failed_read(device, LOCK, 1, errno, text, attempts=failures),
        *ports.before(device, 0x01),
        *ports.write(device, LOCK, 0x00),
        *ports.after(device, 0x01),
        f"E {ports.LOCKED} : failed to CLEAR PDB_PLD CPLD_LOCK_I2C_PLDFW to enable HARDIP\n",
        f"close {device.name}",
        *intake.port_not_opened(done.job),
    ]


@pytest.mark.parametrize("errno, text", ERRORS)
def test_three_failed_reads_are_the_end(ready: World, errno: int, text: str) -> None:
    ready.board.faults.transfer(errno=errno, times=3)
    device = ready.board.device("pdb")
    done = update(ready, "pdb")
    assert done.steps == [
        *intake.started(done.job, 1),
        *ports.reached(device, 1),
        *ports.failed_read(device, LOCK, 1, errno, text),
        f"E {ports.LOCKED} : I2CError: Unable to read HIP_SW_EN register value\n",
        f"close {device.name}",
        *intake.port_not_opened(done.job),
    ]


@pytest.mark.parametrize("reaches_device", [False, True])
def test_a_write_is_repeated_whether_or_not_the_device_has_obeyed(
    ready: World, reaches_device: bool
) -> None:
    break_library(ready)
    device = ready.board.device("pdb")
    operation: Operation = "write"
    ready.board.faults.transfer(
        device, 121, LOCK, operation, reaches_device=reaches_device, times=2
    )
    done = update(ready, "pdb")
    assert done.steps == [
        *intake.started(done.job, 1),
        *ports.reached(device, 1),
        *ports.before(device, 0x01),
        *ports.failed_write(device, LOCK, 0x00, 121, "Remote I/O error", attempts=2),
        *ports.write(device, LOCK, 0x00),
        *ports.after(device, 0x00),
        *ports.lock_cleared(device),
        *intake.worker_started(done.job),
        *worker.broken(done.job),
        *ports.locked(device, 1),
        *worker.given_up(done.job),
    ]


def test_an_adapter_that_refuses_reads_of_no_bytes_ends_the_job(ready: World) -> None:
    ready.board.faults.refuse_empty_reads()
    device = ready.board.device("pbb")
    done = update(ready, "pbb")
    assert done.steps == [
        *intake.started(done.job, 2),
        *ports.reached(device, 2),
        *ports.before(device, 0x01),
        *ports.failed_write(device, LOCK, 0x00, 95, "Operation not supported"),
        f"E {ports.LOCKED} : I2CError: Unable to write HIP_SW_EN register\n",
        f"close {device.name}",
        *intake.port_not_opened(done.job),
    ]
    assert not device.port_open


def test_there_are_five_milliseconds_between_attempts(ready: World) -> None:
    ready.board.faults.transfer(errno=5, times=3)
    start = ready.trace.mark()
    update(ready, "pbb")
    times = [line["t"] for line in ready.trace.select(start=start, what="transfer")]
    assert len(times) == 3
    assert all(later - earlier >= FIVE_MILLISECONDS for earlier, later in zip(times, times[1:]))


def test_a_failing_device_does_not_keep_its_neighbour_from_an_update(ready: World) -> None:
    break_library(ready)
    ready.board.faults.transfer(ready.board.device("pbb", 0), errno=6)
    assert update(ready, "pbb", 1).result == 1
    assert update(ready, "pbb", 2).result == 0


def test_a_description_with_fewer_paths_than_devices_ends_the_process(service: World) -> None:
    device = service.board.device("pbb", 1)
    service.board.faults.parser(device.kind, paths=[service.board.device("pbb").path])
    job = service.job(device.fqdd, service.payload("pbb", "2.3.4"))
    service.coordinator.begin_update(job)
    assert service.service is not None
    assert service.service.wait() == -signal.SIGABRT
    lines = service.trace.logs(level=1)
    assert lines[-1].startswith("[openI2cfdUsingNodename] : No device node for PBB_PLD[1]")
