"""The power-state watcher: when a pending power-on releases the hold line."""

from __future__ import annotations

from collections.abc import Callable

import pytest
from dbus_next import Variant
from expected import hold, start
from expected.power_state import CALLBACK, read, released
from tavrinsim import names
from tavrinsim.answers import Answer, Failure, Held, Latch, Reply, Silence
from tavrinsim.world import World
from watching import IMPATIENT, answer, main_thread, start_pending, start_to_subscription

READ = "[Read_current_internal_power_state]"
NO_ALTERNATIVE = "std::get: wrong index for variant"

PENDING = [
    "S5OnPending",
    "xyz.openbmc_project.Control.Host.InternalPowerState.S5OnPending",
    "S5OnPendingSoon",
    "before S5OnPending after",
]
NOT_PENDING = ["On", "s5onpending", "S5OnPendin", "S5 OnPending", "S5"]


def beginning(world: World) -> list[str]:
    """All that came before the version reads."""
    lines = main_thread(world)
    return lines[: lines.index(start.listed(names.PBB, 2)[0])]


@pytest.mark.parametrize("state", ["", *NOT_PENDING])
def test_a_start_in_another_state_leaves_the_line_alone(
    build_world: Callable[..., World], state: str
) -> None:
    world = build_world(power_state=state)
    start_to_subscription(world)
    assert beginning(world) == [*start.power_state_read(state), *start.power_state_watched()]
    assert world.board.hold_line == 1


@pytest.mark.parametrize("state", PENDING)
def test_a_start_with_a_pending_power_on_releases_the_line(
    build_world: Callable[..., World], state: str
) -> None:
    world = build_world(power_state=state)
    start_to_subscription(world)
    assert beginning(world) == [
        *start.power_state_read(state),
        *hold.whole(),
        f"T {READ} : Holds5 bit cleared successfully\n",
        *start.power_state_watched(),
    ]
    assert world.board.hold_line == 0


def test_a_line_that_cannot_be_released_at_the_start_gets_the_next_signal(
    build_world: Callable[..., World],
) -> None:
    world = build_world(power_state="S5OnPending")
    world.board.faults.hal_writes((7, 5), (7, 5))
    mark = start_to_subscription(world)
    error = hold.failed(7, "Input/output error")
    assert beginning(world) == [
        *start.power_state_read("S5OnPending"),
        *hold.begun(),
        *(hold.written(7, 5), error) * 2,
        *hold.released(),
        f"E {READ} : Failed to clear the host off bit\n",
        f"T {READ} Failed\n",
        *start.power_state_watched(),
    ]
    world.host_state.change("S5OnPending")
    assert heard(world, mark) == released("S5OnPending")
    assert world.board.hold_line == 0


NXIO = "System.Error.ENXIO"
NO_DEVICE = "No such device or address"
LATE = "org.freedesktop.DBus.Error.Timeout"
READ_FAILURES = [
    (
        Failure("org.example.Error.Busy", "later"),
        "sd_bus_call: org.example.Error.Busy: later org.example.Error.Busy",
    ),
    (Reply("v", Variant("b", True)), f"{NO_ALTERNATIVE} "),
    (Reply("v", Variant("u", 5)), f"{NO_ALTERNATIVE} "),
    # The right text, but in no variant, and no value at all.
    (Reply("s", "S5OnPending"), f"sd_bus_message_skip variant: {NXIO}: {NO_DEVICE} {NXIO}"),
    (Reply(), f"{NO_ALTERNATIVE} "),
    (Silence(), f"sd_bus_call: {LATE}: Connection timed out {LATE}"),
    (
        None,
        "sd_bus_call: org.freedesktop.DBus.Error.ServiceUnknown: "
        "The name xyz.openbmc_project.State.Host was not provided by any .service files "
        "org.freedesktop.DBus.Error.ServiceUnknown",
    ),
]


@pytest.mark.parametrize(("reply", "text"), READ_FAILURES)
def test_a_state_that_cannot_be_read_is_logged_and_watched_all_the_same(
    world: World, reply: Answer | None, text: str
) -> None:
    if reply is None:
        world.host_state.stop()
    else:
        world.host_state.once("Get", reply)
    mark = start_to_subscription(world, environment=IMPATIENT)
    assert beginning(world)[reply is not None :] == [
        f"E {READ} : Exception: {text}\n",
        f"T {READ} Failed\n",
        *start.power_state_watched(),
    ]
    world.host_state.start()
    world.host_state.change("S5OnPending")
    assert heard(world, mark) == released("S5OnPending")


# Signals ------------------------------------------------------------------------------


@pytest.fixture(scope="module")
def watching(build_shared_world: Callable[..., World]) -> World:
    """A service that its tests send signals to."""
    world = build_shared_world()
    start_pending(world)
    return world


def heard(world: World, mark: int) -> list[str]:
    """All that followed what the service was sent since `mark`."""
    answer(world)
    return main_thread(world, mark)


