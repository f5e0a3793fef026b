"""What can fail at the FLOP's programming port, on its opening and on its closing."""

from __future__ import annotations

from collections.abc import Callable

import pytest
from expected import intake, ports, worker
from expected.ports import FLOP
from expected.reports import Lines
from support.jobs import break_library, scan_blocked, update
from tavrinsim.device import Device
from tavrinsim.world import World

PORT = 0x08
IO_ERROR = (5, "Input/output error")
NOT_REACHED = f"E {FLOP}:read failed for HIP_SW_EN_REG \n"

# Arranges a failure, at the opening or at the closing of the port, and says how it shows.
PortFailure = Callable[[World, Device, bool], Lines]


def no_description(world: World, device: Device, closing: bool) -> Lines:
    """The platform's description cannot be read."""
    world.board.faults.parser(device.kind, status=22, after=int(closing))
    return ports.not_described(device, 1)


def path_does_not_open(world: World, device: Device, closing: bool) -> Lines:
    """The device's path cannot be opened."""
    world.board.faults.open(device, errno=19, after=int(closing))
    return [
        *ports.found(device, ports.paths(device, 1)),
        f"open {device.name} errno 19",
        "E [openI2cfdUsingNodename] : Open fd Failue, Error: -1\n",
        f"E {FLOP} : Failed to open {device.name} fd for programming\n",
    ]


def first_read_fails(world: World, device: Device, closing: bool) -> Lines:
    """The port's register cannot be read."""
    after = 2 if closing else 0
    world.board.faults.transfer(device, IO_ERROR[0], PORT, "read", after=after)
    return [
        *register_chosen(device),
        *ports.failed_read(device, PORT, 1, *IO_ERROR),
        NOT_REACHED,
        f"close {device.name}",
    ]


def write_fails(world: World, device: Device, closing: bool) -> Lines:
    """The port's register cannot be written."""
    world.board.faults.transfer(device, IO_ERROR[0], PORT, "write", after=int(closing))
    return [
        *value_chosen(device, closing),
        *ports.failed_write(device, PORT, 1 - closing, *IO_ERROR),
        NOT_REACHED,
        f"close {device.name}",
    ]


def second_read_fails(world: World, device: Device, closing: bool) -> Lines:
    """The port's register cannot be read back."""
    after = 3 if closing else 1
    world.board.faults.transfer(device, IO_ERROR[0], PORT, "read", after=after)
    return [
        *value_chosen(device, closing),
        *ports.write(device, PORT, 1 - closing),
        *ports.failed_read(device, PORT, 1, *IO_ERROR),
        NOT_REACHED,
        f"close {device.name}",
    ]


def bit_is_stuck(world: World, device: Device, closing: bool) -> Lines:
    """The port's bit does not change."""
    world.board.faults.stuck(device, PORT, after=int(closing))
    return [
        *value_chosen(device, closing),
        *ports.write(device, PORT, 1 - closing),
        *ports.read(device, PORT, int(closing)),
        f"T {FLOP}:HIP_SW_EN_REG : {int(closing):#x} \n",
        f"E {FLOP}:HIP_SW_EN_REG write Verification failed. \n",
        f"close {device.name}",
    ]


def register_chosen(device: Device) -> Lines:
    """All goes well up to the choice of the register."""
    return [
        *ports.reached(device, 1),
        *ports.flop_version(device, (1, 0, 0)),
        f"T {FLOP}:HIP_SW_EN is BYTE8.0 \n",
    ]


def value_chosen(device: Device, closing: bool) -> Lines:
    """All goes well up to the write."""
    how = "Clear" if closing else "SET"
    return [
        *register_chosen(device),
        *ports.read(device, PORT, int(closing)),
        f"T {FLOP}:current BYTE-8 REG value : {int(closing):#x} \n",
        f"T {FLOP}:{how} HIP_SW_EN BYTE-8 REG value : {1 - closing:#x} \n",
    ]


FAILURES = [
    no_description,
    path_does_not_open,
    first_read_fails,
    write_fails,
    second_read_fails,
    bit_is_stuck,
]


@pytest.mark.parametrize("failure", FAILURES)
def test_a_port_that_does_not_open_ends_the_job(ready: World, failure: PortFailure) -> None:
    lines = failure(ready, ready.board.device("flop"), False)
    done = update(ready, "flop")
    assert done.result == 1
    assert done.steps == [
        *intake.started(done.job, 1),
        *lines,
        *intake.port_not_opened(done.job),
    ]
    assert done.progress == [(4, 0), (18, 0)]
    assert scan_blocked(ready, done.job.fqdd)


@pytest.mark.parametrize("failure", FAILURES)
def test_a_port_that_does_not_close_is_logged(ready: World, failure: PortFailure) -> None:
    break_library(ready)
    device = ready.board.device("flop")
    lines = failure(ready, device, True)
    done = update(ready, "flop")
    assert done.steps == [
        *intake.started(done.job, 1),
        *ports.enabled(device),
        *intake.worker_started(done.job),
        *worker.broken(done.job),
        *lines,
        *worker.port_not_closed(done.job),
        *worker.given_up(done.job),
    ]
