"""A payload that is another one by the time the programming library reads it.

The service checks the file and then gives its path to the library, which opens it anew. These
tests show what somebody who may write to the payload's directory can do between the two.
"""

from __future__ import annotations

import os
from collections.abc import Callable
from pathlib import Path

import pytest
from support.jobs import followed
from tavrinsim import payload
from tavrinsim.keys import new_key
from tavrinsim.world import World

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
