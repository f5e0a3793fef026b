"""The coordinator is restarted in the middle of an update."""

from __future__ import annotations

from dbus_next import Message
from expected import reports
from support.jobs import NORMAL_COURSE, followed
from tavrinsim.answers import Answer, Held, Latch, Reply
from tavrinsim.coordinator import STATUS
from tavrinsim.peer import Peer
from tavrinsim.world import World
from watching import wait_for_calls

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
