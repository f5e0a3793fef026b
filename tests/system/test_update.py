"""A healthy update, end to end, and what nobody does meanwhile."""

from __future__ import annotations

import pytest
from dbus_next import Variant
from expected import intake, interfaces, ports, worker
from support.jobs import HEALTHY, followed, run, scan_blocked, unmark, update, wait_until
from support.sequence import coordinator_traffic
from tavrinsim import names
from tavrinsim.answers import Latch
from tavrinsim.job import Report
from tavrinsim.names import split_fqdd
from tavrinsim.trace import Line
from tavrinsim.world import World
from watching import answer, wait_for_calls

COUNTS = {"pbb": 2, "pdb": 1, "flop": 1}


def inventory(world: World) -> dict[str, str]:
    """The versions that the objects of all CPLDs publish."""
    shown = {}
    for path, objects in world.client.managed_objects().items():
        properties = objects[names.TAVRIN_INVENTORY]
        shown[path.rpartition("/")[2]] = properties["InstalledVersionString"].value
    return shown


@pytest.mark.parametrize("fqdd", ["PBBCPLD.Embedded.2", "PDBCPLD.Embedded.1"])
def test_a_pbb_or_pdb_is_unlocked_programmed_and_locked_again(
    service: World, fqdd: str
) -> None:
    kind = split_fqdd(fqdd)[0].name
    device = service.board.device_of(fqdd)
    done = run(service, fqdd, service.payload(kind, "2.3.4"))
    assert done.result == 0
    assert done.steps == [
        *intake.started(done.job, COUNTS[kind]),
        *ports.unlocked(device, COUNTS[kind]),
        *intake.worker_started(done.job),
        *worker.programmed(done.job),
        *ports.locked(device, COUNTS[kind]),
        *worker.succeeded(done.job),
    ]
    assert (device.version, device.image_state, device.port_open) == ("2.3.4", "valid", False)


def test_a_flop_is_enabled_programmed_and_disabled_again(service: World) -> None:
    device = service.board.device("flop")
    done = update(service, "flop")
    assert done.result == 0
    assert done.steps == [
        *intake.started(done.job, 1),
        *ports.enabled(device),
        *intake.worker_started(done.job),
        *worker.programmed(done.job),
        *ports.disabled(device),
        *worker.succeeded(done.job),
    ]
    assert (device.version, device.image_state, device.port_open) == ("2.3.4", "valid", False)


