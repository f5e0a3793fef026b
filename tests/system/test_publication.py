"""The publication: the bus name, and what the software inventory says about each CPLD."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import asdict
from typing import Any

import pytest
from conftest import FindDouble
from expected import software, start
from expected.software import Known
from messages import settled_mark, signals
from support.sequence import job_sequence, logs
from tavrinsim import names
from tavrinsim.names import FLOP, PBB, PDB
from tavrinsim.world import World
from watching import published_paths, start_to_subscription

SHA256 = "0123456789abcdef" * 4
FULL = Known("2.0.0", "1.9.9", SHA256, changed=True, change_value=0x1122334455667788)
FAILURE = "[registerObjectPaths_PopulateInventory]: Failed to register object paths: "
NO_MEMORY = "org.freedesktop.DBus.Error.NoMemory: Cannot allocate memory"


def asked_about(world: World, kind: names.Kind) -> list[str]:
    """What the service asked about a kind, from the block's allocation to the object."""
    lines = job_sequence(world)
    ends = [start.object_registered(kind, number) for number in range(1, 12)]
    last = max(lines.index(end) for end in ends if end in lines)
    first = max(i for i, line in enumerate(lines[:last]) if line == "call sm.alloc_mem")
    return lines[first : last + 1]


def shown(world: World, kind: names.Kind, number: int, interface: str) -> dict[str, Any]:
    """The values of a CPLD that come from the software inventory."""
    of_interest = (
        "CurrentVersionString",
        "PreviousVersionString",
        "InstalledVersionString",
        "InstallationDate",
        "Sha256String",
    )
    values = world.client.get_all(kind.object_path(number), interface)
    return {name: values[name].value for name in of_interest if name in values}


@pytest.mark.parametrize(
    "known",
    [
        FULL,
        Known(),
        Known(current="2.0.0"),
        Known(previous="1.9.9"),
        Known(sha256=SHA256),
        Known(changed=True),
        Known(change_value=1),
        Known(current="v" * 31, previous="w" * 31, sha256="f" * 64),
    ],
    ids=["all", "nothing", "current", "previous", "sha256", "changed", "value", "longest"],
)
def test_what_the_inventory_knows_is_added_and_published(world: World, known: Known) -> None:
    world.board.software(FLOP, **asdict(known))
    world.start()
    world.wait_published()
    assert asked_about(world, FLOP) == [
        *software.told(FLOP, 1, "1.0.0", known),
        start.object_registered(FLOP, 1),
    ]
    assert shown(world, FLOP, 1, names.BASE_INVENTORY) == {
        "CurrentVersionString": "",
        "PreviousVersionString": "",
        "InstalledVersionString": "1.0.0",
        "InstallationDate": known.change_value,
        "Sha256String": known.sha256,
    }
    assert shown(world, FLOP, 1, names.TAVRIN_INVENTORY) == {
        "CurrentVersionString": "",
        "PreviousVersionString": "",
        "InstalledVersionString": "1.0.0",
        "InstallationDate": 0,
    }
    settled_mark(world)
    assert signals(world, member="PropertiesChanged") == []  # the objects were new


def test_the_inventory_is_kept_for_each_kind_apart(world: World) -> None:
    world.board.software(PBB, **asdict(FULL))
    world.start()
    world.wait_published()
    hashes = {
        path: objects[names.BASE_INVENTORY]["Sha256String"].value
        for path, objects in world.client.managed_objects().items()
    }
    assert hashes == {
        PBB.object_path(1): SHA256,
        PBB.object_path(2): SHA256,
        PDB.object_path(1): "",
        FLOP.object_path(1): "",
    }


def test_a_failed_query_keeps_what_the_instance_before_it_left(world: World) -> None:
    world.board.software(PBB, **asdict(FULL))
    world.board.faults.versions(PBB, status=3, after=1, times=1)
    world.start()
    world.wait_published()
    assert shown(world, PBB, 2, names.BASE_INVENTORY)["Sha256String"] == SHA256
    assert shown(world, PBB, 2, names.BASE_INVENTORY)["InstallationDate"] == FULL.change_value


