"""Which file of a job's directory is taken for its payload."""

from __future__ import annotations

import os
from itertools import count
from pathlib import Path

import pytest
from expected import intake
from support.jobs import Outcome, run
from support.sequence import job_sequence
from tavrinsim.connection import BusError
from tavrinsim.world import World

# Long enough for a header; nobody signed it, so the job ends with the check.
CONTENTS = bytes(200)


def offer(world: World, folder: Path) -> Outcome:
    """Sends a job with a directory."""
    return run(world, "PDBCPLD.Embedded.1", folder)


def chosen(done: Outcome, name: str) -> list[str]:
    """The steps of a job whose payload had this name."""
    unable = "[TavrinUpdateStart] : Unable to start update."
    return [
        *intake.payload_found(done.job, 1, name),
        *intake.key_chosen(intake.PDB),
        "E [verifySignature] : Error in signature verification\n",
        *intake.refused(done.job, f"{unable} Failed to verify Payload signature"),
    ]


def none_chosen(done: Outcome) -> list[str]:
    """The steps of a job without payload."""
    message = "[TavrinUpdateStart] : No valid payload file found in directory:"
    return [
        *intake.device_found(done.job, 1),
        *intake.refused(done.job, f"{message} {done.job.directory}"),
    ]


def put_first(folder: Path, name: str) -> Path:
    """A link to itself that the listing yields before all else; its name ends in this one."""
    numbers = count()
    while True:
        loop = folder / f"{next(numbers)}-{name}"
        loop.symlink_to(loop.name)
        if os.listdir(folder)[0] == loop.name:
            return loop
        loop.unlink()


def test_a_file_with_the_extension_is_chosen_among_others(shared_service: World) -> None:
    for name in ("fw.payload", "a.b.payload", "..payload", "%s.payload", "ü.payload"):
        folder = shared_service.payload_folder()
        for other in ("a.bin", "fw.jed", "fw.payload.bak", "payload", name):
            (folder / other).write_bytes(CONTENTS)
        done = offer(shared_service, folder)
        assert done.steps == chosen(done, name)


def test_a_file_with_another_extension_is_not_chosen(shared_service: World) -> None:
    folder = shared_service.payload_folder()
    for name in (
        ".payload",
        "x.PAYLOAD",
        "x.payloads",
        "x.payload~",
        "x.jed",
        "payload",
        "NULL",
    ):
        (folder / name).write_bytes(CONTENTS)
    done = offer(shared_service, folder)
    assert done.steps == none_chosen(done)


def test_a_link_to_a_file_is_chosen_by_its_own_name(shared_service: World) -> None:
    folder = shared_service.payload_folder()
    target = shared_service.payload_folder() / "image.bin"
    target.write_bytes(CONTENTS)
    (folder / "link.payload").symlink_to(target)
    done = offer(shared_service, folder)
    assert done.steps == chosen(done, "link.payload")


def test_what_is_no_file_is_passed_over(shared_service: World) -> None:
    folder = shared_service.payload_folder()
    (folder / "folder.payload").mkdir()
    (folder / "folder.payload" / "inner.payload").write_bytes(CONTENTS)
    (folder / "dangling.payload").symlink_to("nowhere")
    (folder / "linked.payload").symlink_to(folder / "folder.payload")
    os.mkfifo(folder / "pipe.payload")
    done = offer(shared_service, folder)
    assert done.steps == none_chosen(done)
    (folder / "file.payload").write_bytes(CONTENTS)
    done = offer(shared_service, folder)
    assert done.steps == chosen(done, "file.payload")


def test_of_several_payloads_the_first_in_the_listing_is_chosen(shared_service: World) -> None:
    folder = shared_service.payload_folder()
    for number in range(20):
        (folder / f"{number}.payload").write_bytes(CONTENTS)
    first = os.listdir(folder)[0]
    done = offer(shared_service, folder)
    assert done.steps == chosen(done, first)


def test_the_directory_may_be_a_link_and_end_in_a_slash(shared_service: World) -> None:
    folder = shared_service.payload_of(CONTENTS)
    link = shared_service.payload_folder() / "link"
    link.symlink_to(folder)
    done = run(shared_service, "PDBCPLD.Embedded.1", f"{link}/")
    assert done.steps == chosen(done, "firmware.payload")


@pytest.mark.parametrize("name", ["loop.payload", "loop.bin"])
def test_a_link_without_end_is_an_error_reply_and_no_report(
    shared_service: World, name: str
) -> None:
    folder = shared_service.payload_folder()
    (folder / "firmware.payload").write_bytes(CONTENTS)
    loop = put_first(folder, name)
    start = shared_service.trace.mark()
    job = shared_service.job("PDBCPLD.Embedded.1", folder)
    with pytest.raises(BusError) as error:
        shared_service.coordinator.update(job)
    text = f"filesystem error: status: Too many levels of symbolic links [{loop}]"
    assert (error.value.name, error.value.text) == ("org.freedesktop.DBus.Error.Failed", text)
    assert job_sequence(shared_service, start) == intake.device_found(job, 1)
    assert offer(shared_service, shared_service.payload_folder()).progress == [(18, 0)]
