"""The payload's file: which one of a job's directory is taken, and what may become of it afterwards.

The service checks the file and then gives its path to the library, which opens it anew. The later
tests show what somebody who may write to the payload's directory can do between the two.
"""

from __future__ import annotations

import os
from collections.abc import Callable
from itertools import count
from pathlib import Path

import pytest
from expected import intake
from support.jobs import Outcome, followed, run
from support.sequence import job_sequence
from tavrinsim import payload
from tavrinsim.connection import BusError
from tavrinsim.keys import new_key
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


# -- another file by the time it is programmed --------------------------------------------

Swap = Callable[[Path, bytes], None]


def rename_over(file: Path, contents: bytes) -> None:
    """Another file takes its name."""
    other = file.with_suffix(".new")
    other.write_bytes(contents)
    other.rename(file)


def rewrite_in_place(file: Path, contents: bytes) -> None:
    """The same file gets other contents."""
    with file.open("r+b") as same:
        same.write(contents)
        same.truncate()


def point_elsewhere(file: Path, contents: bytes) -> None:
    """The name becomes a link to another file."""
    other = file.with_suffix(".elsewhere")
    other.write_bytes(contents)
    link = file.with_suffix(".link")
    link.symlink_to(other)
    os.replace(link, file)


def swap_directory(file: Path, contents: bytes) -> None:
    """Another directory takes the name of the payload's."""
    folder = file.parent
    folder.rename(folder.with_suffix(".away"))
    folder.mkdir()
    file.write_bytes(contents)


SWAPS = [rename_over, rewrite_in_place, point_elsewhere, swap_directory]


def forged(world: World) -> bytes:
    """A whole image that nobody whom the service trusts has signed."""
    return payload.sign(payload.signed_part(world.signed("pbb", "6.6.6")), new_key())


def update_with_swap(world: World, folder: Path, swap: Callable[[], None]) -> int:
    """Updates the first PBB; the swap comes when the payload is checked, before the port opens."""
    gate = world.board.faults.gate()
    device = world.board.device("pbb")
    world.board.faults.open(device, gate=gate, times=1)
    job = world.job(device.fqdd, folder)
    with followed(world, job):
        answer = world.coordinator.begin_update(job)
        gate.wait_reached()
        swap()
        gate.open()
        assert answer.result(20) == 0
    return world.coordinator.wait_outcome(job.transaction).status


@pytest.mark.parametrize("swap", SWAPS)
def test_whoever_writes_to_the_directory_after_the_check_chooses_the_image(
    ready: World, swap: Swap
) -> None:
    folder = ready.payload("pbb", "2.3.4")
    status = update_with_swap(
        ready, folder, lambda: swap(folder / "firmware.payload", forged(ready))
    )
    assert status == 28
    assert ready.board.device("pbb").version == "6.6.6"


@pytest.mark.parametrize("swap", SWAPS)
def test_what_is_swapped_before_the_check_is_refused(ready: World, swap: Swap) -> None:
    folder = ready.payload("pbb", "2.3.4")
    swap(folder / "firmware.payload", forged(ready))
    job = ready.job("PBBCPLD.Embedded.1", folder)
    assert ready.coordinator.update(job) == 1
    assert ready.board.device("pbb").version == "1.0.0"


def test_a_payload_that_is_gone_after_the_check_is_a_failure(ready: World) -> None:
    folder = ready.payload("pbb", "2.3.4")
    status = update_with_swap(ready, folder, (folder / "firmware.payload").unlink)
    assert status == 18
    device = ready.board.device("pbb")
    assert (device.version, device.image_state, device.port_open) == ("1.0.0", "valid", False)
