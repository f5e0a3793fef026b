"""The registration thread: calls that its bus library refuses, and how long it waits."""

from __future__ import annotations

import pytest
from conftest import BuildWorld, FindDouble
from expected import registration
from expected.registration import ALL, asked_again, failed_pass, listening, whole_pass
from support.jobs import threads, update, wait_until
from tavrinsim.answers import Silence
from tavrinsim.coordinator import REGISTER
from tavrinsim.world import World
from watching import IMPATIENT, REGISTERING, registered_paths, thread_lines, wait_for_calls

CALL = "sd_bus_open_system"
NO_MEMORY = "sd bus open failed: Cannot allocate memory\n"


def start_refusing(world: World, double: FindDouble, function: str, call: int) -> None:
    """Starts the service with one call of its bus library refused."""
    refusal = {"BUS_LIBRARY": "refuses", "REFUSED": function, "REFUSED_CALL": str(call)}
    world.start(preload=[double("bus_library")], environment=refusal)
    world.wait_published()


def wait_for_thread_end(world: World) -> None:
    """Waits until only the main thread is left."""
    wait_until(lambda: len(threads(world)) == 1, "the registration thread is gone")


def test_without_a_connection_to_listen_on_the_thread_ends(
    world: World, find_double: FindDouble
) -> None:
    start_refusing(world, find_double, CALL, 1)
    world.trace.wait_for(what="log", text=f"[regSignalThreadHandler]: {NO_MEMORY}")
    wait_for_thread_end(world)
    assert thread_lines(world) == [
        f"T {REGISTERING}",
        f"E [regSignalThreadHandler]: {NO_MEMORY}",
    ]
    assert world.running


def test_without_the_subscription_the_thread_ends(
    world: World, find_double: FindDouble
) -> None:
    start_refusing(world, find_double, "sd_bus_add_match_async", 1)
    line = "[regSignalThreadHandler]: Failed to subscribe to dbus signal, Error: -12\n"
    world.trace.wait_for(what="log", text=line)
    wait_for_thread_end(world)
    assert thread_lines(world) == [*listening()[:-1], f"E {line}"]
    assert world.running


def test_a_pass_without_a_connection_does_nothing_and_the_next_one_all(
    world: World, find_double: FindDouble
) -> None:
    start_refusing(world, find_double, CALL, 2)
    line = f"[cpld_update_register_handler]: {NO_MEMORY}"
    world.trace.wait_for(what="log", text=line)
    assert thread_lines(world) == [*listening(), f"E {line}"]
    assert world.coordinator.calls == []
    world.coordinator.ask_for_registrations()
    wait_for_calls(world, len(registration.ALL))
    assert thread_lines(world) == [*listening(), f"E {line}", *asked_again(), *whole_pass()]


# -- how long it waits: for an answer, and for the coordinator's signal ----------------


PATHS = [kind.object_path(number) for kind, number in ALL]
TIMED_OUT = ("org.freedesktop.DBus.Error.Timeout", "Connection timed out")


@pytest.fixture(scope="module")
def unanswered(build_shared_world: BuildWorld, find_double: FindDouble) -> World:
    """A service whose coordinator takes the first registration and never answers it."""
    world = build_shared_world()
    world.coordinator.once(REGISTER, Silence())
    tells = {"BUS_LIBRARY": "tells waits"}
    world.start(preload=[find_double("bus_library")], environment=IMPATIENT | tells)
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
    world.start(
        preload=[find_double("c_library"), find_double("bus_library")],
        environment={"C_LIBRARY": "short pauses", "BUS_LIBRARY": "loses"},
    )
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
