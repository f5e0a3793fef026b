"""A start of the service: what it does, in which order, and what it says on the bus."""

from __future__ import annotations

import xml.etree.ElementTree as ElementTree
from pathlib import Path

import pytest
from conftest import BuildWorld
from expected import start
from expected.registration import REGISTRATION_RULE
from expected.start import Cpld
from messages import sent, settled_mark
from support.jobs import threads
from support.sequence import job_sequence as main_thread  # its own: no job runs
from tavrinsim import names
from tavrinsim.bus import POLICY
from tavrinsim.connection import BusError
from tavrinsim.names import FLOP, PBB, PDB
from tavrinsim.world import World

# Half of each second byte is no part of a version.
PBB_1 = Cpld(PBB, 0, "32f4", (2, 3, 4))
PBB_2 = Cpld(PBB, 1, "00e0", (0, 0, 0))
PDB_1 = Cpld(PDB, 0, "af01", (15, 10, 1))
FLOP_1 = Cpld(FLOP, 0, "5a3f", (3, 5, 10))
CPLDS = (PBB_1, PBB_2, PDB_1, FLOP_1)

REGISTER = "cmnfwupd_client_register"
# Each on one line, so that grep finds it.
# fmt: off
POWER_STATE_RULE = "type='signal',member='PropertiesChanged',path_namespace='/xyz/openbmc_project/control/host0/internal_power_state'"
FRU_READ_RULE = "type='signal',member='PropertiesChanged',interface='org.freedesktop.DBus.Properties',arg0namespace='com.vexa.bmc.mppd.pcardInfo'"
# fmt: on

# The first lines of every start, before the FRU read matters.
BEGINNING = [
    *start.power_state_read(),
    *start.power_state_watched(),
    *start.versions_read(PBB, PBB_1, PBB_2),
    *start.versions_read(PDB, PDB_1),
]
FIRST_SIGHT = [
    *start.versions_read(FLOP, FLOP_1),
    *(line for cpld in CPLDS for line in start.published(cpld)),
]


@pytest.fixture
def board(world: World) -> World:
    """The world with the CPLDs above on its board."""
    for cpld in CPLDS:
        at = int(start.VERSION_REGISTERS[cpld.kind], 16)
        registers = world.board.device(cpld.kind, cpld.index).registers
        registers[at : at + 2] = bytes.fromhex(cpld.registers)
    return world


@pytest.mark.parametrize(
    "arguments", [(), ("--help", "-x", "/etc/passwd")], ids=["none", "ignored"]
)
def test_with_the_fru_read_complete_everything_is_published_at_once(
    board: World, arguments: tuple[str, ...]
) -> None:
    board.start(arguments=arguments)
    board.wait_published()
    assert main_thread(board) == [
        *BEGINNING,
        *start.fru_status_read(True),
        *FIRST_SIGHT,
        *start.fru_read_watched(),
    ]


def test_with_the_fru_read_pending_publication_waits_for_its_signal(board: World) -> None:
    board.fru_reader.complete(False, announce=False)
    board.start()
    board.trace.wait_for(what="log", text=start.fru_read_watched()[-1][2:])
    assert main_thread(board) == [
        *BEGINNING,
        *start.fru_status_read(False),
        *start.fru_read_watched(),
    ]
    mark = board.trace.mark()
    board.fru_reader.complete()
    board.wait_published()
    assert main_thread(board, mark) == [*FIRST_SIGHT, *start.fru_signal_seen()]


def test_what_the_service_says_on_the_bus(world: World) -> None:
    mark = settled_mark(world)
    world.start()
    last = [names.SERVICE, FLOP.object_path(1), names.REGISTRATION]
    world.trace.wait_for(what="bus", member=REGISTER, body=last)
    main, platform, listening, registering = sent(world, mark)
    assert main == [
        "Hello()",
        "Get(xyz.openbmc_project.Control.Host.InternalPowerState, InternalPowerState) "
        "to xyz.openbmc_project.State.Host "
        "/xyz/openbmc_project/control/host0/internal_power_state",
        f"AddMatch({POWER_STATE_RULE})",
        "Get(com.vexa.bmc.mppd.pcardInfo, FRUreadComplete) "
        "to com.vexa.bmc.mppd /com/vexa/bmc/mppd/info",
        "RequestName(com.vexa.bevon.tavrinupdate, 7)",
        *added("PBB_PLD_1"),
        *added("PBB_PLD_2"),
        *added("PDB_PLD_1"),
        *added("FLOP_1"),
        f"AddMatch({FRU_READ_RULE})",
    ]
    assert platform == [
        "Hello()",
        "Get(xyz.openbmc_project.Platform, PlatformID) "
        "to xyz.openbmc_project.Platform /xyz/openbmc_project/Platform",
    ]
    assert listening == ["Hello()", f"AddMatch({REGISTRATION_RULE})"]
    assert registering == [
        "Hello()",
        *(registered(name) for name in ("PBB_PLD_1", "PBB_PLD_2", "PDB_PLD_1", "FLOP_1")),
    ]


def added(name: str) -> list[str]:
    """The announcements of one CPLD: the base inventory's waits for its values."""
    every = "BaseSwInventory, TavrinInventory, comp_mprop_dri_registration, comp_update"
    return [
        f"{name} added: comp_mprop_dri_registration",
        f"{name} added: comp_mprop_dri_registration, comp_update",
        f"{name} added: {every}",
        f"{name} added: {every}",
    ]


def registered(name: str) -> str:
    """One CPLD's registration call."""
    return (
        f"{REGISTER}({names.SERVICE}, {names.OBJECT_ROOT}/{name}, {names.REGISTRATION}) "
        f"to {names.COORDINATOR} {names.COORDINATOR_PATH}"
    )


def policy_that_shows_the_tree(folder: Path) -> Path:
    """The service's policy, but paths above and of its objects may be called before it has a name."""
    root = '<policy user="root">'
    rules = "".join(
        f'<allow send_type="method_call" send_path="{path}"/>'
        for path in ("/com/vexa/bevon", names.OBJECT_ROOT)
    )
    text = POLICY.read_text()
    assert root in text
    policy = folder / "open.conf"
    policy.write_text(text.replace(root, root + rules))
    return policy


def test_until_the_fru_read_is_complete_only_the_anchor_is_on_the_bus(
    build_world: BuildWorld, tmp_path: Path
) -> None:
    world = build_world(fru_complete=False, policy=policy_that_shows_the_tree(tmp_path))
    process = world.start()
    world.trace.wait_for(what="log", text=start.fru_read_watched()[-1][2:])
    (unique_name,) = world.client.connections_of(process.pid)
    assert world.client.owner() is None
    shown = world.client.introspect(names.ANCHOR, unique_name)
    assert [name for name in OWN_INTERFACES if f'interface name="{name}"' in shown] == (
        OWN_INTERFACES
    )
    above = ElementTree.fromstring(world.client.introspect("/com/vexa/bevon", unique_name))
    assert [node.get("name") for node in above.findall("node")] == ["dummy"]
    with pytest.raises(BusError) as error:
        world.client.managed_objects(destination=unique_name)
    assert error.value.name == "org.freedesktop.DBus.Error.UnknownObject"
    assert len(threads(world)) == 1  # nobody registers


OWN_INTERFACES = [
    names.COMP_UPDATE,
    names.REGISTRATION,
    names.BASE_INVENTORY,
    names.TAVRIN_INVENTORY,
]
