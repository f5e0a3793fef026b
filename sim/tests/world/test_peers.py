"""The peers: every way in which they can be told to answer."""

from __future__ import annotations

import pytest
from dbus_next import Variant
from tavrinsim import names
from tavrinsim.answers import Departure, Failure, Held, Late, Latch, Reply, Silence
from tavrinsim.connection import BusError
from tavrinsim.job import FAILED, IN_PROGRESS, SUCCEEDED, Report
from tavrinsim.world import World

STATUS = "cmnfwupd_fw_update_status"
FQDD = "PBBCPLD.Embedded.1"


def read(world: World, timeout: float = 10) -> Variant:
    """Asks the FRU reader as the service does."""
    peer = world.fru_reader
    return world.client.call(
        peer.name, peer.path, names.PROPERTIES, "Get", "ss", peer.interface, peer.property,
        timeout=timeout,
    )[0]  # fmt: skip


def report(world: World, status: int, transaction: int = 1, percent: int = 0) -> None:
    """Reports to the coordinator as the service does."""
    where = (names.COORDINATOR, names.COORDINATOR_PATH, names.COORDINATOR_INTERFACE, STATUS)
    world.client.call(*where, "syuq", FQDD, status, transaction, percent)


def test_scripted_answers_come_first_and_once(world: World) -> None:
    world.fru_reader.once("Get", Reply("v", Variant("q", 7)), Failure("a.b.Busy", "later"))
    assert read(world) == Variant("q", 7)
    with pytest.raises(BusError) as failure:
        read(world)
    assert (failure.value.name, failure.value.text) == ("a.b.Busy", "later")
    assert read(world) == Variant("b", True)


def test_a_standing_answer_stays_until_revoked(world: World) -> None:
    world.fru_reader.always("Get", Reply("v", Variant("s", "odd")))
    assert [read(world).value, read(world).value] == ["odd", "odd"]
    world.fru_reader.normally("Get")
    assert read(world).value is True


def test_a_reply_may_have_any_signature(world: World) -> None:
    world.fru_reader.once("Get", Reply("a{sv}u", {"x": Variant("y", 1)}, 5))
    assert read(world) == {"x": Variant("y", 1)}


def test_silence_runs_into_the_callers_time_limit(world: World) -> None:
    world.fru_reader.once("Get", Silence())
    with pytest.raises(TimeoutError):
        read(world, timeout=0.2)


def test_a_peer_that_leaves_answers_with_the_bus_error(world: World) -> None:
    world.fru_reader.once("Get", Departure())
    with pytest.raises(BusError) as failure:
        read(world)
    assert failure.value.name == "org.freedesktop.DBus.Error.NoReply"
    assert world.client.owner(world.fru_reader.name) is None
    world.fru_reader.start()
    assert read(world).value is True


def test_a_held_answer_waits_for_its_latch(world: World) -> None:
    latch = Latch()
    world.fru_reader.once("Get", Held(latch, Late(0.01, Reply("v", Variant("b", False)))))
    peer = world.fru_reader
    arguments = ("ss", peer.interface, peer.property)
    answer = world.client.begin_call(peer.name, peer.path, names.PROPERTIES, "Get", *arguments)
    peer.wait_for_calls("Get")
    assert not answer.done()
    latch.open()
    assert answer.result(10) == [Variant("b", False)]


def test_a_wrong_path_is_refused_like_by_a_real_service(world: World) -> None:
    peer = world.fru_reader
    peer.always("Get", Reply("v", Variant("b", True)))
    with pytest.raises(BusError) as failure:
        world.client.get("/elsewhere", peer.interface, peer.property, peer.name)
    assert failure.value.name == "org.freedesktop.DBus.Error.UnknownMethod"


def test_changes_are_announced(world: World) -> None:
    world.client.subscribe("type='signal',member='PropertiesChanged'")
    world.host_state.change("S5OnPending")
    world.client.wait_for(
        lambda: any(m.member == "PropertiesChanged" for m in world.client.signals)
    )
    message = next(m for m in world.client.signals if m.member == "PropertiesChanged")
    assert message.path == world.host_state.path
    assert message.body[1] == {"InternalPowerState": Variant("s", "S5OnPending")}


def test_reports_are_kept_in_order_with_their_sender(world: World) -> None:
    report(world, IN_PROGRESS, percent=40)
    report(world, FAILED)
    assert [(r.status, r.percent) for r in world.coordinator.reports] == [(4, 40), (18, 0)]
    assert world.coordinator.wait_outcome(1).sender == world.coordinator.calls[0].sender
    assert [r.status for r in world.coordinator.follow(1)] == [4, 18]


def test_the_next_job_can_be_sent_from_the_handler_of_the_last_report(world: World) -> None:
    service = world.peer(names.SERVICE)
    path = names.PBB.object_path(1)
    service.serve(path, names.PROPERTIES, "Set")
    service.serve(path, names.COMP_UPDATE, "CompFirmwareUpdate")
    service.always("Set", Reply())
    service.always("CompFirmwareUpdate", Reply("i", 0))
    results = []

    async def send_next(last: Report) -> None:
        results.append(await world.coordinator.update_async(world.job(FQDD, "/next")))

    world.coordinator.on_report = send_next
    report(world, SUCCEEDED, percent=100)
    assert results == [0]
    written = {c.body[1]: c.body[2].value for c in service.calls_of("Set")}
    assert written == {"Jobid": "JID_1", "Component_id": 114678, "Resource_URI": "/next"}