@pytest.mark.parametrize("state", PENDING)
def test_a_pending_power_on_releases_the_line_every_time(watching: World, state: str) -> None:
    mark = watching.trace.mark()
    for _ in range(2):
        watching.board.hold_line = 1
        watching.host_state.change(state)
        answer(watching)
        assert watching.board.hold_line == 0
    assert heard(watching, mark) == released(state) * 2


@pytest.mark.parametrize("state", ["", *NOT_PENDING])
def test_another_state_is_only_logged(watching: World, state: str) -> None:
    watching.board.hold_line = 1
    mark = watching.trace.mark()
    watching.host_state.change(state)
    assert heard(watching, mark) == read(state)
    assert watching.board.hold_line == 1


def test_a_line_that_cannot_be_released_is_told(watching: World) -> None:
    watching.board.hold_line = 1
    watching.board.faults.hal_writes((-1, 5), (3, 110))
    mark = watching.trace.mark()
    watching.host_state.change("S5OnPending")
    assert heard(watching, mark) == [
        *read("S5OnPending"),
        *hold.begun(),
        hold.written(-1, 5),
        hold.failed(-1, "Input/output error"),
        hold.written(3, 110),
        hold.failed(3, "Connection timed out"),
        *hold.released(),
        f"E {CALLBACK} : Failed to clear the host off bit\n",
    ]
    assert watching.board.hold_line == 1


ODD = f"E {CALLBACK} : exception: {NO_ALTERNATIVE}\n"


@pytest.mark.parametrize(
    ("changed", "lines"),
    [
        ({}, read()),
        ({"Other": Variant("s", "S5OnPending")}, read()),
        ({"internalpowerstate": Variant("s", "S5OnPending")}, read()),
        ({"OldInternalPowerState2": Variant("s", "S5OnPending")}, released("S5OnPending")),
        # Of several, the first in the order of their names counts, and no other.
        (
            {"Z.InternalPowerState": Variant("s", "S5OnPending")}
            | {"A.InternalPowerState": Variant("s", "Off")},
            read("Off"),
        ),
        (
            {"InternalPowerState": Variant("s", "Off")}
            | {"AInternalPowerState": Variant("s", "S5OnPending")},
            released("S5OnPending"),
        ),
        (
            {"AInternalPowerState": Variant("b", True)}
            | {"InternalPowerState": Variant("s", "S5OnPending")},
            [*read(), ODD],
        ),
        ({"InternalPowerState": Variant("b", True)}, [*read(), ODD]),
        ({"InternalPowerState": Variant("u", 5)}, [*read(), ODD]),
        ({"InternalPowerState": Variant("as", ["S5OnPending"])}, [*read(), ODD]),
        # Neighbours of any type in the same signal are nobody's business.
        (
            {"A": Variant("(ii)", [1, 2]), "InternalPowerState": Variant("s", "Off")}
            | {"Z": Variant("b", False)},
            read("Off"),
        ),
    ],
)
def test_the_first_name_that_holds_the_propertys_counts(
    watching: World, changed: dict[str, Variant], lines: list[str]
) -> None:
    mark = watching.trace.mark()
    watching.host_state.announce(changed)
    assert heard(watching, mark) == lines


def test_the_path_decides_not_the_interface(watching: World) -> None:
    state = {"InternalPowerState": Variant("s", "Off")}
    path = watching.host_state.path
    mark = watching.trace.mark()
    watching.host_state.announce(state, path=path.rpartition("/")[0])
    watching.host_state.announce(state, path=path + "2")
    assert heard(watching, mark) == []
    watching.host_state.announce(state, interface="com.example.Anything")
    watching.host_state.announce(state, path=path + "/below")
    assert heard(watching, mark) == read("Off") * 2


def test_a_signal_without_the_list_of_invalidated_properties_is_heard(watching: World) -> None:
    mark = watching.trace.mark()
    where = (watching.host_state.path, names.PROPERTIES, "PropertiesChanged")
    changed = {"InternalPowerState": Variant("s", "S5OnPending")}
    watching.host_state.signal(*where, "sa{sv}", "x", changed)
    assert heard(watching, mark) == released("S5OnPending")


def test_a_signal_of_other_arguments_is_an_exception_in_the_log(watching: World) -> None:
    mark = watching.trace.mark()
    where = (watching.host_state.path, names.PROPERTIES, "PropertiesChanged")
    watching.host_state.signal(*where, "u", 1)
    (first, second) = heard(watching, mark)
    assert first == read()[0]
    assert second.startswith(f"E {CALLBACK} : exception: ")


def test_a_signal_that_comes_while_the_start_waits_is_not_lost(world: World) -> None:
    latch = Latch()
    world.fru_reader.once("Get", Held(latch, Reply("v", Variant("b", False))))
    world.start()
    world.fru_reader.wait_for_calls("Get")
    world.host_state.change("S5OnPending")
    latch.open()
    # Nothing else reaches the service that could wake it.
    world.trace.wait_for(what="log", text=released("S5OnPending")[-1][2:])
    assert main_thread(world)[-len(released("S5OnPending")) :] == released("S5OnPending")
    assert world.board.hold_line == 0
