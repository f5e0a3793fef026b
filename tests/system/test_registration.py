"""Registration with the update coordinator, the first one and those it asks for.

The first pass comes five seconds after the publication: all services of this file start
together, each beside a coordinator that behaves in its own way, and the tests take turns.
"""

from __future__ import annotations

import time
from collections.abc import Callable

import pytest
from dbus_next import Variant
from expected import registration
from expected.registration import (
    REGISTRATION_RULE,
    asked_again,
    failed_pass,
    listening,
    whole_pass,
)
from support.jobs import connections, wait_until
from tavrinsim import names
from tavrinsim.answers import Departure, Failure, Held, Latch, Reply
from tavrinsim.coordinator import REGISTER
from tavrinsim.names import FLOP, PBB
from tavrinsim.world import World
from watching import registered_paths, thread_lines, wait_for_calls

PATHS = [kind.object_path(number) for kind, number in registration.ALL]
DISCONNECTED = (
    "org.freedesktop.DBus.Error.NoReply",
    "Message recipient disconnected from message bus without replying",
)
UNKNOWN = (
    "org.freedesktop.DBus.Error.ServiceUnknown",
    "The name com.vexa.bevon.cmnfwupd was not provided by any .service files",
)
LATE = Latch()


def refuse_second(world: World) -> None:
    """The second call of the first pass gets an error."""
    world.coordinator.once(REGISTER, Reply(), Failure("org.example.Error.Full", "no room"))


def answer_oddly(world: World) -> None:
    """Replies that nobody expects."""
    odd = [Reply("s", "who are you?"), Reply("v", Variant("i", -1)), Reply("a{sv}", {})]
    world.coordinator.once(REGISTER, *odd)


def break_second_pbb(world: World) -> None:
    """One PBB cannot be opened."""
    world.board.faults.open(world.board.device("pbb", 1), errno=5)


def ask_early(world: World) -> None:
    """Asks while the service still makes its pause."""
    # The thread says that it has subscribed before the bus knows.
    world.trace.wait_for(what="bus", member="AddMatch", body=[REGISTRATION_RULE])
    world.coordinator.ask_for_registrations()


SETTINGS: dict[str, tuple[dict[str, object], Callable[[World], None] | None]] = {
    "healthy": ({}, None),
    "absent": ({}, lambda world: world.coordinator.stop()),
    "refusing": ({}, refuse_second),
    "odd": ({}, answer_oddly),
    "leaving": ({}, lambda world: world.coordinator.once(REGISTER, Departure())),
    "late": ({}, lambda world: world.coordinator.once(REGISTER, Held(LATE, Reply()))),
    "no pdb": ({"counts": {"pbb": 2, "pdb": 0, "flop": 1}}, None),
    "pbb unread": ({}, break_second_pbb),
    "early": ({}, None),
}


@pytest.fixture(scope="module")
def worlds(build_shared_world: Callable[..., World]) -> dict[str, World]:
    """All of them, started."""
    built = {}
    for name, (setting, prepare) in SETTINGS.items():
        built[name] = build_shared_world(**setting)
        if prepare is not None:
            prepare(built[name])
        built[name].start()
    ask_early(built["early"])
    return built


def test_every_cpld_is_registered_after_five_seconds(worlds: dict[str, World]) -> None:
    world = worlds["healthy"]
    first = world.coordinator.wait_registered(4)[:4]
    wait_for_calls(world, 4)
    assert [(call.service, call.object_path, call.interface) for call in first] == [
        ("com.vexa.bevon.tavrinupdate", path, names.REGISTRATION) for path in PATHS
    ]
    assert thread_lines(world)[:11] == [*listening(), *whole_pass()]
    subscribed = world.trace.wait_for(what="log", text=listening()[-1][2:])["t"] / 1e9
    assert 5.0 <= first[0].time - subscribed < 10.0


def test_a_pass_has_a_connection_of_its_own(worlds: dict[str, World]) -> None:
    world = worlds["healthy"]
    (sender,) = {call.sender for call in world.coordinator.wait_registered(4)[:4]}
    world.trace.wait_for(what="bus", member="NameOwnerChanged", body=[sender, sender, ""])
    remaining = connections(world)
    assert world.client.owner() in remaining
    assert sender not in remaining
    assert len(remaining) == 2  # the other one listens


def test_two_signals_are_two_passes_one_after_the_other(worlds: dict[str, World]) -> None:
    world = worlds["healthy"]
    world.coordinator.wait_registered(4)
    world.coordinator.ask_for_registrations()
    world.coordinator.ask_for_registrations()
    calls = world.coordinator.wait_registered(12)
    wait_for_calls(world, 12)
    assert registered_paths(world) == PATHS * 3
    senders = [{call.sender for call in calls[at : at + 4]} for at in (0, 4, 8)]
    assert [len(one) for one in senders] == [1, 1, 1]
    assert len(set.union(*senders)) == 3
    repeated = [*asked_again(), *whole_pass()]
    assert thread_lines(world) == [*listening(), *whole_pass(), *repeated, *repeated]


