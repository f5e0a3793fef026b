"""Registration where a call of the service's own bus library fails."""

from __future__ import annotations

from conftest import FindDouble
from expected import registration
from expected.registration import asked_again, listening, whole_pass
from support.jobs import threads, wait_until
from tavrinsim.world import World
from watching import REGISTERING, thread_lines, wait_for_calls

CALL = "sd_bus_open_system"
NO_MEMORY = "sd bus open failed: Cannot allocate memory\n"


def start_refusing(world: World, double: FindDouble, function: str, call: int) -> None:
    """Starts the service with one call of its bus library refused."""
    refusal = {"REFUSED": function, "REFUSED_CALL": str(call)}
    world.start(preload=[double("refusing_bus")], environment=refusal)
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
