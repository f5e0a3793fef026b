"""The shape of what the service serves: members, order, types, access, announcements."""

from __future__ import annotations

import subprocess
from xml.etree import ElementTree

import pytest
from expected import interfaces
from support.sequence import job_sequence
from tavrinsim import names
from tavrinsim.connection import BusError
from tavrinsim.world import World

EMITS = "org.freedesktop.DBus.Property.EmitsChangedSignal"
OBJECTS = ["PBB_PLD_1", "PBB_PLD_2", "PDB_PLD_1", "FLOP_1"]
PATHS = [names.ANCHOR, *(f"{names.OBJECT_ROOT}/{name}" for name in OBJECTS)]


def shape(xml: str) -> dict[str, list[tuple[str, ...]]]:
    """The object's own interfaces, in the terms of `expected.interfaces`."""
    return {
        interface.get("name", ""): [_member(member) for member in interface]
        for interface in ElementTree.fromstring(xml).iter("interface")
        if not interface.get("name", "").startswith("org.freedesktop.DBus.")
    }


def _member(member: ElementTree.Element) -> tuple[str, ...]:
    marks = {mark.get("name"): mark.get("value", "") for mark in member.iter("annotation")}
    emits = marks.pop(EMITS, "true")
    assert marks == {}, f"{member.get('name')} says more of itself: {marks}"
    if member.tag == "property":
        return (*(member.get(key, "") for key in ("name", "type", "access")), emits)
    arguments = [(a.get("direction"), a.get("type", "")) for a in member.iter("arg")]
    assert all(argument.get("name") is None for argument in member.iter("arg"))
    types = ["".join(t for d, t in arguments if d == way) for way in ("in", "out")]
    return (member.get("name", ""), *types)


@pytest.mark.parametrize("path", PATHS)
def test_every_object_has_the_four_interfaces_member_by_member(
    shared_service: World, path: str
) -> None:
    assert shape(shared_service.client.introspect(path)) == interfaces.ALL


def test_interfaces_are_added_one_after_the_other(shared_service: World) -> None:
    # Introspection begins with what was added last.
    last = [
        "com.vexa.bevon.inventory.TavrinInventory",
        "com.vexa.bevon.inventory.BaseSwInventory",
    ]
    registration = "com.vexa.bevon.cmnupdate.comp_mprop_dri_registration"
    update = "com.vexa.bevon.cmnupdate.comp_update"
    anchor = shape(shared_service.client.introspect("/com/vexa/bevon/dummy"))
    assert list(anchor) == [*last, registration, update]
    for path in PATHS[1:]:
        cpld = shape(shared_service.client.introspect(path))
        assert list(cpld) == [*last, update, registration]


def test_the_service_has_an_anchor_and_the_cplds_and_nothing_else(
    shared_service: World,
) -> None:
    words = ["tree", "--list", names.SERVICE]
    address = f"--address={shared_service.bus.address}"
    done = subprocess.run(
        ["busctl", address, *words], text=True, capture_output=True, check=True
    )
    objects = {path for path in done.stdout.split() if has_interfaces(shared_service, path)}
    assert objects == {
        "/com/vexa/bevon/dummy",
        "/com/vexa/bevon/cpld_updater/PBB_PLD_1",
        "/com/vexa/bevon/cpld_updater/PBB_PLD_2",
        "/com/vexa/bevon/cpld_updater/PDB_PLD_1",
        "/com/vexa/bevon/cpld_updater/FLOP_1",
    }


def has_interfaces(world: World, path: str) -> bool:
    """Whether there is an object of the service's own at the path."""
    return shape(world.client.introspect(path)) != {}


def test_a_common_tool_sees_the_same(shared_service: World) -> None:
    words = ["introspect", "--xml-interface", names.SERVICE, PATHS[-1]]
    address = f"--address={shared_service.bus.address}"
    done = subprocess.run(
        ["busctl", address, *words], text=True, capture_output=True, check=True
    )
    assert shape(done.stdout) == interfaces.ALL


def test_the_object_manager_lists_the_cplds_and_nothing_else(shared_service: World) -> None:
    root = ElementTree.fromstring(shared_service.client.introspect(names.OBJECT_ROOT))
    assert sorted(node.get("name", "") for node in root.iter("node"))[1:] == sorted(OBJECTS)
    assert [i.get("name") for i in root.iter("interface")][-1] == names.OBJECT_MANAGER
    assert sorted(shared_service.client.managed_objects()) == sorted(PATHS[1:])


@pytest.mark.parametrize("interface", interfaces.ALL)
def test_all_properties_come_in_order_and_with_their_types(
    shared_service: World, interface: str
) -> None:
    values = shared_service.client.get_all(PATHS[1], interface)
    assert [(name, value.signature) for name, value in values.items()] == [
        (name, signature) for name, signature, *_ in interfaces.properties(interface)
    ]


@pytest.mark.parametrize(
    ("method", "signature", "arguments"),
    [
        ("CompFirmwareUpdate", "ss", ("PBBCPLD.Embedded.1", "1")),
        ("CompFirmwareUpdate", "s", ("PBBCPLD.Embedded.1",)),
        ("CompFirmwareUpdate", "sus", ("PBBCPLD.Embedded.1", 1, "")),
        ("CompFirmwareUpdate", "us", (1, "PBBCPLD.Embedded.1")),
        ("CompFirmwareUpdate", "", ()),
        ("SetAllProperties", "a{ss}", ({"Jobid": "JID_2"},)),
        ("SetAllProperties", "", ()),
    ],
)
def test_a_call_of_other_types_is_refused_and_nothing_sees_it(
    shared_service: World, method: str, signature: str, arguments: tuple[object, ...]
) -> None:
    mark = shared_service.trace.mark()
    where = (names.SERVICE, PATHS[1], names.COMP_UPDATE)
    with pytest.raises(BusError) as refusal:
        shared_service.client.call(*where, method, signature, *arguments)
    assert refusal.value.name == "org.freedesktop.DBus.Error.InvalidArgs"
    assert job_sequence(shared_service, mark) == []


def test_an_unknown_method_is_answered_as_such(shared_service: World) -> None:
    with pytest.raises(BusError) as refusal:
        shared_service.client.call(names.SERVICE, PATHS[1], names.COMP_UPDATE, "Erase")
    assert refusal.value.name == "org.freedesktop.DBus.Error.UnknownMethod"