def test_a_signal_of_another_path_interface_or_name_is_none(worlds: dict[str, World]) -> None:
    world = worlds["odd"]
    wait_for_calls(world, 4)
    own = (names.COORDINATOR_PATH, names.COORDINATOR_INTERFACE)
    world.coordinator.signal(own[0] + "/other", own[1], "cmnupdateregsignal")
    world.coordinator.signal(own[0], own[1] + "2", "cmnupdateregsignal")
    world.coordinator.signal(*own, "cmnupdateregsignal2")
    # With arguments and from any sender it is still the signal; all before it have passed by then.
    world.host_state.signal(*own, "cmnupdateregsignal", "s", "again")
    wait_for_calls(world, 8)
    assert thread_lines(world) == [
        *listening(),
        *whole_pass(),
        *asked_again(),
        *whole_pass(),
    ]


def test_what_a_reply_holds_does_not_matter(worlds: dict[str, World]) -> None:
    world = worlds["odd"]
    wait_for_calls(world, 4)
    assert thread_lines(world)[:11] == [*listening(), *whole_pass()]


def test_a_signal_during_the_pause_gets_its_pass_after_the_first(
    worlds: dict[str, World],
) -> None:
    world = worlds["early"]
    wait_for_calls(world, 8)
    assert registered_paths(world) == PATHS * 2
    assert thread_lines(world) == [
        *listening(),
        *whole_pass(),
        *asked_again(),
        *whole_pass(),
    ]


def test_without_a_coordinator_every_call_fails_and_the_thread_listens_on(
    worlds: dict[str, World],
) -> None:
    world = worlds["absent"]
    wait_for_calls(world, 4)
    missed = [*listening(), *failed_pass(-113, *UNKNOWN)]
    assert thread_lines(world) == missed
    assert [line[2:] for line in missed if line[0] == "E"] == world.trace.logs(
        level=1, start=first_line_of_pass(world)
    )
    world.coordinator.start()
    world.coordinator.ask_for_registrations()
    wait_for_calls(world, 8)
    assert thread_lines(world) == [*missed, *asked_again(), *whole_pass()]
    assert registered_paths(world) == PATHS
    wait_until(lambda: len(connections(world)) == 2, "no pass leaves its connection open")


def first_line_of_pass(world: World) -> int:
    """Where in the trace the first pass begins."""
    text = registration.calling(PBB, 1)[2:]
    return world.trace.lines().index(world.trace.wait_for(what="log", text=text))


def test_after_one_refusal_no_other_call_of_the_pass_is_made(worlds: dict[str, World]) -> None:
    world = worlds["refusing"]
    wait_for_calls(world, 4)
    refused = failed_pass(-5, "org.example.Error.Full", "no room", good=1)
    assert thread_lines(world) == [*listening(), *refused]
    assert registered_paths(world) == PATHS[:2]
    world.coordinator.ask_for_registrations()
    wait_for_calls(world, 8)
    assert thread_lines(world)[-9:] == [*asked_again(), *whole_pass()]


def test_a_coordinator_that_leaves_with_a_call_in_hand_fails_it(
    worlds: dict[str, World],
) -> None:
    world = worlds["leaving"]
    wait_for_calls(world, 4)
    assert thread_lines(world) == [*listening(), *failed_pass(-110, *DISCONNECTED)]
    assert registered_paths(world) == PATHS[:1]


def test_a_slow_answer_holds_the_pass_but_not_the_service(worlds: dict[str, World]) -> None:
    world = worlds["late"]
    world.coordinator.wait_registered(1)
    fqdd = world.client.get(FLOP.object_path(1), names.TAVRIN_INVENTORY, "Fqdd")
    assert fqdd == Variant("s", "CPLD.IOBay.1")
    assert registered_paths(world) == PATHS[:1]
    opened = time.monotonic()
    LATE.open()
    wait_for_calls(world, 4)
    assert world.coordinator.registrations[1].time >= opened
    assert thread_lines(world) == [*listening(), *whole_pass()]


def test_a_kind_without_cplds_is_left_out(worlds: dict[str, World]) -> None:
    world = worlds["no pdb"]
    wait_for_calls(world, 3)
    assert thread_lines(world) == [*listening(), *whole_pass(names.PDB)]
    assert registered_paths(world) == [PATHS[0], PATHS[1], PATHS[3]]


def test_a_kind_is_registered_by_its_count_even_if_it_could_not_be_read(
    worlds: dict[str, World],
) -> None:
    world = worlds["pbb unread"]
    wait_for_calls(world, 4)
    assert sorted(world.client.managed_objects()) == sorted(PATHS[2:])
    assert registered_paths(world) == PATHS
