"""The question for the platform's number: answers that are none, late or of another kind."""

from __future__ import annotations

from pathlib import Path

import pytest
from conftest import LISTENING
from dbus_next import Variant
from expected import start
from expected.start import Cpld
from support.jobs import wait_until
from support.sequence import logs
from tavrinsim.answers import Answer, Departure, Failure, Held, Latch, Reply, Silence
from tavrinsim.names import FLOP
from tavrinsim.world import World
from watching import main_thread, said, start_pending, start_to_subscription

FLOP_1 = Cpld(FLOP, 0, "0010", (1, 0, 0))
ASKED = "> Get(xyz.openbmc_project.Platform, PlatformID)"
UNKNOWN = "E [readCpldVersion]: Inavlid Platform ID\n"
FAILED = "E [GetPlatformID]: Exception occurred"
ANSWERED = "T [GetPlatformID]: Operation completed"


def asking(world: World) -> list[str]:
    """All between the sight of a complete FRU read and the first publication."""
    lines = main_thread(world)
    first = lines.index(start.fru_status_read(True)[-1]) + 1
    return lines[first : lines.index("call sm.alloc_mem")]


def flop_read() -> list[str]:
    """The FLOP is read whatever its platform is."""
    return [*start.listed(FLOP, 1), *start.version_read(FLOP_1), *start.all_read(FLOP)]


@pytest.mark.parametrize(
    "answer",
    [
        *(Reply(), Reply("s", "4"), Reply("i", 4)),
        *(Reply("a{sv}", {"PlatformID": Variant("i", 4)}), Departure(), Silence()),
        Failure("org.example.Error.Busy", "later"),
    ],
    ids=["nothing", "text", "number", "dictionary", "departure", "silence", "error"],
)
def test_no_answer_and_one_without_a_variant_are_exceptions(
    world: World, answer: Answer
) -> None:
    world.platform.always("Get", answer)
    # The bus library's own variable: no other time-out than its default is asked for. It
    # rules all calls, so only the one that has to run into it gets a shorter one.
    silent = isinstance(answer, Silence)
    world.start(environment={"SYSTEMD_BUS_TIMEOUT": "2s"} if silent else {})
    world.wait_published()
    assert asking(world) == [ASKED, FAILED, UNKNOWN, *flop_read()]


@pytest.mark.parametrize(
    "value",
    [
        Variant("n", 4),
        Variant("x", 4),
        Variant("b", True),
        Variant("ai", [4]),
        Variant("v", Variant("i", 4)),
        Variant("s", "4"),
        Variant("u", 4),
    ],
    ids=lambda value: value.signature,
)
def test_a_value_of_another_type_is_no_number_and_no_exception(
    world: World, value: Variant
) -> None:
    world.platform.set(value, announce=False)
    world.start()
    world.wait_published()
    assert asking(world) == [ASKED, ANSWERED, UNKNOWN, *flop_read()]


def test_no_platform_has_the_number_0(world: World) -> None:
    world.become_platform(0)
    world.start()
    world.wait_published()
    assert asking(world) == [ASKED, ANSWERED, UNKNOWN, *flop_read()]


@pytest.mark.parametrize("number", [-1, 4, 5, 2147483647])
def test_any_other_number_is_a_platform(world: World, number: int) -> None:
    world.become_platform(number)
    world.start()
    world.wait_published()
    assert asking(world) == [ASKED, ANSWERED, *flop_read()]


def test_a_late_answer_is_waited_for(world: World) -> None:
    latch = Latch()
    world.platform.once("Get", Held(latch, Reply("v", Variant("i", 5))))
    world.start()
    world.platform.wait_for_calls("Get")
    assert logs(world)[-1] == start.fru_status_read(True)[-1]
    latch.open()
    world.wait_published()
    assert asking(world) == [ASKED, ANSWERED, *flop_read()]


def test_a_bus_that_takes_no_more_connections_is_an_exception(world: World) -> None:
    mark = start_pending(world)
    socket = Path(world.bus.address.partition("path=")[2].partition(",")[0])
    away = socket.rename(socket.with_suffix(".away"))
    world.fru_reader.complete()
    lines = said(world, mark)
    away.rename(socket)
    assert lines[:2] == [FAILED, UNKNOWN]
    assert world.platform.calls == []
    # The thread that registers with the coordinator needs a connection as well.
    own = [line for line in lines if "regSignalThreadHandler" not in line]
    assert own[-1:] == start.fru_signal_seen()


@pytest.mark.parametrize(
    "answer", [Reply("v", Variant("i", 4)), Reply("i", 4), Failure("org.example.No")]
)
def test_the_connection_is_given_back_whatever_came_of_it(world: World, answer: Answer) -> None:
    world.platform.always("Get", answer)
    start_to_subscription(world)
    assert world.service is not None
    pid = world.service.pid
    asker = world.platform.calls_of("Get")[0].sender
    # Else the asker could be taken for the connection that listens for the coordinator.
    world.trace.wait_for(what="log", text=LISTENING)
    wait_until(lambda: asker not in world.client.connections_of(pid), "the asker is gone")
