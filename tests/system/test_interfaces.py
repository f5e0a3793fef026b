"""What the service serves, as introspection, the installed files and its bus library tell it."""

from __future__ import annotations

import subprocess
from itertools import groupby
from pathlib import Path
from typing import cast
from xml.etree import ElementTree

import pytest
from conftest import BuildWorld, FindDouble
from expected import interfaces
from support.sequence import job_sequence
from tavrinsim import names
from tavrinsim.connection import BusError
from tavrinsim.names import FLOP, PBB
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


def test_the_object_manager_lists_the_cplds_and_nothing_else(shared_service: World) -> None:
    root = ElementTree.fromstring(shared_service.client.introspect(names.OBJECT_ROOT))
    assert sorted(node.get("name", "") for node in root.iter("node"))[1:] == sorted(OBJECTS)
    assert [i.get("name") for i in root.iter("interface")][-1] == names.OBJECT_MANAGER
    assert sorted(shared_service.client.managed_objects()) == sorted(PATHS[1:])


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


# -- the installed introspection XML ---------------------------------------------------


# Tag, attributes, and the same of all that is inside, in order.
Tree = tuple[str, dict[str, str], list["Tree"]]


def tree(element: ElementTree.Element) -> Tree:
    """All that an element says but the names of arguments, which the service keeps to itself."""
    attributes = dict(element.attrib)
    if element.tag == "arg":
        attributes.pop("name", None)
    return (element.tag, attributes, [tree(inner) for inner in element])


@pytest.fixture
def introspected(shared_service: World) -> dict[str, Tree]:
    """The interfaces of a CPLD's object by name, as it tells them."""
    answer = shared_service.client.introspect(names.PBB.object_path(1))
    found = ElementTree.fromstring(answer).iter("interface")
    return {interface.get("name", ""): tree(interface) for interface in found}


@pytest.mark.parametrize("name", interfaces.ALL)
def test_a_file_says_what_the_service_answers(
    introspected: dict[str, Tree], binary: Path, name: str
) -> None:
    file = binary.parent / "interfaces" / f"{name}.xml"
    (described,) = ElementTree.parse(file).getroot()
    assert tree(described) == introspected[name]


def test_arguments_have_the_names_of_the_definition(binary: Path) -> None:
    file = binary.parent / "interfaces" / f"{names.COMP_UPDATE}.xml"
    method = ElementTree.parse(file).find(".//method[@name='CompFirmwareUpdate']")
    assert method is not None
    assert [(a.get("name"), a.get("direction")) for a in method.iter("arg")] == [
        ("fqdd", "in"),
        ("transactionId", "in"),
        ("result", "out"),
    ]


# -- what the bus library is given: flags and order, which introspection does not tell -


# The bus library's flags.
UNPRIVILEGED, CONST, EMITS_CHANGE = 4, 16, 32

# Each on one line, so that grep finds it.
UPDATE = "com.vexa.bevon.cmnupdate.comp_update"
REGISTRATION = "com.vexa.bevon.cmnupdate.comp_mprop_dri_registration"
BASE_INVENTORY = "com.vexa.bevon.inventory.BaseSwInventory"
TAVRIN_INVENTORY = "com.vexa.bevon.inventory.TavrinInventory"

Served = list[tuple[str, str, list[str]]]


@pytest.fixture(scope="module")
def served(build_shared_world: BuildWorld, find_double: FindDouble) -> Served:
    """Path, interface and entries, in the order in which they were added."""
    world: World = build_shared_world(counts={"pbb": 1, "pdb": 0, "flop": 1})
    tells = {"BUS_LIBRARY": "tells vtables"}
    world.start(preload=[find_double("bus_library")], environment=tells)
    world.wait_published()
    lines = [line for line in world.output.read_text().splitlines() if line[:7] == "served "]
    entries = [line.split(" ", 3)[1:] for line in lines]
    grouped = groupby(entries, key=lambda entry: (entry[0], entry[1]))
    return [(*place, [entry[2] for entry in group]) for place, group in grouped]


def test_the_anchors_interfaces_come_first_and_those_of_a_cpld_in_their_own_order(
    served: Served,
) -> None:
    of_a_cpld = [REGISTRATION, UPDATE, BASE_INVENTORY, TAVRIN_INVENTORY]
    assert [(path, interface) for path, interface, _ in served] == [
        *(
            ("/com/vexa/bevon/dummy", interface)
            for interface in (UPDATE, REGISTRATION, BASE_INVENTORY, TAVRIN_INVENTORY)
        ),
        *((PBB.object_path(1), interface) for interface in of_a_cpld),
        *((FLOP.object_path(1), interface) for interface in of_a_cpld),
    ]


@pytest.mark.parametrize("interface", interfaces.ALL)
def test_every_member_has_exactly_its_flags(served: Served, interface: str) -> None:
    entries = [entries for _, name, entries in served if name == interface]
    assert len(entries) == 3
    for each in entries:
        assert each == ["< 0", *map(entry, interfaces.ALL[interface]), "> 0"]


def entry(member: interfaces.Method | interfaces.Property) -> str:
    """A member of `expected.interfaces` as the bus library gets it."""
    if len(member) == 3:
        return f"M {UNPRIVILEGED} {' '.join(member)}"
    name, signature, access, announced = cast(interfaces.Property, member)
    if access == "readwrite":
        return f"W {UNPRIVILEGED} {name} {signature}"
    return f"P {CONST if announced == 'const' else EMITS_CHANGE} {name} {signature}"
