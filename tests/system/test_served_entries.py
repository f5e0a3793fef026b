"""What the service gives its bus library to serve: order of the interfaces, flags of members.

Introspection tells neither who may call a member nor what was added first.
"""

from __future__ import annotations

from itertools import groupby
from typing import cast

import pytest
from conftest import BuildWorld, FindDouble
from expected import interfaces
from tavrinsim.names import FLOP, PBB
from tavrinsim.world import World

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
    world.start(preload=[find_double("telling_vtables")])
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
