"""A platform description that names other CPLDs while the service runs."""

from __future__ import annotations

from typing import Any

from support.jobs import Outcome, followed, update
from tavrinsim.coordinator import Report
from tavrinsim.names import FLOP, PBB, PDB
from tavrinsim.world import World
from watching import registered_paths

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
