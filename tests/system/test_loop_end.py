"""An event loop that ends: what the service says, and what it takes off the bus."""

from __future__ import annotations

import pytest
from conftest import BuildWorld, FindDouble
from dbus_next import Variant
from expected import power_state, start
from expected.process_end import LINE_OF_EXCEPTION
from messages import sent, settled_mark
from support.sequence import logs, records
from tavrinsim.answers import Held, Latch, Reply
from tavrinsim.names import PBB, PDB
from tavrinsim.service import ServiceProcess
from tavrinsim.world import World

UNEXPECTED = "[main]: io.run() exited unexpectedly\n"
DESTROYED = "T [~Tavrinupdate] : DESTRUCTOR called\n"
EXITING = "T [main]: Exiting process ..."
# Each on one line, so that grep finds it.
# fmt: off
POWER_STATE_RULE = "type='signal',member='PropertiesChanged',path_namespace='/xyz/openbmc_project/control/host0/internal_power_state'"
FRU_READ_RULE = "type='signal',member='PropertiesChanged',interface='org.freedesktop.DBus.Properties',arg0namespace='com.vexa.bmc.mppd.pcardInfo'"
# fmt: on


def begin_to_end(
    world: World, find_double: FindDouble, how: str, thrown: str = "boost"
) -> ServiceProcess:
    """Starts a service whose loop ends."""
    double = find_double("throwing")
    return world.start(preload=[double], environment={"LOOP": how, "THROWN": thrown})


def end(world: World, find_double: FindDouble, how: str, thrown: str = "boost") -> int:
    """The exit status of a service whose loop ends."""
    return begin_to_end(world, find_double, how, thrown).wait()


@pytest.fixture
def bare(build_world: BuildWorld) -> World:
    """A controller without a CPLD, its FRU read pending: the shortest start."""
    return build_world(counts={"pbb": 0, "pdb": 0, "flop": 0}, fru_complete=False)


def started() -> list[str]:
    """The log lines of that start."""
    lines = [
        *start.power_state_read(),
        *start.power_state_watched(),
        *start.versions_read(PBB),
        *start.versions_read(PDB),
        *start.fru_status_read(False),
        *start.fru_read_watched(),
    ]
    return own(lines)


def own(lines: list[str]) -> list[str]:
    """The service's own log lines."""
    return [line for line in lines if line[:2] in ("E ", "T ")]


def test_a_loop_that_returns_is_told_before_all_is_destroyed(
    bare: World, find_double: FindDouble
) -> None:
    assert end(bare, find_double, "stopped") == 0
    expected = [*started(), f"E {UNEXPECTED}", DESTROYED, EXITING]
    assert logs(bare) == expected
    # Of the three last lines the file holds the first only.
    assert bare.log() == records(expected)
    assert bare.log().endswith(f" : {UNEXPECTED}")


@pytest.mark.parametrize(("thrown", "line"), LINE_OF_EXCEPTION)
def test_an_exception_out_of_the_running_loop_is_told_after_all_is_destroyed(
    bare: World, find_double: FindDouble, thrown: str, line: str
) -> None:
    assert end(bare, find_double, "failed", thrown) == 0
    error = f"E {line}"
    expected = [*started(), DESTROYED, error, EXITING]
    assert logs(bare) == expected
    assert bare.log() == records(expected)


def test_all_signals_that_come_while_the_start_waits_are_handled_before_the_loop_runs(
    bare: World, find_double: FindDouble
) -> None:
    latch = Latch()
    bare.fru_reader.once("Get", Held(latch, Reply("v", Variant("b", False))))
    process = begin_to_end(bare, find_double, "unused")
    bare.fru_reader.wait_for_calls("Get")
    mark = bare.trace.mark()
    for state in ("On", "S5OnPending"):
        bare.host_state.change(state)
        mark = wait_until_sent(bare, state, mark)
    latch.open()
    assert process.wait() == 0
    handled = own(logs(bare))[len(started()) : -3]
    assert handled == own([*power_state.read("On"), *power_state.released("S5OnPending")])


def wait_until_sent(world: World, state: str, mark: int) -> int:
    """Waits until the bus has a signal about the power state; the place in the trace behind it."""
    world.trace.wait_for(
        lambda line: state in str(line.get("body")),
        start=mark,
        what="bus",
        member="PropertiesChanged",
    )
    return world.trace.mark()


def test_a_loop_that_cannot_be_made_ends_the_service_before_it_is_on_the_bus(
    bare: World, find_double: FindDouble
) -> None:
    assert end(bare, find_double, "unmade") == 0
    error = "E [main] : I/OException: epoll: Too many open files\n"
    assert logs(bare) == [error, EXITING]
    assert bare.log() == records([error])


def test_subscriptions_go_first_and_then_the_cplds_one_interface_after_the_other(
    world: World, find_double: FindDouble
) -> None:
    mark = settled_mark(world)
    assert end(world, find_double, "stopped") == 0
    settled_mark(world)
    said = sent(world, mark)[0]
    last = said[said.index(f"AddMatch({FRU_READ_RULE})") + 1 :]
    assert last[:2] == [f"RemoveMatch({POWER_STATE_RULE})", f"RemoveMatch({FRU_READ_RULE})"]
    cplds = [last[at : at + 4] for at in range(2, len(last), 4)]
    assert sorted(cplds) == [
        removed("FLOP_1"),
        removed("PBB_PLD_1"),
        removed("PBB_PLD_2"),
        removed("PDB_PLD_1"),
    ]


def removed(name: str) -> list[str]:
    """What is said of one CPLD: an interface still lists itself when it goes."""
    return [
        f"{name} removed: BaseSwInventory, TavrinInventory, "
        "comp_mprop_dri_registration, comp_update",
        f"{name} removed: BaseSwInventory, comp_mprop_dri_registration, comp_update",
        f"{name} removed: comp_mprop_dri_registration, comp_update",
        f"{name} removed: comp_update",
    ]
