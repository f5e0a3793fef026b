"""The programming port of PBB and PDB: a lock bit that is cleared, and set again at the end."""

from __future__ import annotations

from collections.abc import Callable

import pytest
from expected import intake, ports, worker
from expected.ports import LOCKED
from expected.reports import Lines
from support.jobs import followed, run, scan_blocked, update
from tavrinsim.device import Device
from tavrinsim.world import World

LOCK = 0x04
IO_ERROR = (5, "Input/output error")

# Arranges a failure, at the opening or at the closing of the port, and says how it shows.
PortFailure = Callable[[World, Device, bool], Lines]


@pytest.mark.parametrize("fqdd", ["PBBCPLD.Embedded.2", "PDBCPLD.Embedded.1"])
def test_only_the_lock_bit_changes(quick: World, fqdd: str) -> None:
    device = quick.board.device_of(fqdd)
    count = quick.setting.counts[device.kind.name]
    for value in (0x01, 0x03, 0x02, 0xFF):
        device.registers[LOCK] = value
        done = run(quick, fqdd, quick.payload(device.kind.name, "2.3.4"))
        assert done.steps == [
            *intake.started(done.job, count),
            *ports.unlocked(device, count, value),
            *intake.worker_started(done.job),
            *worker.broken(done.job),
            *ports.locked(device, count, value & 0xFE),
            *worker.given_up(done.job),
        ], hex(value)


def test_a_port_that_is_open_already_is_not_written(quick: World) -> None:
    device = quick.board.device("pbb")
    device.registers[LOCK] = 0x00
    done = update(quick, "pbb")
    assert done.steps == [
        *intake.started(done.job, 2),
        *ports.reached(device, 2),
        *ports.before(device, 0x00),
        f"T {LOCKED} : Already enabled\n",
        f"close {device.name}",
        *intake.worker_started(done.job),
        *worker.broken(done.job),
        *ports.locked(device, 2),
        *worker.given_up(done.job),
    ]


def test_a_port_that_is_locked_already_is_locked_again(ready: World) -> None:
    device = ready.board.device("pdb")
    gate = ready.board.faults.gate()
    ready.board.faults.programming(pause_at=0, gate=gate, throw_at=0, exception_text="no clock")
    job = ready.job(device.fqdd, ready.payload("pdb", "2.3.4"))
    with followed(ready, job) as done:
        assert ready.coordinator.update(job) == 0
        gate.wait_reached()
        device.registers[LOCK] = 0xF1
        gate.open()
    assert done.steps == [
        *intake.started(job, 1),
        *ports.unlocked(device, 1),
        *intake.worker_started(job),
        *worker.broken(job),
        *ports.locked(device, 1, 0xF1),
        *worker.given_up(job),
    ]


# -- what can fail on both ways --------------------------------------------------------


def no_description(world: World, device: Device, closing: bool) -> Lines:
    """The platform's description cannot be read."""
    world.board.faults.parser(device.kind, status=22, after=int(closing))
    return ports.not_described(device, 2)


def too_many_devices(world: World, device: Device, closing: bool) -> Lines:
    """The platform's description lists more devices than can be counted."""
    world.board.faults.parser(device.kind, count=256, after=int(closing))
    answer = {"status": 0, "count": 256, "paths": ports.paths(device, 2)}
    return [
        f"T {LOCKED} : Entering\n",
        f"call i2c_parse_sysinfo(62) = {answer}",
        "E [getSysinfoNodes] : PBB_PLD has 256 instances, at most 255 are supported\n",
        f"E {LOCKED} : Failed to get sysinfo node for PBB_PLD\n",
    ]


def path_does_not_open(world: World, device: Device, closing: bool) -> Lines:
    """The device's path cannot be opened."""
    world.board.faults.open(device, errno=2, after=int(closing))
    return [
        *ports.found(device, ports.paths(device, 2)),
        f"open {device.name} errno 2",
        "E [openI2cfdUsingNodename] : Open fd Failue, Error: -1\n",
        f"E {LOCKED} : Failed to open {device.name} fd for programming\n",
    ]


def first_read_fails(world: World, device: Device, closing: bool) -> Lines:
    """The lock register cannot be read."""
    after = 2 if closing else 0
    world.board.faults.transfer(device, IO_ERROR[0], LOCK, "read", after=after)
    return [
        *ports.reached(device, 2),
        *ports.failed_read(device, LOCK, 1, *IO_ERROR),
        f"E {LOCKED} : I2CError: Unable to read HIP_SW_EN register value\n",
        f"close {device.name}",
    ]


