"""The service ends in the middle of an update; what a restart makes of it."""

from __future__ import annotations

import signal

from expected import intake, ports, worker
from support.jobs import update
from tavrinsim.device import Device
from tavrinsim.world import World


def begin_and_end(world: World, kind: str, number: int) -> Device:
    """Lets the service die when half of an image is written."""
    gate = world.board.faults.gate()
    fault = world.board.faults.programming(pause_at=5, gate=gate)
    device = world.board.device(kind)
    job = world.job(device.fqdd, world.payload(kind, "2.3.4"))
    assert world.coordinator.update(job) == 0
    gate.wait_reached()
    assert device.image_state == "writing"
    assert world.stop(number) == -number
    assert world.coordinator.reports[-1].final is False
    fault.remove()
    return device


def test_an_interrupted_pbb_is_updated_after_the_restart(service: World) -> None:
    device = begin_and_end(service, "pbb", signal.SIGKILL)
    assert (device.image_state, device.port_open) == ("interrupted", True)
    service.start()
    service.wait_published()
    done = update(service, "pbb", version="3.4.5")
    assert done.steps == [
        *intake.started(done.job, 2),
        *ports.reached(device, 2),
        *ports.before(device, 0x00),
        f"T {ports.LOCKED} : Already enabled\n",
        f"close {device.name}",
        *intake.worker_started(done.job),
        *worker.programmed(done.job),
        *ports.locked(device, 2),
        *worker.succeeded(done.job),
    ]
    assert (device.version, device.image_state, device.port_open) == ("3.4.5", "valid", False)


def test_an_interrupted_flop_is_updated_after_the_restart(service: World) -> None:
    device = begin_and_end(service, "flop", signal.SIGKILL)
    assert (device.image_state, device.port_open) == ("interrupted", True)
    service.start()
    service.wait_published()
    done = update(service, "flop", version="3.4.5")
    assert done.steps == [
        *intake.started(done.job, 1),
        *ports.reached(device, 1),
        *ports.flop_version(device, (1, 0, 0)),
        *ports.flop_switched(device, 8, 0x01, 0x01),
        *intake.worker_started(done.job),
        *worker.programmed(done.job),
        *ports.disabled(device),
        *worker.succeeded(done.job),
    ]
    assert (device.version, device.image_state, device.port_open) == ("3.4.5", "valid", False)


def test_the_neighbour_of_an_interrupted_cpld_can_be_updated(service: World) -> None:
    device = begin_and_end(service, "pbb", signal.SIGTERM)
    service.start()
    service.wait_published()
    assert update(service, "pbb", 2).progress[-1] == (28, 100)
    assert (device.image_state, device.version) == ("interrupted", "1.0.0")
