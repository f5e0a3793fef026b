"""What the service makes of an update call: device, job, refusals without a report."""

from __future__ import annotations

import pytest
from dbus_next import Variant
from expected import intake, ports
from support.jobs import followed, refuse_to_open_ports, run, run_job
from support.sequence import job_sequence
from tavrinsim import names
from tavrinsim.answers import INVALID_ARGS
from tavrinsim.connection import BusError
from tavrinsim.names import PBB, PDB
from tavrinsim.world import World

NO_DEVICE = [
    "",
    "1",
    "99999999999999999999",
    ".",
    ".1",
    "PBBCPLD.Embedded",
    "PBBCPLD.Embedded1",
    "pbbcpld.embedded.1",
    " PBBCPLD.Embedded.1",
    "PBBCPLD.Embedded.one",
    "PBBCPLD.Embedded.1x",
    "PBBCPLD.Embedded. 1",
    "PBBCPLD.Embedded.1 ",
    "PBBCPLD.Embedded.+1",
    "PBBCPLD.Embedded.-1",
    "PBBCPLD.Embedded.-99999999999",
    "PBBCPLD.Embedded..1",
    "PBBCPLD.Embedded.1.",
    "PBBCPLD.Embedded.0",
    "PBBCPLD.Embedded.3",
    "PBBCPLD.Embedded.257",
    "PBBCPLD.Embedded.2147483647",
    "PDBCPLD.Embedded.2",
    "CPLD.IOBay",
    "CPLD.IOBay.1.1",
    "CPLD.IOBay.2",
    "FLOP.1",
    "%s%n%d",
]


def mismatch(component: int) -> str:
    """The refusal of a component number that no kind has."""
    one_of = "Component ID mismatch, expected 112102, 114678, or 114747 but it is"
    return f"[TavrinUpdateStart] : Unable to start update. {one_of}: {component}"


def test_an_fqdd_without_a_device_is_refused_and_not_reported(service: World) -> None:
    place = {"component_id": PBB.component_id, "path": PBB.object_path(1)}
    done = {fqdd: run(service, fqdd, "/", **place) for fqdd in NO_DEVICE}
    assert {fqdd: outcome.result for fqdd, outcome in done.items()} == dict.fromkeys(
        NO_DEVICE, 1
    )
    assert {fqdd: outcome.steps for fqdd, outcome in done.items()} == {
        fqdd: [*intake.entered(), f"E [flop_update_handler]: Incorrect FQDD={fqdd}\n"]
        for fqdd in NO_DEVICE
    }
    assert service.coordinator.reports == []


@pytest.mark.parametrize("number", ["2147483648", "4294967297", "99999999999999999999"])
def test_a_device_number_out_of_range_is_an_error_reply(
    shared_service: World, number: str
) -> None:
    start = shared_service.trace.mark()
    with pytest.raises(BusError) as error:
        shared_service.coordinator.request(PBB.object_path(1), f"PBBCPLD.Embedded.{number}", 7)
    assert (error.value.name, error.value.text) == (INVALID_ARGS, "stoi")
    assert job_sequence(shared_service, start) == intake.entered()
    assert run(shared_service, "PBBCPLD.Embedded.1", "/").progress == [(18, 0)]


@pytest.mark.parametrize(
    "fqdd",
    ["PBBCPLD.Embedded.", "PBBCPLD.Embedded.01", "PBBCPLD.Embedded.00000000000000000001"],
)
def test_no_number_and_leading_zeroes_both_mean_the_first_device(
    shared_service: World, fqdd: str
) -> None:
    folder = shared_service.payload_folder()
    job = shared_service.job(
        fqdd, folder, component_id=PBB.component_id, path=PBB.object_path(1)
    )
    done = run_job(shared_service, job)
    assert done.result == 1
    assert done.steps == [
        *intake.taken(job),
        "T [TavrinUpdateStart]:count=2 str= device_name=PBB_PLD",
        *intake.refused(
            job, f"[TavrinUpdateStart] : No valid payload file found in directory: {folder}"
        ),
    ]


def test_the_job_is_read_from_the_device_that_the_fqdd_names(shared_service: World) -> None:
    elsewhere = shared_service.job("PDBCPLD.Embedded.1", shared_service.payload_folder())
    run_job(shared_service, elsewhere)
    named = shared_service.job(
        "PBBCPLD.Embedded.2", shared_service.payload_folder(), job_id="JID_2"
    )
    run_job(shared_service, named)
    with followed(shared_service, named) as done:
        done.result = shared_service.coordinator.request(
            PDB.object_path(1), named.fqdd, named.transaction
        )
    assert done.result == 1
    assert done.steps == [
        *intake.device_found(named, 2),
        *intake.refused(
            named,
            f"[TavrinUpdateStart] : No valid payload file found in directory: {named.directory}",
        ),
    ]


def test_properties_set_all_at_once_do_not_reach_the_device(service: World) -> None:
    values = {
        "Jobid": Variant("s", "JID_9"),
        "Component_id": Variant("u", PBB.component_id),
        "Resource_URI": Variant("s", "/nowhere"),
    }
    path = PBB.object_path(1)
    arguments = ("SetAllProperties", "a{sv}", values)
    assert service.client.call(names.SERVICE, path, names.COMP_UPDATE, *arguments) == [0]
    job = service.job("PBBCPLD.Embedded.1", "", component_id=0, job_id="", transaction=5)
    with followed(service, job) as done:
        done.result = service.coordinator.request(path, job.fqdd, job.transaction)
    assert done.result == 1
    assert done.steps == [*intake.taken(job), *intake.refused(job, mismatch(0))]
    assert done.progress == [(18, 0)]


def test_numbers_are_logged_signed_and_reported_unsigned(shared_service: World) -> None:
    largest = 0xFFFFFFFF
    job = shared_service.job("CPLD.IOBay.1", "/x", component_id=largest, transaction=largest)
    done = run_job(shared_service, job)
    assert " Transaction ID -1" in [step[2:] for step in done.steps]
    assert " Comp ID -1" in [step[2:] for step in done.steps]
    assert done.errors == [f"{mismatch(-1)}\n"]
    assert done.reports == [("CPLD.IOBay.1", 18, largest, 0)]


def test_what_the_coordinator_writes_is_never_taken_for_a_format(shared_service: World) -> None:
    folder = shared_service.payload_folder() / "%s%n%d"
    done = run(shared_service, "PBBCPLD.Embedded.1", folder, job_id="%n%s")
    assert done.steps == [
        *intake.device_found(done.job, 2),
        *intake.refused(done.job, f"[TavrinUpdateStart] : Directory not found: {folder}"),
    ]


def test_a_component_number_of_another_kind_chooses_keys_and_port_but_not_the_device(
    service: World,
) -> None:
    device = service.board.device("pbb")
    job = service.job(
        device.fqdd,
        service.payload_of(service.signed("flop", "2.3.4")),
        component_id=intake.FLOP,
    )
    refuse_to_open_ports(service)
    done = run_job(service, job)
    assert done.result == 1
    assert done.steps == [
        *intake.started(job, 2),
        *(line.replace(ports.LOCKED, ports.FLOP) for line in ports.not_described(device, 2)),
        *intake.port_not_opened(job),
    ]
