"""Jobs that are refused: one final report, and no CPLD was so much as looked at."""

from __future__ import annotations

import os
from collections.abc import Callable
from pathlib import Path

import pytest
from expected import intake, ports, worker
from support.jobs import Outcome, break_library, run, scan_blocked
from support.sequence import job_sequence
from tavrinsim import payload
from tavrinsim.connection import BusError
from tavrinsim.names import KINDS, PBB
from tavrinsim.world import World

START = "[TavrinUpdateStart]"
UNABLE = f"{START} : Unable to start update."
FAILED = "org.freedesktop.DBus.Error.Failed"


def assert_refused(world: World, done: Outcome, expected: list[str]) -> None:
    """The whole sequence, the one report, and that nothing else happened to the CPLD."""
    job = done.job
    assert done.result == 1
    assert done.steps == expected
    assert done.reports == [(job.fqdd, 18, job.transaction, 0)]
    assert done.touched == []
    assert not scan_blocked(world, job.fqdd)


@pytest.mark.parametrize("fqdd", ["PBBCPLD.Embedded.2", "PDBCPLD.Embedded.1", "CPLD.IOBay.1"])
def test_an_unknown_component_number_is_refused(shared_service: World, fqdd: str) -> None:
    expected = f"{UNABLE} Component ID mismatch, expected 112102, 114678, or 114747 but it is: "
    directory = shared_service.payload("pbb", "2.3.4")
    for component in (0, 1, 114677, 112103):
        done = run(shared_service, fqdd, directory, component_id=component)
        refusal = intake.refused(done.job, f"{expected}{component}")
        assert_refused(shared_service, done, [*intake.taken(done.job), *refusal])


@pytest.mark.parametrize("count", [0, 1])
def test_a_device_that_the_platform_lists_no_more_is_refused(
    service: World, count: int
) -> None:
    service.board.faults.parser(PBB, count=count)
    break_library(service)
    first = run(service, "PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    assert first.result == 0  # its port control has read the new count
    done = run(service, "PBBCPLD.Embedded.2", service.payload("pbb", "2.3.4"))
    message = f"{START}: Incorrect FQDD: PBBCPLD.Embedded.2"
    assert_refused(service, done, [*intake.taken(done.job), *intake.refused(done.job, message)])


def missing(world: World) -> Path:
    """Nothing is there."""
    return world.payload_folder() / "missing"


def file(world: World) -> Path:
    """The payload itself instead of its directory."""
    return world.payload("pbb", "2.3.4") / "firmware.payload"


def below_file(world: World) -> Path:
    """A path that goes through a file."""
    return file(world) / "payloads"


def dangling_link(world: World) -> Path:
    """A link to nothing."""
    link = world.payload_folder() / "link"
    link.symlink_to("nowhere")
    return link


def empty(_: World) -> str:
    """No path at all."""
    return ""


@pytest.mark.parametrize("place", [missing, file, below_file, dangling_link, empty])
def test_what_is_no_directory_is_refused(
    shared_service: World, place: Callable[[World], Path | str]
) -> None:
    done = run(shared_service, "PBBCPLD.Embedded.1", place(shared_service))
    message = f"{START} : Directory not found: {done.job.directory}"
    assert_refused(
        shared_service,
        done,
        [*intake.device_found(done.job, 2), *intake.refused(done.job, message)],
    )


@pytest.mark.parametrize("kind", KINDS)
def test_a_directory_without_payload_is_refused(shared_service: World, kind: str) -> None:
    done = run(shared_service, KINDS[kind].fqdd(1), shared_service.payload_folder())
    count = shared_service.setting.counts[kind]
    message = f"{START} : No valid payload file found in directory: {done.job.directory}"
    assert_refused(
        shared_service,
        done,
        [*intake.device_found(done.job, count), *intake.refused(done.job, message)],
    )


@pytest.mark.parametrize("kind", KINDS)
def test_a_payload_with_one_flipped_bit_is_refused(shared_service: World, kind: str) -> None:
    forged = payload.flip(shared_service.signed(kind, "2.3.4"), offset=1000)
    done = run(shared_service, KINDS[kind].fqdd(1), shared_service.payload_of(forged))
    assert_refused(
        shared_service,
        done,
        [
            *intake.payload_found(done.job, shared_service.setting.counts[kind]),
            *intake.key_chosen(KINDS[kind].component_id),
            "E [verifySignature] : Error in signature verification\n",
            *intake.refused(done.job, f"{UNABLE} Failed to verify Payload signature"),
        ],
    )


def link_to_itself(world: World) -> tuple[Path, str]:
    """A link that leads nowhere for ever."""
    link = world.payload_folder() / "loop"
    link.symlink_to(link)
    return link, f"status: Too many levels of symbolic links [{link}]"


def name_too_long(world: World) -> tuple[Path, str]:
    """A name that no file system takes."""
    path = world.payload_folder() / ("x" * 256)
    return path, f"status: File name too long [{path}]"


def name_beyond_ascii(world: World) -> tuple[Path, str]:
    """The reply takes the name as it is."""
    link = world.payload_folder() / "größe"
    link.symlink_to(link)
    return link, f"status: Too many levels of symbolic links [{link}]"


def entry_beyond_utf8(world: World) -> tuple[Path, str]:
    """No reply takes the name of what is in there."""
    folder = world.payload_folder() / "größe"
    folder.mkdir()
    entry = folder / os.fsdecode("größe".encode("latin-1"))
    entry.symlink_to(entry)
    return folder, f"status: Too many levels of symbolic links [{folder}/gr??e]"


@pytest.mark.parametrize(
    "place", [link_to_itself, name_too_long, name_beyond_ascii, entry_beyond_utf8]
)
def test_a_path_that_cannot_be_looked_at_is_an_error_reply_and_no_report(
    shared_service: World, place: Callable[[World], tuple[Path, str]]
) -> None:
    path, text = place(shared_service)
    start = shared_service.trace.mark()
    job = shared_service.job("PBBCPLD.Embedded.1", path)
    with pytest.raises(BusError) as error:
        shared_service.coordinator.update(job)
    assert (error.value.name, error.value.text) == (FAILED, f"filesystem error: {text}")
    assert job_sequence(shared_service, start) == intake.device_found(job, 2)
    assert not scan_blocked(shared_service, job.fqdd)


def test_refusals_leave_nothing_behind_for_the_next_job(service: World) -> None:
    break_library(service)
    for directory in (missing(service), service.payload_folder(), file(service)):
        assert run(service, "PBBCPLD.Embedded.1", directory).result == 1
    done = run(service, "PBBCPLD.Embedded.1", service.payload("pbb", "2.3.4"))
    device = service.board.device("pbb")
    assert done.steps == [
        *intake.started(done.job, 2),
        *ports.unlocked(device, 2),
        *intake.worker_started(done.job),
        *worker.broken(done.job),
        *ports.locked(device, 2),
        *worker.given_up(done.job),
    ]
