"""The FRU-read watcher: what it takes for a completed FRU read, and that it acts once."""

from __future__ import annotations

from collections.abc import Callable

import pytest
from conftest import FindDouble
from dbus_next import Variant
from expected import start
from expected.start import Cpld
from tavrinsim import names
from tavrinsim.answers import Answer, Failure, Reply, Silence
from tavrinsim.names import FLOP, PBB, PDB
from tavrinsim.world import World
from watching import (
    IMPATIENT,
    all_paths,
    answer,
    fru_errors,
    main_thread,
    published_paths,
    said,
    start_pending,
    start_to_subscription,
)

NO_ALTERNATIVE = "std::get: wrong index for variant"
CPLDS = [
    Cpld(PBB, 0, "0100", (1, 0, 0)),
    Cpld(PBB, 1, "0100", (1, 0, 0)),
    Cpld(PDB, 0, "0100", (1, 0, 0)),
    Cpld(FLOP, 0, "0010", (1, 0, 0)),
]
FIRST_SIGHT = [
    *start.versions_read(FLOP, CPLDS[-1]),
    *(line for cpld in CPLDS for line in start.published(cpld)),
]


def test_a_completion_after_a_false_one_publishes_once(world: World) -> None:
    mark = start_pending(world)
    world.fru_reader.complete(False)
    world.fru_reader.complete()
    world.fru_reader.complete()
    world.fru_reader.complete(False)
    world.wait_published()
    assert main_thread(world, mark) == [
        *start.fru_signal_seen(False),
        *FIRST_SIGHT,
        *start.fru_signal_seen(),
        *start.fru_signal_seen(),
        *start.fru_signal_seen(False),
    ]


def test_a_completion_seen_at_the_start_makes_later_signals_mere_lines(world: World) -> None:
    mark = start_to_subscription(world)
    world.fru_reader.complete()
    answer(world)
    assert main_thread(world, mark) == start.fru_signal_seen()


@pytest.fixture(scope="module")
def pending(build_shared_world: Callable[..., World]) -> World:
    """A service that waits for the FRU read, which its tests never let it see."""
    world = build_shared_world()
    start_pending(world)
    return world


@pytest.mark.parametrize(
    ("changed", "lines"),
    [
        ({}, []),
        ({"Other": Variant("b", True)}, []),
        ({"fruReadComplete": Variant("b", True)}, []),
        ({"FRUreadComplete2": Variant("b", True)}, []),
        ({"FRUreadComplete": Variant("b", False)}, start.fru_signal_seen(False)),
        ({"FRUreadComplete": Variant("q", 1)}, NO_ALTERNATIVE),
        ({"FRUreadComplete": Variant("q", 0)}, NO_ALTERNATIVE),
        ({"FRUreadComplete": Variant("s", "true")}, NO_ALTERNATIVE),
        ({"FRUreadComplete": Variant("i", 1)}, NO_ALTERNATIVE),
        ({"FRUreadComplete": Variant("ab", [True])}, NO_ALTERNATIVE),
        # Neighbours of any type in the same signal are nobody's business.
        (
            {"A": Variant("s", "x"), "FRUreadComplete": Variant("b", False)}
            | {"Z": Variant("a{sv}", {"z": Variant("x", -1)})},
            start.fru_signal_seen(False),
        ),
        ({"A": Variant("q", 1), "Z": Variant("d", 1.5)}, []),
        # Whatever else holds the name and wherever it stands, the exact one counts.
        (
            {"XFRUreadComplete": Variant("b", True), "FRUreadComplete": Variant("b", False)}
            | {"FRUreadComplete2": Variant("b", True), "AFRUreadComplete": Variant("s", "")},
            start.fru_signal_seen(False),
        ),
        ({"XFRUreadComplete": Variant("b", True), "FRUreadComplete2": Variant("q", 1)}, []),
    ],
)
def test_only_a_boolean_of_the_exact_name_counts(
    pending: World, changed: dict[str, Variant], lines: list[str] | str
) -> None:
    mark = pending.trace.mark()
    pending.fru_reader.announce(changed)
    if isinstance(lines, str):
        lines = [f"E frureadcompleteHandler : Exception: {lines}\n"]
    assert said(pending, mark) == lines
    assert pending.client.owner() is None


