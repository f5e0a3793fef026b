"""What is read of a board: the versions at a start, and a description that changes while the service runs."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import pytest
from expected import ports, start
from expected.start import Cpld
from support.jobs import Outcome, followed, update
from tavrinsim import names
from tavrinsim.coordinator import Report
from tavrinsim.names import FLOP, PBB, PDB
from tavrinsim.world import World
from watching import main_thread, published_paths, registered_paths, start_pending

PBB_1 = Cpld(PBB, 0, "0100", (1, 0, 0))
PDB_1 = Cpld(PDB, 0, "0100", (1, 0, 0))
EIO = (5, "Input/output error")


def read_at_start(world: World) -> list[str]:
    """All between the two subscriptions of a start with the FRU read pending."""
    start_pending(world)
    lines = main_thread(world)
    first = lines.index(start.power_state_watched()[-1]) + 1
    return lines[first : lines.index(start.FRU_READ_ASKED)]


@pytest.mark.parametrize(
    ("kind", "registers", "version"),
    [
        # What stands in the half byte that is left out changes nothing.
        (PBB, "0000", "0.0.0"),
        (PBB, "2103", "1.2.3"),
        (PBB, "21f3", "1.2.3"),
        (PBB, "ffff", "15.15.15"),
        (PDB, "c0a9", "0.12.9"),
        (PDB, "0c9a", "12.0.10"),
        (FLOP, "0000", "0.0.0"),
        (FLOP, "2310", "1.2.3"),
        (FLOP, "231f", "1.2.3"),
        (FLOP, "5a3f", "3.5.10"),
        (FLOP, "ffff", "15.15.15"),
    ],
)
def test_the_registers_of_each_kind_make_its_version(
    world: World, kind: names.Kind, registers: str, version: str
) -> None:
    at = int(start.VERSION_REGISTERS[kind], 16)
    world.board.device(kind).registers[at : at + 2] = bytes.fromhex(registers)
    world.start()
    shown = world.wait_published()[kind.object_path(1)]
    assert shown[names.TAVRIN_INVENTORY]["InstalledVersionString"].value == version
    assert shown[names.BASE_INVENTORY]["InstalledVersionString"].value == version


def test_a_kind_without_cplds_is_complete(build_world: Callable[..., World]) -> None:
    world = build_world(counts={"pbb": 0, "pdb": 1, "flop": 1})
    assert read_at_start(world) == [
        *start.versions_read(PBB),
        *start.versions_read(PDB, PDB_1),
    ]
    world.fru_reader.complete()
    world.wait_published()
    assert published_paths(world) == [FLOP.object_path(1), PDB.object_path(1)]


def test_a_read_that_fails_three_times_closes_the_device_and_ends_its_kind(
    world: World,
) -> None:
    device = world.board.device(PBB)
    world.board.faults.transfer(device, errno=EIO[0])
    assert read_at_start(world) == [
        *start.listed(PBB, 2),
        *start.opened(PBB_1),
        *ports.failed_read(device, 0, 2, *EIO),
        "E [readCpldVersion] : Failed to read PBB_PLD[0] version for inventory\n",
        "close PBB_PLD[0]",
        *start.versions_read(PDB, PDB_1),
    ]


# -- a platform description that names other CPLDs while the service runs --------------


FIRST, SECOND = "PBBCPLD.Embedded.1", "PBBCPLD.Embedded.2"


def list_one_pbb(world: World, **when: Any) -> None:
    """The description names one of the two PBBs only; `when` as for every fault."""
    world.board.faults.parser(PBB, count=1, paths=[world.board.device("pbb").path], **when)


def update_second_inside_last_report_of_first(world: World) -> Outcome:
    """Updates both PBBs; the second job comes before the first one's last report is answered."""
    first = world.job(FIRST, world.payload("pbb", "2.3.4"))
    second = world.job(SECOND, world.payload("pbb", "3.4.5"))
    results: list[int] = []

    async def send_second(report: Report) -> None:
        if report.final and report.transaction == first.transaction:
            results.append(await world.coordinator.update_async(second))

    world.coordinator.on_report = send_second
    with followed(world, second) as done:
        assert world.coordinator.update(first) == 0
        assert world.coordinator.wait_outcome(first.transaction).status == 28
        world.coordinator.wait_outcome(second.transaction)
    world.coordinator.on_report = None
    (done.result,) = results
    return done


def test_a_device_that_is_gone_when_a_port_is_closed_is_refused_at_once(service: World) -> None:
    list_one_pbb(service, after=1)  # the opening still sees both
    done = update_second_inside_last_report_of_first(service)
    assert (done.result, done.progress) == (1, [(18, 0)])
    assert f"[TavrinUpdateStart]: Incorrect FQDD: {SECOND}\n" in done.errors
    assert service.board.device("pbb", 1).version == "1.0.0"
    assert update(service, "pbb").progress[-1] == (28, 100)


def test_a_device_that_is_back_when_a_port_is_closed_is_updated_at_once(service: World) -> None:
    list_one_pbb(service, times=1)  # the opening sees one
    done = update_second_inside_last_report_of_first(service)
    assert (done.result, done.progress[-1]) == (0, (28, 100))
    assert service.board.device("pbb", 1).version == "3.4.5"


def test_a_registration_asked_for_anew_goes_by_the_count_of_the_last_port_operation(
    service: World,
) -> None:
    every = [PBB.object_path(1), PBB.object_path(2), PDB.object_path(1), FLOP.object_path(1)]
    without_second = [path for path in every if path != PBB.object_path(2)]
    service.coordinator.wait_registered(4)
    list_one_pbb(service, after=1)
    assert update(service, "pbb").progress[-1] == (28, 100)
    service.coordinator.ask_for_registrations()
    service.coordinator.wait_registered(7)
    service.board.faults.clear()
    assert update(service, "pbb").progress[-1] == (28, 100)
    service.coordinator.ask_for_registrations()
    service.coordinator.wait_registered(11)
    assert registered_paths(service) == [*every, *without_second, *every]
