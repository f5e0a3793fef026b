"""What becomes of a completed FRU read where versions or the bus name are not to be had."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

import pytest
from expected import start
from support.jobs import threads
from support.sequence import logs
from tavrinsim import names
from tavrinsim.bus import POLICY
from tavrinsim.names import FLOP, PBB, PDB
from tavrinsim.world import World
from watching import (
    fru_errors,
    policy_without_the_name,
    published_paths,
    said,
    start_pending,
    start_to_subscription,
)

DENIED = "org.freedesktop.DBus.Error.AccessDenied"
NAME_REFUSED = f"sd_bus_request_name: {DENIED}: Permission denied"


def test_with_no_kind_readable_nothing_is_published_ever(world: World) -> None:
    world.board.faults.open(errno=6)
    mark = start_pending(world)
    world.fru_reader.complete()
    assert said(world, mark)[-1:] == start.fru_signal_seen()
    failures = [line for line in logs(world, mark) if "i2c Read version failed" in line]
    assert failures == [
        "T [operator()] : i2c Read version failed for FLOP\n",
        "T [operator()] : i2c Read version failed for PBB\n",
        "T [operator()] : i2c Read version failed for PDB\n",
    ]
    world.board.faults.clear()
    mark = world.trace.mark()
    world.fru_reader.complete()
    assert said(world, mark) == start.fru_signal_seen()
    assert world.client.owner() is None
    assert len(threads(world)) == 1


def test_at_the_start_the_failures_bear_the_readers_name(world: World) -> None:
    world.board.faults.open(errno=6)
    start_to_subscription(world)
    failures = [line for line in logs(world) if "i2c Read version failed" in line]
    assert failures == [
        "T [Read_current_fruread_status] : i2c Read version failed for FLOP\n",
        "T [Read_current_fruread_status] : i2c Read version failed for PBB\n",
        "T [Read_current_fruread_status] : i2c Read version failed for PDB\n",
    ]
    assert world.client.owner() is None


@pytest.mark.parametrize("broken", [PBB, PDB])
def test_a_reading_that_failed_half_way_is_made_afresh(
    build_world: Callable[..., World], broken: names.Kind
) -> None:
    world = build_world(counts={"pbb": 2, "pdb": 2, "flop": 1})
    second = world.board.device(broken.name, 1)
    second.version = "4.5.6"
    fault = world.board.faults.open(second, errno=6)
    mark = start_pending(world)
    fault.remove()
    world.fru_reader.complete()
    world.wait_published()
    begun = [line for line in logs(world, mark) if "Inventory collection started" in line]
    # Not once more for the kind that was complete before.
    assert begun == [
        "T [readCpldVersion] : Inventory collection started for FLOP",
        f"T [readCpldVersion] : Inventory collection started for {broken.name.upper()}_PLD",
    ]
    objects = world.client.managed_objects()
    shown = [objects[broken.object_path(n)][names.TAVRIN_INVENTORY] for n in (1, 2)]
    assert [(one["Fqdd"].value, one["InstalledVersionString"].value) for one in shown] == [
        (f"{broken.name.upper()}CPLD.Embedded.1", "1.0.0"),
        (f"{broken.name.upper()}CPLD.Embedded.2", "4.5.6"),
    ]


@pytest.mark.parametrize(
    ("broken", "left"),
    [
        ("flop", [PBB, PBB, PDB]),
        ("pdb", [PBB, PBB, FLOP]),
        ("pbb", [PDB, FLOP]),
        ("pdb flop", [PBB, PBB]),
        ("pbb flop", [PDB]),
        ("pbb pdb", [FLOP]),
    ],
)
def test_a_kind_that_cannot_be_read_is_not_published_the_others_are(
    world: World, broken: str, left: list[names.Kind]
) -> None:
    for kind in broken.split():
        world.board.faults.open(world.board.device(kind), errno=6)
    world.start()
    world.wait_published()
    expected = {kind.object_path(number) for kind in left for number in (1, left.count(kind))}
    assert published_paths(world) == sorted(expected)


def test_a_refused_name_is_logged_and_not_tried_again(
    build_world: Callable[..., World], tmp_path: Path
) -> None:
    world = build_world(policy=policy_without_the_name(tmp_path, POLICY))
    start_to_subscription(world)
    assert fru_errors(world) == [
        "[Read_current_fruread_status] : FruReadComplete status: 1\n",
        f"[Read_current_fruread_status] : Exception: {NAME_REFUSED} {DENIED}\n",
    ]
    mark = world.trace.mark()
    world.fru_reader.complete()
    assert said(world, mark) == start.fru_signal_seen()
    assert len(threads(world)) == 1
    assert world.client.owner() is None


def test_a_name_refused_in_the_signal_is_logged_by_the_handler(
    build_world: Callable[..., World], tmp_path: Path
) -> None:
    world = build_world(policy=policy_without_the_name(tmp_path, POLICY))
    mark = start_pending(world)
    world.fru_reader.complete()
    assert said(world, mark)[-1] == f"E frureadcompleteHandler : Exception: {NAME_REFUSED}\n"
    mark = world.trace.mark()
    world.fru_reader.complete()
    assert said(world, mark) == start.fru_signal_seen()
    assert len(threads(world)) == 1
