"""Media without room: for the log file, and around a payload."""

from __future__ import annotations

import errno
import os
import subprocess
from collections.abc import Iterator
from contextlib import ExitStack
from pathlib import Path

import pytest
from conftest import BuildWorld
from support import log_file
from support.jobs import update
from tavrinsim.world import World
from watching import make_record, start_pending

PAGE = 4096


class Disk:
    """A small file system that can be filled up."""

    def __init__(self, folder: Path) -> None:
        self._filler = folder / "filler"

    def fill(self) -> None:
        """Leaves no room at all."""
        with self._filler.open("wb", buffering=0) as file:
            try:
                while file.write(bytes(PAGE)):
                    pass
            except OSError as error:
                assert error.errno == errno.ENOSPC

    def free(self) -> None:
        """Makes room again."""
        self._filler.unlink()


@pytest.fixture
def mounts() -> Iterator[ExitStack]:
    """What is mounted for a test; gone before its world is."""
    with ExitStack() as end:
        yield end


def mount(folder: Path, end: ExitStack) -> Disk:
    """A disk of 64 KiB on a folder."""
    command = ["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", str(folder)]
    mounted = subprocess.run(command, text=True, capture_output=True, check=False)
    if mounted.returncode != 0:
        pytest.skip(f"nothing can be mounted here: {mounted.stderr.strip()}")
    end.callback(lambda: subprocess.run(["umount", "--lazy", str(folder)], check=True))
    return Disk(folder)


@pytest.fixture
def pending(world: World, mounts: ExitStack) -> tuple[World, Disk]:
    """A service that waits for the FRU read, its log file on a disk of its own."""
    disk = mount(world.log_file.parent, mounts)
    start_pending(world)
    return world, disk


def test_an_update_needs_no_room_for_its_log(build_world: BuildWorld) -> None:
    world = build_world()
    world.log_file.symlink_to("/dev/full")
    world.start()
    world.wait_published()
    done = update(world, "flop")
    assert done.progress[-1] == (28, 100)
    assert world.board.device("flop").version == "2.3.4"
    # Nothing is said of it, but the platform log has every line.
    assert not [line for line in done.steps if "log file" in line]
    assert [line for line in done.errors if "Successfully updated FLOP" in line]


def test_records_are_lost_while_the_disk_is_full_and_come_again_with_room(
    pending: tuple[World, Disk],
) -> None:
    world, disk = pending
    page_full = b"x" * PAGE
    world.log_file.write_bytes(page_full)
    disk.fill()
    make_record(world)
    assert world.log_file.read_bytes() == page_full
    disk.free()
    message = make_record(world)
    assert world.log_file.read_bytes() == log_file.after(page_full, message)


def test_a_record_may_be_cut_where_the_room_ends(pending: tuple[World, Disk]) -> None:
    world, disk = pending
    nearly_full = b"x" * (PAGE - 10)
    world.log_file.write_bytes(nearly_full)
    disk.fill()
    message = make_record(world)
    whole = log_file.after(nearly_full, message)
    assert world.log_file.read_bytes() == whole[:PAGE]
    disk.free()
    message = make_record(world)
    assert world.log_file.read_bytes() == log_file.after(whole[:PAGE], message)


def test_the_file_is_trimmed_on_a_full_disk(pending: tuple[World, Disk]) -> None:
    world, disk = pending
    before = bytes(ord("a") + i // log_file.TRIMMED for i in range(log_file.LIMIT - 1))
    world.log_file.write_bytes(before)
    disk.fill()
    message = make_record(world)
    assert world.log_file.read_bytes() == log_file.after(before, message)


def test_a_payload_is_read_from_a_full_disk(world: World, mounts: ExitStack) -> None:
    folder = world.payload_folder()
    disk = mount(folder, mounts)
    (folder / "firmware.payload").write_bytes(world.signed("pdb", "2.3.4"))
    disk.fill()
    world.start()
    world.wait_published()
    job = world.job("PDBCPLD.Embedded.1", folder)
    assert world.coordinator.update(job) == 0
    assert world.coordinator.wait_outcome(job.transaction).status == 28
    # Nothing is written beside it either.
    assert sorted(os.listdir(folder)) == ["filler", "firmware.payload"]
