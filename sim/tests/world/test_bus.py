"""The private bus: the service's policy on it, and the record of its messages."""

from __future__ import annotations

import os

import pytest
from dbus_next import Variant
from tavrinsim import names
from tavrinsim.answers import Reply
from tavrinsim.connection import BusError
from tavrinsim.peer import Peer
from tavrinsim.world import World

PATH = f"{names.OBJECT_ROOT}/PBB_PLD_1"
ALLOWED = [
    ("get-property", names.SERVICE, PATH, names.COMP_UPDATE, "Jobid"),
    ("call", names.SERVICE, PATH, names.PROPERTIES, "GetAll", "s", names.BASE_INVENTORY),
    ("call", names.SERVICE, PATH, names.INTROSPECTABLE, "Introspect"),
    ("call", names.SERVICE, names.OBJECT_ROOT, names.OBJECT_MANAGER, "GetManagedObjects"),
    ("call", names.SERVICE, PATH, f"{names.BUS}.Peer", "Ping"),
]
REFUSED = [
    ("set-property", names.SERVICE, PATH, names.COMP_UPDATE, "Jobid", "s", "x"),
    ("call", names.SERVICE, PATH, names.COMP_UPDATE, "CompFirmwareUpdate", "su", "x", "1"),
    ("call", names.SERVICE, PATH, names.COMP_UPDATE, "SetAllProperties", "a{sv}", "0"),
    ("call", names.SERVICE, PATH, f"{names.BUS}.Peer", "GetMachineId"),
    ("call", names.BUS, names.BUS_PATH, names.BUS, "RequestName", "su", names.SERVICE, "0"),
]


def words_of(case: tuple[str, ...]) -> str:
    """A test's name: the member that it is about."""
    return case[4]


@pytest.fixture
def service(world: World) -> Peer:
    """A peer under the service's name that answers to everything used here."""
    peer = world.peer(names.SERVICE)
    peer.serve(PATH, names.PROPERTIES, "Get", "GetAll", "Set")
    peer.serve(PATH, names.INTROSPECTABLE, "Introspect")
    peer.serve(PATH, f"{names.BUS}.Peer", "Ping")
    peer.serve(PATH, names.COMP_UPDATE, "CompFirmwareUpdate", "SetAllProperties")
    peer.serve(names.OBJECT_ROOT, names.OBJECT_MANAGER, "GetManagedObjects")
    for member in ("GetAll", "Set", "Introspect", "Ping", "GetManagedObjects"):
        peer.always(member, Reply())
    peer.always("Get", Reply("v", Variant("s", "")))
    return peer


@pytest.mark.skipif(os.getuid() != 0, reason="only root can become another user")
@pytest.mark.parametrize("words", ALLOWED, ids=words_of)
def test_every_user_may_read(world: World, service: Peer, words: tuple[str, ...]) -> None:
    done = world.bus.call_as("nobody", words)
    assert done.returncode == 0, done.stderr


@pytest.mark.skipif(os.getuid() != 0, reason="only root can become another user")
@pytest.mark.parametrize("words", REFUSED, ids=words_of)
def test_only_root_may_do_more(world: World, service: Peer, words: tuple[str, ...]) -> None:
    done = world.bus.call_as("nobody", words)
    assert done.returncode != 0
    assert "denied" in done.stderr or "not allowed" in done.stderr
    assert service.calls == []


def test_the_operator_may_write_and_call(world: World, service: Peer) -> None:
    world.client.set(PATH, names.COMP_UPDATE, "Jobid", Variant("s", "JID_7"))
    service.always("CompFirmwareUpdate", Reply("i", 0))
    assert world.coordinator.request(PATH, "PBBCPLD.Embedded.1", 9) == 0
    assert service.calls_of("CompFirmwareUpdate")[0].body == ["PBBCPLD.Embedded.1", 9]


def test_names_that_no_policy_grants_are_refused(world: World) -> None:
    with pytest.raises(BusError) as refusal:
        world.peer("com.vexa.bevon.stranger")
    assert refusal.value.name == "org.freedesktop.DBus.Error.AccessDenied"


def test_every_message_is_in_the_trace(world: World) -> None:
    world.client.get(
        world.platform.path, world.platform.interface, "PlatformID", world.platform.name
    )
    call = world.trace.wait_for(what="bus", destination=world.platform.name, member="Get")
    assert call["body"] == [world.platform.interface, "PlatformID"]
    reply = world.trace.wait_for(
        what="bus",
        type="method_return",
        reply_serial=call["serial"],
        destination=call["sender"],
    )
    assert (reply["signature"], reply["body"]) == ("v", [6])


def test_a_bus_that_is_not_monitored_leaves_no_messages_behind(build_world) -> None:
    world = build_world(monitored=False)
    assert names.COORDINATOR in world.another_client().bus_names()
    assert world.trace.select(what="bus") == []