def test_the_interface_decides_not_the_path(pending: World) -> None:
    mark = pending.trace.mark()
    value = {"FRUreadComplete": Variant("b", False)}
    pending.fru_reader.announce(value, interface="com.vexa.bmc.mppd.other")
    assert said(pending, mark) == []
    pending.fru_reader.announce(value, path="/com/vexa/elsewhere")
    pending.fru_reader.announce(value, interface="com.vexa.bmc.mppd.pcardInfo.more")
    assert said(pending, mark) == start.fru_signal_seen(False) * 2


def test_a_signal_without_the_list_of_invalidated_properties_is_heard(pending: World) -> None:
    mark = pending.trace.mark()
    where = ("/com/vexa/bmc/mppd/info", names.PROPERTIES, "PropertiesChanged")
    changed = {"FRUreadComplete": Variant("b", False)}
    pending.fru_reader.signal(*where, "sa{sv}", "com.vexa.bmc.mppd.pcardInfo", changed)
    assert said(pending, mark) == start.fru_signal_seen(False)


def test_a_signal_of_other_arguments_is_an_exception_in_the_log(pending: World) -> None:
    mark = pending.trace.mark()
    where = ("/com/vexa/bmc/mppd/info", names.PROPERTIES, "PropertiesChanged")
    pending.fru_reader.signal(*where, "su", "com.vexa.bmc.mppd.pcardInfo", 1)
    (line,) = said(pending, mark)
    assert line.startswith("E frureadcompleteHandler : Exception: ")


READ_FAILED = "[Read_current_fruread_status] : Exception: "
BUSY = "org.example.Error.Busy"
NXIO = "System.Error.ENXIO"
NO_DEVICE = "No such device or address"
LATE = "org.freedesktop.DBus.Error.Timeout"
ABSENT = "org.freedesktop.DBus.Error.ServiceUnknown"
NOT_PROVIDED = "The name com.vexa.bmc.mppd was not provided by any .service files"


@pytest.mark.parametrize(
    ("reply", "text"),
    [
        (Failure(BUSY, "not now"), f"sd_bus_call: {BUSY}: not now {BUSY}\n"),
        (Reply("v", Variant("q", 1)), f"{NO_ALTERNATIVE} \n"),
        (Reply("v", Variant("s", "true")), f"{NO_ALTERNATIVE} \n"),
        (Reply("b", True), f"sd_bus_message_skip variant: {NXIO}: {NO_DEVICE} {NXIO}\n"),
        (Reply(), f"{NO_ALTERNATIVE} \n"),
        (Silence(), f"sd_bus_call: {LATE}: Connection timed out {LATE}\n"),
        (None, f"sd_bus_call: {ABSENT}: {NOT_PROVIDED} {ABSENT}\n"),
    ],
)
def test_an_unread_status_is_logged_and_a_later_signal_publishes(
    world: World, reply: Answer | None, text: str
) -> None:
    if reply is None:
        world.fru_reader.stop()
    else:
        world.fru_reader.once("Get", reply)
    start_to_subscription(world, environment=IMPATIENT)
    assert fru_errors(world) == [READ_FAILED + text]
    assert world.client.owner() is None
    world.fru_reader.start()
    world.fru_reader.complete()
    world.wait_published()
    assert published_paths(world) == all_paths()


# -- signals that the bus library takes for error replies: both watchers say so and no more 


FRU_READ = "frureadcompleteHandler : Message Error, Unable to read FrureadComplete\n"
POWER_STATE = "[internalPowerStateSignalCallback] : Message error\n"


def test_a_broken_signal_is_one_line_and_changes_nothing(
    world: World, find_double: FindDouble
) -> None:
    breaks = {"BUS_LIBRARY": "breaks signals"}
    mark = start_pending(world, preload=[find_double("bus_library")], environment=breaks)
    world.fru_reader.complete()
    assert said(world, mark) == [f"E {FRU_READ}"]
    world.fru_reader.announce({"Other": Variant("b", True)})
    assert said(world, mark) == [f"E {FRU_READ}"] * 2
    assert world.client.owner() is None

    mark = world.trace.mark()
    world.host_state.change("S5OnPending")
    assert said(world, mark) == [f"E {POWER_STATE}"]
    assert world.board.hold_line == 1
