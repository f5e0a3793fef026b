"""How long the registration thread waits: for an answer, and for the coordinator's signal."""

from __future__ import annotations

import pytest
from conftest import BuildWorld, FindDouble
from expected.registration import ALL, asked_again, failed_pass, listening, whole_pass
from jobs import wait_until
from registering import registered_paths, thread_lines, wait_for_calls
from tavrinsim.answers import Silence
from tavrinsim.coordinator import REGISTER
from tavrinsim.world import World
from watching import IMPATIENT

PATHS = [kind.object_path(number) for kind, number in ALL]
TIMED_OUT = ("org.freedesktop.DBus.Error.Timeout", "Connection timed out")


@pytest.fixture(scope="module")
def unanswered(build_shared_world: BuildWorld, find_double: FindDouble) -> World:
    """A service whose coordinator takes the first registration and never answers it."""
    world = build_shared_world()
    world.coordinator.once(REGISTER, Silence())
    world.start(preload=[find_double("telling_waits")], environment=IMPATIENT)
    return world


def test_a_coordinator_that_never_answers_fails_the_pass_after_the_time_out_of_the_bus(
    unanswered: World,
) -> None:
    (call,) = unanswered.coordinator.wait_registered(1)
    wait_for_calls(unanswered, len(ALL))
    missed = [*listening(), *failed_pass(-110, *TIMED_OUT)]
    assert thread_lines(unanswered) == missed
    assert registered_paths(unanswered) == PATHS[:1]
    failure = unanswered.trace.wait_for(what="log", level=1, text=missed[4][2:])
    assert failure["t"] / 1e9 - call.time > 0.9
    unanswered.coordinator.ask_for_registrations()
    wait_for_calls(unanswered, 2 * len(ALL))
    assert thread_lines(unanswered) == [*missed, *asked_again(), *whole_pass()]
    assert registered_paths(unanswered) == PATHS[:1] + PATHS


def test_the_thread_waits_for_a_second_at_most_each_time(unanswered: World) -> None:
    # Nobody sends anything: it waits again and again, and does not turn in circles meanwhile.
    before = len(waits(unanswered))
    wait_until(lambda: len(waits(unanswered)) > before + 1, "two more waits")
    assert set(waits(unanswered)) == {"1000000"}


def waits(world: World) -> list[str]:
    """The longest times that the thread was ready to wait, in microseconds."""
    lines = [line.split() for line in world.output.read_text().splitlines()]
    return [words[1] for words in lines if words[:1] == ["waits"]]
