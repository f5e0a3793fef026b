"""The version reads of a start: what the registers mean, and what a failure leaves behind."""

from __future__ import annotations

from collections.abc import Callable

import pytest
from expected import ports, start
from expected.start import Cpld
from tavrinsim import names
from tavrinsim.names import FLOP, PBB, PDB
from tavrinsim.world import World
from watching import main_thread, published_paths, start_pending

PBB_1 = Cpld(PBB, 0, "0100", (1, 0, 0))
PDB_1 = Cpld(PDB, 0, "0100", (1, 0, 0))
EIO = (5, "Input/output error")


def read_at_start(world: World) -> list[str]:
    """All between the two subscriptions of a start with the FRU read pending."""
    start_pending(world)
    lines = main_thread(world)
    first = lines.index(start.power_state_watched()[-1]) + 1
    return lines[first : lines.index(start.FRU_READ_ASKED)]


@pytest.mark.parametrize(
    ("kind", "registers", "version"),
    [
        # What stands in the half byte that is left out changes nothing.
        (PBB, "0000", "0.0.0"),
        (PBB, "2103", "1.2.3"),
        (PBB, "21f3", "1.2.3"),
        (PBB, "ffff", "15.15.15"),
        (PDB, "c0a9", "0.12.9"),
        (PDB, "0c9a", "12.0.10"),
        (FLOP, "0000", "0.0.0"),
        (FLOP, "2310", "1.2.3"),
        (FLOP, "231f", "1.2.3"),
        (FLOP, "5a3f", "3.5.10"),
        (FLOP, "ffff", "15.15.15"),
    ],
)
def test_the_registers_of_each_kind_make_its_version(
    world: World, kind: names.Kind, registers: str, version: str
) -> None:
    at = int(start.VERSION_REGISTERS[kind], 16)
    world.board.device(kind).registers[at : at + 2] = bytes.fromhex(registers)
    world.start()
    shown = world.wait_published()[kind.object_path(1)]
    assert shown[names.TAVRIN_INVENTORY]["InstalledVersionString"].value == version
    assert shown[names.BASE_INVENTORY]["InstalledVersionString"].value == version


def test_a_kind_without_cplds_is_complete(build_world: Callable[..., World]) -> None:
    world = build_world(counts={"pbb": 0, "pdb": 1, "flop": 1})
    assert read_at_start(world) == [
        *start.versions_read(PBB),
        *start.versions_read(PDB, PDB_1),
    ]
    world.fru_reader.complete()
    world.wait_published()
    assert published_paths(world) == [FLOP.object_path(1), PDB.object_path(1)]


def test_a_read_that_fails_three_times_closes_the_device_and_ends_its_kind(
    world: World,
) -> None:
    device = world.board.device(PBB)
    world.board.faults.transfer(device, errno=EIO[0])
    assert read_at_start(world) == [
        *start.listed(PBB, 2),
        *start.opened(PBB_1),
        *ports.failed_read(device, 0, 2, *EIO),
        "E [readCpldVersion] : Failed to read PBB_PLD[0] version for inventory\n",
        "close PBB_PLD[0]",
        *start.versions_read(PDB, PDB_1),
    ]
