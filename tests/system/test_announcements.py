"""What the service announces of each CPLD when it publishes it, signal by signal."""

from __future__ import annotations

from typing import Any

import pytest
from conftest import BuildWorld
from expected.interfaces import fresh, registration_of
from messages import STANDARD, settled_mark, signals
from tavrinsim import names
from tavrinsim.names import FLOP, PBB, PDB, Kind
from tavrinsim.world import World
from watching import start_pending

SHA256 = "0123456789abcdef" * 4
VERSIONS = {"pbb": ["1.2.3", "4.5.6"], "pdb": "7.8.9", "flop": "10.11.12"}

Announcement = dict[str, dict[str, Any]]


@pytest.fixture(scope="module")
def added(build_shared_world: BuildWorld) -> list[dict[str, Any]]:
    """The announcements of a board whose CPLDs have a version each, in their order."""
    world: World = build_shared_world(versions=VERSIONS)
    for kind in (PBB, PDB, FLOP):
        world.board.software(kind, sha256=SHA256, change_value=kind.component_id << 32)
    mark = start_pending(world)
    world.fru_reader.complete()
    world.wait_published()
    settled_mark(world)
    return signals(world, mark, member="InterfacesAdded")


def test_all_come_from_the_object_manager(added: list[dict[str, Any]]) -> None:
    assert {signal["path"] for signal in added} == {"/com/vexa/bevon/cpld_updater"}
    assert {signal["interface"] for signal in added} == {names.OBJECT_MANAGER}
    assert len(added) == 4 * 4


@pytest.mark.parametrize(
    ("place", "kind", "number", "title", "version"),
    [
        (0, PBB, 1, "PBB_CPLD", "1.2.3"),
        (1, PBB, 2, "PBB_CPLD", "4.5.6"),
        (2, PDB, 1, "PDB_CPLD", "7.8.9"),
        (3, FLOP, 1, "FLOP_CPLD", "10.11.12"),
    ],
)
def test_the_base_inventory_is_announced_last_and_with_its_values(
    added: list[dict[str, Any]],
    place: int,
    kind: Kind,
    number: int,
    title: str,
    version: str,
) -> None:
    path = kind.object_path(number)
    four = [signal["body"] for signal in added[4 * place : 4 * place + 4]]
    assert [about for about, _ in four] == [path] * 4

    registration = fresh(names.REGISTRATION)
    update = fresh(names.COMP_UPDATE)
    # The service's own inventory is filled behind the last announcement.
    inventory = fresh(names.TAVRIN_INVENTORY)
    assert [own(interfaces) for _, interfaces in four] == [
        {names.REGISTRATION: registration},
        {names.REGISTRATION: registration, names.COMP_UPDATE: update},
        {
            names.REGISTRATION: registration,
            names.COMP_UPDATE: update,
            names.BASE_INVENTORY: fresh(names.BASE_INVENTORY),
            names.TAVRIN_INVENTORY: inventory,
        },
        {
            names.REGISTRATION: registration_of(path, kind.fqdd(number), kind.component_id),
            names.COMP_UPDATE: update,
            names.BASE_INVENTORY: fresh(names.BASE_INVENTORY)
            | {
                "ComponentID": kind.component_id,
                "DisplayName": title,
                "FQDD": kind.fqdd(number),
                "FriendlyFQDD": title,
                "InstallationDate": kind.component_id << 32,
                "InstalledVersionString": version,
                "Sha256String": SHA256,
            },
            names.TAVRIN_INVENTORY: inventory,
        },
    ]


def own(interfaces: Announcement) -> Announcement:
    """Without the interfaces that every object has."""
    return {
        name: values for name, values in interfaces.items() if not name.startswith(STANDARD)
    }
