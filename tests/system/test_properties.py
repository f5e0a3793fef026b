"""The values of the properties, and what writing them over the bus does."""

from __future__ import annotations

import subprocess
from collections.abc import Iterator
from typing import Any

import pytest
from dbus_next import Variant
from expected import interfaces
from expected.interfaces import fresh, registration_of
from messages import settled_mark, signals
from tavrinsim import names
from tavrinsim.connection import BusError
from tavrinsim.names import FLOP, PBB, PDB, Kind
from tavrinsim.world import World

UPDATE = names.COMP_UPDATE
PBB_1 = PBB.object_path(1)
VERSIONS = {"pbb": ["1.2.3", "4.5.6"], "pdb": "7.8.9", "flop": "10.11.12"}

# Another value of each type, for properties that anybody may write.
OTHER = {"s": "other", "u": 4_294_967_295, "q": 65_535, "y": 255, "b": True}
WRONG = {"s": ("u", 7), "u": ("s", "7"), "q": ("u", 7), "y": ("q", 7), "b": ("s", "yes")}

WRITABLE = [
    (interface, name, signature)
    for interface in interfaces.ALL
    for name, signature, access, _ in interfaces.properties(interface)
    if access == "readwrite"
]


@pytest.fixture(scope="module")
def service(build_shared_world: Any) -> World:
    """A service whose every CPLD has a version of its own."""
    world: World = build_shared_world(versions=VERSIONS)
    world.start()
    world.wait_published()
    return world


def plain(world: World, path: str, interface: str) -> dict[str, Any]:
    """All values of an interface."""
    values = world.client.get_all(path, interface)
    return {name: value.value for name, value in values.items()}


@pytest.mark.parametrize(
    ("kind", "number", "component", "fqdd", "title", "count", "version"),
    [
        (PBB, 1, 114678, "PBBCPLD.Embedded.1", "PBB_CPLD", 2, "1.2.3"),
        (PBB, 2, 114678, "PBBCPLD.Embedded.2", "PBB_CPLD", 2, "4.5.6"),
        (PDB, 1, 114747, "PDBCPLD.Embedded.1", "PDB_CPLD", 1, "7.8.9"),
        (FLOP, 1, 112102, "CPLD.IOBay.1", "FLOP_CPLD", 1, "10.11.12"),
    ],
)
def test_a_published_cpld_shows_what_is_known_of_it(
    service: World,
    kind: Kind,
    number: int,
    component: int,
    fqdd: str,
    title: str,
    count: int,
    version: str,
) -> None:
    path = f"/com/vexa/bevon/cpld_updater/{kind.node}_{number}"
    assert plain(service, path, UPDATE) == fresh(UPDATE)
    registration = registration_of(path, fqdd, component)
    assert plain(service, path, names.REGISTRATION) == registration
    shown = {"InstalledVersionString": version, "DisplayName": title, "FriendlyFQDD": title}
    assert plain(service, path, names.BASE_INVENTORY) == (
        fresh(names.BASE_INVENTORY) | shown | {"FQDD": fqdd, "ComponentID": component}
    )
    assert plain(service, path, names.TAVRIN_INVENTORY) == (
        fresh(names.TAVRIN_INVENTORY)
        | shown
        | {"Fqdd": fqdd, "Comp_ID": component, "Count": count}
    )


def test_the_anchor_keeps_its_defaults(service: World) -> None:
    for interface in (UPDATE, names.REGISTRATION, names.BASE_INVENTORY):
        assert plain(service, names.ANCHOR, interface) == fresh(interface)
    assert plain(service, names.ANCHOR, names.TAVRIN_INVENTORY) == fresh(names.TAVRIN_INVENTORY)


def test_what_is_writable_takes_a_value_and_tells_nobody(service: World) -> None:
    mark = settled_mark(service)
    for interface, name, signature in WRITABLE:
        before = service.client.get(PBB_1, interface, name)
        service.client.set(PBB_1, interface, name, Variant(signature, OTHER[signature]))
        after = service.client.get(PBB_1, interface, name)
        assert (name, after) == (name, Variant(signature, OTHER[signature]))
        assert service.client.get(PBB.object_path(2), interface, name) != after
        service.client.set(PBB_1, interface, name, after)  # once more is as good
        service.client.set(PBB_1, interface, name, before)
    settled_mark(service)
    assert signals(service, mark) == []


def test_a_value_of_another_type_is_refused_and_changes_nothing(service: World) -> None:
    for interface, name, signature in WRITABLE:
        before = service.client.get(PBB_1, interface, name)
        with pytest.raises(BusError) as refusal:
            service.client.set(PBB_1, interface, name, Variant(*WRONG[signature]))
        assert (name, refusal.value.name) == (name, "org.freedesktop.DBus.Error.InvalidArgs")
        assert service.client.get(PBB_1, interface, name) == before


def test_the_base_inventory_cannot_be_written(service: World) -> None:
    before = plain(service, PBB_1, names.BASE_INVENTORY)
    for name, signature, *_ in interfaces.properties(names.BASE_INVENTORY):
        value = Variant(signature, OTHER.get(signature, 7))
        with pytest.raises(BusError) as refusal:
            service.client.set(PBB_1, names.BASE_INVENTORY, name, value)
        assert (name, refusal.value.name) == (
            name,
            "org.freedesktop.DBus.Error.PropertyReadOnly",
        )
    assert plain(service, PBB_1, names.BASE_INVENTORY) == before