def test_the_start_is_reported_before_the_call_is_answered(service: World) -> None:
    gate = service.board.faults.gate()
    service.board.faults.programming(pause_at=0, gate=gate)
    start = service.trace.mark()
    job = service.job("PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    with followed(service, job) as done:
        assert service.coordinator.update(job) == 0
        service.trace.wait_for(start=start, what="bus", type="method_return", body=[0])
        assert coordinator_traffic(service, start) == [
            f"PBB_PLD_1.Set({names.COMP_UPDATE}, Jobid, JID_1)",
            "method_return()",
            f"PBB_PLD_1.Set({names.COMP_UPDATE}, Component_id, 114678)",
            "method_return()",
            f"PBB_PLD_1.Set({names.COMP_UPDATE}, Resource_URI, {job.directory})",
            "method_return()",
            f"PBB_PLD_1.CompFirmwareUpdate({job.fqdd}, {job.transaction})",
            f"cmnfwupd.cmnfwupd_fw_update_status({job.fqdd}, 4, {job.transaction}, 0)",
            "method_return(0)",
        ]
        gate.open()
    assert done.progress == HEALTHY
    # Each over a connection of its own, none over the service's.
    senders = {report.sender for report in service.coordinator.reports}
    assert len(senders) == len(done.reports)
    assert service.client.owner() not in senders


def test_the_inventory_shows_the_new_version_after_a_restart_only(service: World) -> None:
    before = inventory(service)
    update(service, "pdb", version="7.8.9")
    assert inventory(service) == before
    service.restart()
    service.wait_published()
    assert service.board.device("pdb").version == "7.8.9"
    assert inventory(service) == before | {"PDB_PLD_1": "7.8.9"}


def test_only_the_updated_cpld_is_marked_and_no_property_goes_back(service: World) -> None:
    everybody = [
        "PBBCPLD.Embedded.1",
        "PBBCPLD.Embedded.2",
        "PDBCPLD.Embedded.1",
        "CPLD.IOBay.1",
    ]
    assert [scan_blocked(service, fqdd) for fqdd in everybody] == [False] * 4
    update(service, "pbb", 2)
    assert [scan_blocked(service, fqdd) for fqdd in everybody] == [False, True, False, False]


def test_the_mark_is_set_at_the_start_and_once_more_at_the_end(service: World) -> None:
    gate = service.board.faults.gate()
    service.board.faults.programming(pause_at=5, gate=gate)
    latch = Latch()

    async def hold_last(report: Report) -> None:
        if report.final:
            await latch.passed()

    service.coordinator.on_report = hold_last
    job = service.job("PDBCPLD.Embedded.1", service.payload("pdb", "2.3.4"))
    with followed(service, job):
        assert service.coordinator.update(job) == 0
        gate.wait_reached()
        assert scan_blocked(service, job.fqdd)
        unmark(service, job.fqdd)
        gate.open()
        service.coordinator.wait_outcome(job.transaction)
        assert not scan_blocked(service, job.fqdd)
        latch.open()
    wait_until(lambda: scan_blocked(service, job.fqdd), "the mark is set again")


def test_one_update_follows_another(service: World) -> None:
    done = [update(service, kind) for kind in ("flop", "pbb", "pdb")]
    assert [outcome.progress[-1] for outcome in done] == [(28, 100)] * 3
    versions = [device.version for device in service.board.devices]
    assert versions == ["2.3.4", "1.0.0", "2.3.4", "2.3.4"]  # the second PBB had no job


# -- what is asked for meanwhile -------------------------------------------------------


HANDS = ("open", "transfer", "close")


def ask_for_everything(world: World) -> None:
    """All that may reach the service while it updates."""
    for path in world.client.managed_objects():
        for interface in interfaces.ALL:
            world.client.get_all(path, interface)
        world.client.set(path, names.COMP_UPDATE, "Timeout", Variant("u", 60))
    for device in world.board.devices:
        directory = world.payload(device.kind.name, "9.9.9")
        assert run(world, device.fqdd, directory).result == 1
    for complete in (False, True):
        world.fru_reader.complete(complete)
    for state in ("On", "S5OnPending"):
        world.host_state.change(state)
    world.coordinator.ask_for_registrations()
    wait_for_calls(world, 8)
    answer(world)


def between(world: World, begin: str, end: str) -> list[Line]:
    """The trace between two of the programming library's lines."""
    calls = ["cpldfwupdate." + name for name in (begin, end)]
    lines = world.trace.lines()
    first, last = (
        next(place for place, line in enumerate(lines) if line.get("name") == call)
        for call in calls
    )
    return lines[first : last + 1]


@pytest.mark.parametrize("kind", names.KINDS)
def test_nothing_touches_a_cpld_while_one_is_programmed(service: World, kind: str) -> None:
    wait_for_calls(service, 4)
    gate = service.board.faults.gate()
    service.board.faults.programming(pause_at=5, gate=gate)
    job = service.job(service.board.device(kind).fqdd, service.payload(kind, "2.3.4"))
    with followed(service, job) as done:
        assert service.coordinator.update(job) == 0
        gate.wait_reached()
        assert service.board.hold_line == 1
        ask_for_everything(service)
        # The hold line is no CPLD: a pending power-on releases it, with half an image in the CPLD.
        assert service.board.hold_line == 0
        assert service.board.device(kind).image_state == "writing"
        gate.open()
    assert done.progress[-1] == (28, 100)
    programming = between(service, "construct", "finish")
    # What was asked for came in this time, and left no trace on any device.
    assert [line for line in programming if line.get("member") == "cmnupdateregsignal"] != []
    assert [line for line in programming if line["what"] in HANDS] == []
    events = {line["event"] for line in programming if line["what"] == "device"}
    assert events == {"erased", "complete"}
