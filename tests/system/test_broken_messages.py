"""Signals that the bus library takes for error replies: both watchers say so and no more."""

from __future__ import annotations

from conftest import FindDouble
from dbus_next import Variant
from tavrinsim.world import World
from watching import said, start_pending

FRU_READ = "frureadcompleteHandler : Message Error, Unable to read FrureadComplete\n"
POWER_STATE = "[internalPowerStateSignalCallback] : Message error\n"


def test_a_broken_signal_is_one_line_and_changes_nothing(
    world: World, find_double: FindDouble
) -> None:
    mark = start_pending(world, preload=[find_double("broken_messages")])
    world.fru_reader.complete()
    assert said(world, mark) == [f"E {FRU_READ}"]
    world.fru_reader.announce({"Other": Variant("b", True)})
    assert said(world, mark) == [f"E {FRU_READ}"] * 2
    assert world.client.owner() is None

    mark = world.trace.mark()
    world.host_state.change("S5OnPending")
    assert said(world, mark) == [f"E {POWER_STATE}"]
    assert world.board.hold_line == 1
