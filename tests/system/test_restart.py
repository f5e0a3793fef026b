"""Restarts in the middle of an update: of the service, of the coordinator."""

from __future__ import annotations

import signal

from dbus_next import Message
from expected import intake, ports, reports, worker
from support.jobs import NORMAL_COURSE, followed, update
from tavrinsim.answers import Answer, Held, Latch, Reply
from tavrinsim.coordinator import STATUS
from tavrinsim.device import Device
from tavrinsim.peer import Peer
from tavrinsim.world import World
from watching import wait_for_calls


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


# -- of the coordinator ----------------------------------------------------------------


NO_OWNER = (
    "org.freedesktop.DBus.Error.ServiceUnknown",
    "The name com.vexa.bevon.cmnfwupd was not provided by any .service files",
)
ABSENT_FOR = (30, 40, 50)


class LastReply(Answer):
    """A reply, after which the peer leaves the bus."""

    async def give(self, peer: Peer, call: Message) -> None:
        """See `Answer.give`."""
        await Reply().give(peer, call)
        await peer.leave()


def test_only_the_reports_of_its_absence_are_lost(service: World) -> None:
    wait_for_calls(service, 4)
    coordinator = service.coordinator
    back, leave = service.board.faults.gate(), Latch()
    service.board.faults.programming(pause_at=6, gate=back)
    # It answers the start, 0, 10 and 20 percent.
    coordinator.once(STATUS, Reply(), Reply(), Reply(), Held(leave, LastReply()))
    job = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    with followed(service, job) as done:
        assert coordinator.update(job) == 0
        leave.open()
        back.wait_reached()
        coordinator.start()
        coordinator.ask_for_registrations()
        wait_for_calls(service, 8)
        back.open()
    heard = [(4, percent) for percent in NORMAL_COURSE if percent not in ABSENT_FOR]
    assert done.progress == [(4, 0), *heard, (28, 100)]
    lost = reports.failure(-113, "No route to host", *NO_OWNER) * len(ABSENT_FOR)
    own = [line for line in done.errors if line.startswith("[reportUpdateStatus]")]
    assert own == [line[2:] for line in lost]
    assert len(coordinator.registrations) == 8
    assert service.board.device("pbb").version == "2.3.4"