# SetAllProperties: whichever object is called, the anchor's update properties change.


def set_all(world: World, values: dict[str, Variant], path: str = PBB_1) -> int:
    """The method's result."""
    arguments = ("SetAllProperties", "a{sv}", values)
    return int(world.client.call(names.SERVICE, path, UPDATE, *arguments)[0])


def empty_anchor(world: World) -> None:
    """Gives the anchor's update properties their defaults back."""
    for name, signature, *_ in interfaces.properties(UPDATE):
        value = Variant(signature, "" if signature == "s" else 0)
        world.client.set(names.ANCHOR, UPDATE, name, value)


@pytest.fixture
def clean_anchor(service: World) -> Iterator[World]:
    """The service with the anchor's update properties empty, as they are left again."""
    empty_anchor(service)
    yield service
    empty_anchor(service)


FULL = {
    "Jobid": Variant("s", "JID_7"),
    "Resource_URI": Variant("s", "/tmp/a"),
    "Previous_URI": Variant("s", "/tmp/b"),
    "New_FW_ver": Variant("s", "1.2.3"),
    "Component_id": Variant("u", 114678),
    "Timeout": Variant("u", 60),
    "deviceID": Variant("q", 1),
    "subDeviceID": Variant("q", 2),
    "vendorID": Variant("q", 3),
    "subVendorID": Variant("q", 4),
}


@pytest.mark.parametrize("path", [PBB_1, FLOP.object_path(1), names.ANCHOR])
def test_all_properties_at_once_land_on_the_anchor(clean_anchor: World, path: str) -> None:
    mark = settled_mark(clean_anchor)
    assert set_all(clean_anchor, FULL, path) == 0
    assert clean_anchor.client.get_all(names.ANCHOR, UPDATE) == FULL
    assert plain(clean_anchor, PBB_1, UPDATE) == fresh(UPDATE)
    assert plain(clean_anchor, FLOP.object_path(1), UPDATE) == fresh(UPDATE)
    settled_mark(clean_anchor)
    assert signals(clean_anchor, mark) == []


@pytest.mark.parametrize(
    ("values", "result", "changed"),
    [
        ({}, 0, {}),
        # In the order of their names, up to the one that cannot be set.
        (
            {"Jobid": Variant("s", "J"), "Lost": Variant("s", ""), "Timeout": Variant("u", 9)},
            -1,
            {"Jobid": "J"},
        ),
        (
            {"Timeout": Variant("u", 9), "Lost": Variant("s", ""), "Jobid": Variant("s", "J")},
            -1,
            {"Jobid": "J"},
        ),
        ({"Unknown": Variant("s", "x"), "deviceID": Variant("q", 5)}, -1, {}),
        ({"deviceID": Variant("q", 5), "jobid": Variant("s", "J")}, -1, {"deviceID": 5}),
        ({"Jobid": Variant("u", 1)}, -1, {}),
        ({"Component_id": Variant("q", 1)}, -1, {}),
        ({"deviceID": Variant("u", 1)}, -1, {}),
        ({"Jobid": Variant("s", "J"), "Timeout": Variant("s", "9")}, -1, {"Jobid": "J"}),
        # What has none of the known types arrives as an empty text.
        ({"Timeout": Variant("i", 9)}, -1, {}),
        ({"Jobid": Variant("b", True), "Timeout": Variant("u", 9)}, 0, {"Timeout": 9}),
        ({"Jobid": Variant("as", ["J"]), "vendorID": Variant("q", 1)}, 0, {"vendorID": 1}),
    ],
)
def test_setting_stops_at_what_cannot_be_set(
    clean_anchor: World, values: dict[str, Variant], result: int, changed: dict[str, Any]
) -> None:
    assert set_all(clean_anchor, values) == result
    assert plain(clean_anchor, names.ANCHOR, UPDATE) == fresh(UPDATE) | changed


def test_a_value_of_no_known_type_empties_a_text(clean_anchor: World) -> None:
    assert set_all(clean_anchor, {"Jobid": Variant("s", "J")}) == 0
    assert set_all(clean_anchor, {"Jobid": Variant("i", 1)}) == 0
    assert plain(clean_anchor, names.ANCHOR, UPDATE) == fresh(UPDATE)


def test_of_a_property_given_twice_the_first_value_counts(clean_anchor: World) -> None:
    call = ["call", names.SERVICE, PBB_1, UPDATE, "SetAllProperties", "a{sv}"]
    twice = ["2", "Jobid", "s", "first", "Jobid", "s", "second"]
    address = f"--address={clean_anchor.bus.address}"
    done = subprocess.run(
        ["busctl", address, *call, *twice], text=True, capture_output=True, check=True
    )
    assert done.stdout == "i 0\n"
    assert plain(clean_anchor, names.ANCHOR, UPDATE) == fresh(UPDATE) | {"Jobid": "first"}
