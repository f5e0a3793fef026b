"""The version reads of a start: what the registers mean, and what a failure leaves behind."""

from __future__ import annotations

from collections.abc import Callable

import pytest
from dbus_next import Variant
from expected import ports, start
from expected.start import Cpld
from tavrinsim import names
from tavrinsim.answers import Failure, Reply
from tavrinsim.names import FLOP, PBB, PDB
from tavrinsim.world import World
from watching import main_thread, published_paths, start_pending, start_to_subscription

PBB_1 = Cpld(PBB, 0, "0100", (1, 0, 0))
PBB_2 = Cpld(PBB, 1, "0100", (1, 0, 0))
PDB_1 = Cpld(PDB, 0, "0100", (1, 0, 0))
FLOP_1 = Cpld(FLOP, 0, "0010", (1, 0, 0))
EIO = (5, "Input/output error")


def read_at_start(world: World) -> list[str]:
    """All between the two subscriptions of a start with the FRU read pending."""
    start_pending(world)
    lines = main_thread(world)
    first = lines.index(start.power_state_watched()[-1]) + 1
    return lines[first : lines.index(start.FRU_READ_ASKED)]


def flop_read(world: World) -> list[str]:
    """All between the sight of a complete FRU read and the first publication."""
    start_to_subscription(world)
    lines = main_thread(world)
    first = lines.index(start.fru_status_read(True)[-1]) + 1
    return lines[first : lines.index("call sm.alloc_mem")]


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


def test_a_kind_that_the_platform_does_not_describe_ends_with_its_status(world: World) -> None:
    world.board.faults.parser(PBB, status=22)
    paths = [world.board.device(PBB, index).path for index in range(2)]
    answer = {"status": 22, "count": 2, "paths": paths}
    assert read_at_start(world) == [
        start.listed(PBB, 2)[0],
        f"call i2c_parse_sysinfo(62) = {answer}",
        "E [getSysinfoNodes] : sysinfo parse failed for PBB_PLD, Error: 22\n",
        "E [readCpldVersion] : Failed to get sysinfo node for PBB_PLD\n",
        *start.versions_read(PDB, PDB_1),
    ]


def test_a_kind_without_cplds_is_complete(build_world: Callable[..., World]) -> None:
    world = build_world(counts={"pbb": 0, "pdb": 1, "flop": 1})
    assert read_at_start(world) == [
        *start.versions_read(PBB),
        *start.versions_read(PDB, PDB_1),
    ]
    world.fru_reader.complete()
    world.wait_published()
    assert published_paths(world) == [FLOP.object_path(1), PDB.object_path(1)]


def test_more_cplds_than_can_be_counted_are_refused(world: World) -> None:
    world.board.faults.parser(PBB, count=256)
    lines = read_at_start(world)
    assert lines[2 : -len(start.versions_read(PDB, PDB_1))] == [
        "E [getSysinfoNodes] : PBB_PLD has 256 instances, at most 255 are supported\n",
        "E [readCpldVersion] : Failed to get sysinfo node for PBB_PLD\n",
    ]
    assert world.trace.select(what="open", device="PBB_PLD[0]") == []


def test_a_device_that_does_not_open_ends_its_kind(world: World) -> None:
    world.board.faults.open(world.board.device(PBB, 1), errno=2)
    assert read_at_start(world) == [
        *start.listed(PBB, 2),
        *start.version_read(PBB_1),
        "open PBB_PLD[1] errno 2",
        "E [openI2cfdUsingNodename] : Open fd Failue, Error: -1\n",
        "E [readCpldVersion] : Failed to open PBB_PLD[1] for inventory\n",
        *start.versions_read(PDB, PDB_1),
    ]


@pytest.mark.parametrize("failures", [1, 2])
def test_a_read_is_tried_three_times(world: World, failures: int) -> None:
    device = world.board.device(PDB)
    world.board.faults.transfer(device, errno=EIO[0], times=failures)
    assert read_at_start(world)[-len(start.versions_read(PDB, PDB_1)) - 2 * failures :] == [
        *start.listed(PDB, 1),
        *start.opened(PDB_1),
        *ports.failed_read(device, 0, 2, *EIO, attempts=failures),
        *start.transferred(PDB_1),
        *start.all_read(PDB),
    ]


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


def test_attempts_are_five_milliseconds_apart(world: World) -> None:
    world.board.faults.transfer(errno=EIO[0])
    start_to_subscription(world)
    tries = [line["t"] for line in world.trace.select(what="transfer")]
    threes = [tries[at : at + 3] for at in range(0, len(tries), 3)]
    assert len(threes) == 5  # PBB, PDB; FLOP, PBB and PDB once more
    gaps = [b - a for three in threes for a, b in zip(three, three[1:])]
    assert len(gaps) == 10
    assert min(gaps) >= 5_000_000


def test_no_descriptor_is_left_open(world: World) -> None:
    world.board.faults.transfer(world.board.device(PBB, 1), errno=EIO[0])
    start_to_subscription(world)
    opened, closed = (
        [line["device"] for line in world.trace.select(what=what)] for what in ("open", "close")
    )
    assert opened == closed
    assert opened.count("PBB_PLD[1]") == 2  # once more when the FRU read is complete


@pytest.mark.parametrize(
    ("reply", "line"),
    [
        (Failure("org.example.Error.Busy", "later"), "E [GetPlatformID]: Exception occurred"),
        (Reply(), "E [GetPlatformID]: Exception occurred"),
        (Reply("v", Variant("s", "4")), "T [GetPlatformID]: Operation completed"),
        (Reply("v", Variant("u", 4)), "T [GetPlatformID]: Operation completed"),
        (Reply("v", Variant("i", 0)), "T [GetPlatformID]: Operation completed"),
        (Reply("i", 4), "E [GetPlatformID]: Exception occurred"),
    ],
)
def test_a_flop_is_read_even_if_the_platform_is_unknown(
    world: World, reply: Reply | Failure, line: str
) -> None:
    world.platform.always("Get", reply)
    assert flop_read(world) == [
        start.platform_asked()[0],
        line,
        "E [readCpldVersion]: Inavlid Platform ID\n",
        *start.listed(FLOP, 1),
        *start.version_read(FLOP_1),
        *start.all_read(FLOP),
    ]


def test_without_a_platform_service_the_identity_is_unknown(world: World) -> None:
    world.platform.stop()
    assert flop_read(world)[:2] == [
        "E [GetPlatformID]: Exception occurred",
        "E [readCpldVersion]: Inavlid Platform ID\n",
    ]


@pytest.mark.parametrize("number", [-1, 4, 5, 2147483647])
def test_any_other_number_is_a_platform(world: World, number: int) -> None:
    world.become_platform(number)
    assert flop_read(world) == start.versions_read(FLOP, FLOP_1)