def write_fails(world: World, device: Device, closing: bool) -> Lines:
    """The lock register cannot be written."""
    value = int(closing)
    world.board.faults.transfer(device, IO_ERROR[0], LOCK, "write", after=int(closing))
    return [
        *ports.reached(device, 2),
        *ports.before(device, 1 - value),
        *ports.failed_write(device, LOCK, value, *IO_ERROR),
        f"E {LOCKED} : I2CError: Unable to write HIP_SW_EN register\n",
        f"close {device.name}",
    ]


def second_read_fails(world: World, device: Device, closing: bool) -> Lines:
    """The lock register cannot be read back."""
    value, after = int(closing), 3 if closing else 1
    world.board.faults.transfer(device, IO_ERROR[0], LOCK, "read", after=after)
    return [
        *ports.reached(device, 2),
        *ports.before(device, 1 - value),
        *ports.write(device, LOCK, value),
        *ports.failed_read(device, LOCK, 1, *IO_ERROR),
        f"E {LOCKED} : I2CError: Unable to read HIP_SW_EN register value\n",
        f"close {device.name}",
    ]


FAILURES = [
    no_description,
    too_many_devices,
    path_does_not_open,
    first_read_fails,
    write_fails,
    second_read_fails,
]


@pytest.mark.parametrize("failure", FAILURES)
def test_a_port_that_does_not_open_ends_the_job(ready: World, failure: PortFailure) -> None:
    device = ready.board.device("pbb")
    lines = failure(ready, device, False)
    done = update(ready, "pbb")
    assert done.result == 1
    assert done.steps == [
        *intake.started(done.job, 2),
        *lines,
        *intake.port_not_opened(done.job),
    ]
    assert done.progress == [(4, 0), (18, 0)]
    assert scan_blocked(ready, done.job.fqdd)


def test_a_lock_bit_that_cannot_be_cleared_ends_the_job(ready: World) -> None:
    device = ready.board.device("pbb")
    ready.board.faults.stuck(device)
    done = update(ready, "pbb")
    assert done.steps == [
        *intake.started(done.job, 2),
        *ports.reached(device, 2),
        *ports.before(device, 0x01),
        *ports.write(device, LOCK, 0x00),
        *ports.after(device, 0x01),
        f"E {LOCKED} : failed to CLEAR PBB_PLD CPLD_LOCK_I2C_PLDFW to enable HARDIP\n",
        f"close {device.name}",
        *intake.port_not_opened(done.job),
    ]


@pytest.mark.parametrize("failure", FAILURES)
def test_a_port_that_does_not_close_is_logged(quick: World, failure: PortFailure) -> None:
    device = quick.board.device("pbb")
    lines = failure(quick, device, True)
    done = update(quick, "pbb")
    assert done.steps == [
        *intake.started(done.job, 2),
        *ports.unlocked(device, 2),
        *intake.worker_started(done.job),
        *worker.broken(done.job),
        *lines,
        *worker.port_not_closed(done.job),
        *worker.given_up(done.job),
    ]


def test_a_lock_bit_that_cannot_be_set_is_logged_and_counts_as_closed(quick: World) -> None:
    device = quick.board.device("pbb")
    quick.board.faults.stuck(device, after=1)
    done = update(quick, "pbb")
    assert done.steps == [
        *intake.started(done.job, 2),
        *ports.unlocked(device, 2),
        *intake.worker_started(done.job),
        *worker.broken(done.job),
        *ports.reached(device, 2),
        *ports.before(device, 0x00),
        *ports.write(device, LOCK, 0x01),
        *ports.after(device, 0x00),
        f"E {LOCKED} : failed to SET PBB_PLD CPLD_LOCK_I2C_PLDFW to disable HARDIP\n",
        f"T {LOCKED} : Exiting properly\n",
        f"close {device.name}",
        *worker.given_up(done.job),
    ]


def test_a_job_may_be_sent_again_after_its_port_did_not_open(quick: World) -> None:
    fault = quick.board.faults.parser(quick.board.device("pbb").kind, status=1)
    assert update(quick, "pbb").result == 1
    fault.remove()
    assert update(quick, "pbb").result == 0
