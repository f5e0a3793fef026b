"""The hold line's release, where the hardware abstraction makes it hard."""

from __future__ import annotations

from collections.abc import Callable

import pytest
from expected import hold
from support.sequence import sequence
from tavrinsim.world import World
from watching import answer, start_pending

CALLBACK = "[internalPowerStateSignalCallback]"
PENDING = [
    f"T {CALLBACK} : Reading Power Properties\n",
    f"T {CALLBACK} : Host State:S5OnPending\n",
]
CLEARED = f"T {CALLBACK} : Holds5 bit cleared successfully\n"
NOT_CLEARED = f"E {CALLBACK} : Failed to clear the host off bit\n"
IO_ERROR = hold.failed(-1, "Input/output error")


@pytest.fixture(scope="module")
def watching(build_shared_world: Callable[..., World]) -> World:
    """A service that waits for the FRU read."""
    world = build_shared_world()
    start_pending(world)
    return world


@pytest.fixture
def service(watching: World) -> World:
    """The same with a whole hardware abstraction and the line held."""
    watching.board.faults.clear()
    watching.board.hold_line = 1
    return watching


def release(world: World) -> list[str]:
    """Everything that a pending power-on leads to."""
    mark = world.trace.mark()
    world.host_state.change("S5OnPending")
    answer(world)
    return sequence(world, mark)


def test_without_a_configuration_both_attempts_fail(service: World) -> None:
    service.board.faults.hal_config(missing=True)
    steps = release(service)
    # The errno is whatever was left: no call failed, there was nothing to call.
    failures = [step for step in steps if "Error clearing" in step]
    assert [step.split(" error=")[0] for step in failures] == [
        hold.failed(-1, "").removesuffix(" error=")
    ] * 2
    assert [step for step in steps if step not in failures] == [
        *PENDING,
        *hold.begun(found=False),
        *hold.absent() * 2,
        NOT_CLEARED,
    ]
    assert service.board.hold_line == 1


def test_a_configuration_that_appears_late_is_used(service: World) -> None:
    service.board.faults.hal_config(missing=True, times=1)
    assert release(service) == [
        *PENDING,
        *hold.begun(found=False),
        hold.configuration(),
        hold.written(),
        hold.cleared(),
        *hold.released(),
        CLEARED,
    ]
    assert service.board.hold_line == 0


def test_a_second_attempt_follows_a_failed_one(service: World) -> None:
    service.board.faults.hal_writes((-1, 5))
    assert release(service) == [
        *PENDING,
        *hold.begun(),
        hold.written(-1, 5),
        IO_ERROR,
        hold.written(),
        hold.cleared(),
        *hold.released(),
        CLEARED,
    ]
    assert service.board.hold_line == 0


def test_there_is_no_third_attempt(service: World) -> None:
    service.board.faults.hal_writes((-1, 5), (3, 110))
    assert release(service) == [
        *PENDING,
        *hold.begun(),
        hold.written(-1, 5),
        IO_ERROR,
        hold.written(3, 110),
        hold.failed(3, "Connection timed out"),
        *hold.released(),
        NOT_CLEARED,
    ]
    assert service.board.hold_line == 1


def test_each_failed_attempt_is_followed_by_a_pause(service: World) -> None:
    service.board.faults.hal_writes((-1, 5), (-1, 5))
    mark = service.trace.mark()
    release(service)
    attempts = service.trace.select(start=mark, what="call", name="hal.write_bit")
    (destroyed,) = service.trace.select(start=mark, what="call", name="hal.destroy")
    pauses = [after["t"] - before["t"] for before, after in zip(attempts, attempts[1:])]
    pauses.append(destroyed["t"] - attempts[-1]["t"])
    assert len(pauses) == 2
    assert all(pause >= 50_000_000 for pause in pauses)


@pytest.mark.parametrize("status", [0, -3])
def test_an_interrupt_callback_is_taken_back_before_the_end(
    service: World, status: int
) -> None:
    service.board.faults.hal_config(interrupt=True, unregister_status=status)
    assert release(service) == [
        *PENDING,
        *hold.begun(),
        hold.written(),
        hold.cleared(),
        *hold.released_with_interrupt(status),
        CLEARED,
    ]
