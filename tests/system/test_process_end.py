"""The end of the process: always with status 0, and with lines that say why."""

from __future__ import annotations

import signal

import pytest
from conftest import BuildWorld, FindDouble
from expected import start
from expected.process_end import LINE_OF_EXCEPTION
from support.sequence import job_sequence, logs, records, sequence
from tavrinsim.answers import Silence
from tavrinsim.coordinator import REGISTER
from tavrinsim.names import PBB, PDB
from tavrinsim.world import World

DESTROYED = "T [~Tavrinupdate] : DESTRUCTOR called\n"
EXITING = "T [main]: Exiting process ..."

BUS_GONE = (
    "[main] : DBus Exception: sd_bus_process discard: "
    "org.freedesktop.DBus.Error.Disconnected: Connection reset by peer\n"
)
NO_MEMORY = "org.freedesktop.DBus.Error.NoMemory: Cannot allocate memory"


def test_without_a_bus_the_service_says_so_and_ends(world: World) -> None:
    assert world.start(bus=False).wait() == 0
    (error, last) = logs(world)
    assert error.startswith("E [main] : DBus Exception: ")
    assert error.endswith(
        "org.freedesktop.DBus.Error.FileNotFound: No such file or directory\n"
    )
    assert last == EXITING
    assert world.log() == f"0 : {error[2:]}"


def test_when_the_bus_goes_away_the_service_ends(service: World) -> None:
    assert service.service is not None
    mark, size = service.trace.mark(), len(service.log())
    service.bus.stop()
    assert service.service.wait() == 0
    assert logs(service, mark) == [DESTROYED, f"E {BUS_GONE}", EXITING]
    assert service.log()[size:] == f"{size} : {BUS_GONE}"


def test_a_running_update_is_not_waited_for(service: World) -> None:
    gate = service.board.faults.gate()
    service.board.faults.programming(pause_at=5, gate=gate)
    job = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    assert service.coordinator.update(job) == 0
    gate.wait_reached()
    assert service.service is not None
    mark, size = service.trace.mark(), len(service.log())
    service.bus.stop()
    assert service.service.wait() == 0
    own = sequence(service, mark, tid=service.service.pid)
    assert own == [DESTROYED, f"E {BUS_GONE}", EXITING]
    assert service.log()[size:] == f"{size} : {BUS_GONE}"


def test_a_running_registration_is_not_waited_for(world: World) -> None:
    world.coordinator.always(REGISTER, Silence())
    process = world.start()
    world.coordinator.wait_registered(1)
    mark = world.trace.mark()
    world.bus.stop()
    assert process.wait() == 0
    # Of the other thread's failure there may be lines between these.
    assert sequence(world, mark, tid=process.pid) == [DESTROYED, f"E {BUS_GONE}", EXITING]


@pytest.mark.parametrize("interface", [1, 2, 3, 4])
def test_an_interface_that_cannot_be_added_ends_the_service(
    world: World, find_double: FindDouble, interface: int
) -> None:
    refusal = {"BUS_LIBRARY": "refuses", "REFUSED": "sd_bus_add_object_vtable", "REFUSED_CALL": str(interface)}
    process = world.start(preload=[find_double("bus_library")], environment=refusal)
    assert process.wait() == 0
    error = f"[main] : DBus Exception: sd_bus_add_object_vtable: {NO_MEMORY}\n"
    assert logs(world) == [f"E {error}", EXITING]
    assert world.log() == f"0 : {error}"


@pytest.mark.parametrize(
    ("rule", "before"),
    [
        (
            "/xyz/openbmc_project/control/host0/internal_power_state",
            [*start.power_state_read(), start.power_state_watched()[0]],
        ),
        (
            "com.vexa.bmc.mppd.pcardInfo",
            [
                *start.power_state_read(),
                *start.power_state_watched(),
                *start.versions_read(PBB),
                *start.versions_read(PDB),
                *start.fru_status_read(False),
                start.fru_read_watched()[0],
            ],
        ),
    ],
    ids=["power state", "FRU read"],
)
def test_a_subscription_that_cannot_be_made_ends_the_service(
    build_world: BuildWorld, find_double: FindDouble, rule: str, before: list[str]
) -> None:
    world = build_world(counts={"pbb": 0, "pdb": 0, "flop": 0}, fru_complete=False)
    refusal = {"BUS_LIBRARY": "refuses", "REFUSED_RULE": rule}
    process = world.start(preload=[find_double("bus_library")], environment=refusal)
    assert process.wait() == 0
    error = f"E [main] : DBus Exception: sd_bus_match: {NO_MEMORY}\n"
    expected = [*before, DESTROYED, error, EXITING]
    assert sequence(world) == expected
    assert world.log() == records(expected)


@pytest.mark.parametrize(("thrown", "line"), LINE_OF_EXCEPTION)
def test_each_kind_of_exception_has_its_line(
    world: World, find_double: FindDouble, thrown: str, line: str
) -> None:
    process = world.start(
        preload=[find_double("throwing")], environment={"LOOP": "whole", "THROWN": thrown}
    )
    assert process.wait() == 0
    assert logs(world) == [
        *start.power_state_read()[1:],
        *start.power_state_watched(),
        "T [readCpldVersion] : Inventory collection started for PBB_PLD",
        DESTROYED,  # before the line about the exception: everything is gone by then
        f"E {line}",
        EXITING,
    ]
    assert world.log() == f"0 : {line}"


def test_what_is_no_exception_of_a_known_kind_is_not_caught(
    world: World, find_double: FindDouble
) -> None:
    double = find_double("throwing")
    process = world.start(preload=[double], environment={"LOOP": "whole", "THROWN": "number"})
    assert process.wait() == -signal.SIGABRT
    assert EXITING not in logs(world)


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_a_signal_ends_the_service_at_once(service: World, number: int) -> None:
    before, mark = service.log(), service.trace.mark()
    assert service.stop(number) == -number
    assert job_sequence(service, mark) == []
    assert service.log() == before
