"""Sudden ends in each step of an update: what is left, and what the next start makes of it."""

from __future__ import annotations

import signal
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from conftest import BuildWorld
from reliability.sudden_ends import trial
from reliability.sudden_ends.steps import STEPS, Found, spread, step_of
from reliability.sudden_ends.worlds import Worlds
from support.jobs import HEALTHY, update
from tavrinsim.fault import Gate
from tavrinsim.world import World

SIDE_BY_SIDE = 12
ENDS_OF_A_KIND = 12


@pytest.fixture
def worlds(binary: Path) -> Iterator[Worlds]:
    """Controllers for sudden ends."""
    several = Worlds(binary, SIDE_BY_SIDE)
    yield several
    several.close()


def test_after_a_sudden_end_the_next_update_succeeds(worlds: Worlds) -> None:
    chosen = spread(worlds.count_effects(), ENDS_OF_A_KIND)
    ends = worlds.run(list(chosen), tick=lambda: None)
    assert [f"{end.point}: {words}" for end in ends for words in end.violations] == []
    assert {end.step for end in ends} == set(range(len(STEPS)))
    assert {end.point.number for end in ends} == {signal.SIGKILL, signal.SIGTERM}


# Where the worker stands when the bus goes away, and what is left of it: the process ends by
# itself then, on its main thread, whatever the worker does.


def before_the_image(world: World, gate: Gate) -> None:
    """The port is open, and the CPLD's memory as it was."""
    world.board.faults.programming(pause_at=0, gate=gate)


def in_the_image(world: World, gate: Gate) -> None:
    """Half of the image is written."""
    world.board.faults.programming(pause_at=5, gate=gate)


def before_the_closing(world: World, gate: Gate) -> None:
    """The image is written; the port's register is read for its closing."""
    world.board.faults.transfer(world.board.device("pbb"), gate=gate, after=3)


@pytest.mark.parametrize(
    ("stand", "step"),
    [(before_the_image, 2), (in_the_image, 2), (before_the_closing, 3)],
)
def test_without_its_bus_the_service_leaves_an_update_as_a_sudden_end_does(
    build_world: BuildWorld, stand: Callable[[World, Gate], None], step: int
) -> None:
    world = build_world()
    process = world.start()
    world.wait_published()
    gate = world.board.faults.gate()
    stand(world, gate)
    device = world.board.device("pbb")
    job = world.job(device.fqdd, world.payload("pbb", trial.MEANT))
    assert world.coordinator.update(job) == 0
    gate.wait_reached()
    world.bus.stop()
    assert process.wait() == 0
    assert step_of(Found.at(device, trial.MEANT, told=False)) == step
    next_start = build_world()
    put_board_into(next_start, world)
    next_start.start()
    next_start.wait_published()
    assert update(next_start, "pbb", version=trial.NEXT).progress == HEALTHY
    left = Found.at(next_start.board.device("pbb"), trial.NEXT, told=True)
    assert left == STEPS[-1].leaves


def put_board_into(world: World, other: World) -> None:
    """The CPLDs of another controller, as they stand."""
    for device, same in zip(world.board.devices, other.board.devices, strict=True):
        with device.state_file.open("r+b") as file:
            file.write(same.state_file.read_bytes())
