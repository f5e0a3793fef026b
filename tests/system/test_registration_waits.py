"""How long the registration thread waits: for an answer, and for the coordinator's signal."""

from __future__ import annotations

import pytest
from conftest import BuildWorld, FindDouble
from expected.registration import ALL, asked_again, failed_pass, listening, whole_pass
from support.jobs import update, wait_until
from tavrinsim.answers import Silence
from tavrinsim.coordinator import REGISTER
from tavrinsim.world import World
from watching import IMPATIENT, registered_paths, thread_lines, wait_for_calls

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
    told = [line.split() for line in unanswered.output.read_text().splitlines()]
    # As the service's environment says it here; it names no other time itself.
    assert {words[2] for words in told if words[:2] == ["asks", REGISTER]} == {"1000000"}
    unanswered.coordinator.ask_for_registrations()
    wait_for_calls(unanswered, 2 * len(ALL))
    assert thread_lines(unanswered) == [*missed, *asked_again(), *whole_pass()]
    assert registered_paths(unanswered) == PATHS[:1] + PATHS


def test_the_thread_waits_for_a_second_at_most_each_time(unanswered: World) -> None:
    # Nobody sends anything: it waits again and again, and does not turn in circles meanwhile.
    before = len(waits(unanswered))
    wait_until(lambda: len(waits(unanswered)) > before + 1, "two more waits")
    assert set(waits(unanswered)) == {"1000000"}


def test_a_thread_that_loses_its_connection_alone_rests_and_the_service_goes_on(
    world: World, find_double: FindDouble
) -> None:
    # Each pause takes a hundredth of its second here.
    world.start(preload=[find_double("short_pauses"), find_double("lost_connection")])
    world.wait_registered()
    wait_until(lambda: len(waits(world, at=2)) > 12, "twelve waits on a lost connection")
    # It notices the loss in the first two; from then on there is a pause in each.
    times = [int(time) for time in waits(world, at=2)[2:13]]
    assert times[-1] - times[0] >= 10 * (len(times) - 1)
    done = update(world, "pbb")
    assert (done.result, done.progress[-1]) == (0, (28, 100))
    assert world.running


def waits(world: World, at: int = 1) -> list[str]:
    """What is told of each of the thread's waits: the word at this place of its line."""
    lines = [line.split() for line in world.output.read_text().splitlines()]
    return [words[at] for words in lines if words[:1] == ["waits"]]