def test_ten_cplds_of_a_kind_are_told_apart(build_world: Callable[..., World]) -> None:
    world = build_world(counts={"pbb": 11, "pdb": 0, "flop": 0})
    world.start()
    world.wait_published()
    assert set(published_paths(world)) == {PBB.object_path(n) for n in range(1, 12)}
    assert asked_about(world, PBB) == [
        *software.told(PBB, 11, "1.0.0"),
        start.object_registered(PBB, 11),
    ]


# The name -----------------------------------------------------------------------------


def test_the_name_is_taken_over_from_an_owner_that_lets_it_go(world: World) -> None:
    allow_replacement = 1
    arguments = ("RequestName", "su", names.SERVICE, allow_replacement)
    world.client.call(names.BUS, names.BUS_PATH, names.BUS, *arguments)
    rival = world.client.owner()
    process = world.start()
    world.client.wait_for_name(pid=process.pid)
    assert world.client.owner() != rival
    assert len(published_paths(world)) == 4


def test_a_name_that_its_owner_keeps_is_an_error_and_nothing_is_published(
    world: World,
) -> None:
    rival = world.peer(names.SERVICE)
    start_to_subscription(world)
    exists = "org.freedesktop.DBus.Error.FileExists"
    error = f"sd_bus_request_name: {exists}: File exists {exists}"
    assert f"E [Read_current_fruread_status] : Exception: {error}\n" in logs(world)
    assert world.client.owner() == rival.connection.unique_name
    settled_mark(world)
    assert world.trace.select(what="bus", member="InterfacesAdded") == []


# Failures of the service's own bus library ----------------------------------------------


def start_refusing(world: World, double: FindDouble, function: str, call: int) -> None:
    """Starts the service with one call of its bus library refused; the FRU read is over."""
    refusal = {"BUS_LIBRARY": "refuses", "REFUSED": function, "REFUSED_CALL": str(call)}
    world.start(preload=[double("bus_library")], environment=refusal)
    world.trace.wait_for(what="log", text=start.fru_read_watched()[-1][2:])


@pytest.mark.parametrize(("call", "left"), [(4 + 1, 0), (4 + 4, 0), (4 + 4 + 2, 1)])
def test_an_object_that_cannot_be_added_ends_the_publication_where_it_is(
    world: World, find_double: FindDouble, call: int, left: int
) -> None:
    start_refusing(world, find_double, "sd_bus_add_object_vtable", call)
    assert f"E {FAILURE}sd_bus_add_object_vtable: {NO_MEMORY}\n" in logs(world)
    whole = [path for path, objects in world.client.managed_objects().items() if objects]
    assert whole == [PBB.object_path(1)][:left]
    # An instance is described to the software inventory when all its objects are there.
    assert len(world.trace.select(what="call", name="sm.alloc_mem")) == left
    assert world.client.owner() is not None


def test_without_an_object_manager_nothing_is_published(
    world: World, find_double: FindDouble
) -> None:
    start_refusing(world, find_double, "sd_bus_add_object_manager", 1)
    (error,) = [line for line in logs(world) if "Exception" in line]
    assert error.startswith("E [Read_current_fruread_status] : Exception: ")
    assert NO_MEMORY in error
    assert [line for line in logs(world) if "Registered object path" in line] == []
    assert world.client.owner() is not None  # the name was claimed before


def test_the_name_is_claimed_before_the_object_manager_is_added(
    world: World, find_double: FindDouble
) -> None:
    world.peer(names.SERVICE)
    start_refusing(world, find_double, "sd_bus_add_object_manager", 1)
    (error,) = [line for line in logs(world) if "Exception" in line]
    assert "sd_bus_request_name" in error
