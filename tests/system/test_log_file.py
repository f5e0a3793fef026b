"""The service's own log file: its records, how it stays small, and media without room."""

from __future__ import annotations

import errno
import os
import subprocess
from collections.abc import Callable, Iterator
from contextlib import ExitStack
from pathlib import Path

import pytest
from conftest import BuildWorld
from support.jobs import update
from support.log_file import LIMIT, TRIMMED, after
from support.sequence import logs
from tavrinsim.names import PBB
from tavrinsim.world import World
from watching import answer, make_record, start_pending

NOT_OPENED = "[addlog] : logging: Failed to open log file: /var/log/tavrinupdate.log\n"


def errors(world: World, mark: int = 0) -> list[str]:
    """The lines of the error log, as the platform log got them."""
    return [line[2:] for line in logs(world, mark) if line.startswith("E ")]


def answers_to_records(world: World) -> list[str]:
    """What follows each record in the platform log."""
    lines = logs(world)
    return [following for line, following in zip(lines, lines[1:]) if line.startswith("E ")]


@pytest.fixture
def pending(world: World) -> World:
    """A service that waits for the FRU read."""
    start_pending(world)
    return world


def test_the_file_holds_the_error_log_each_record_behind_its_offset(service: World) -> None:
    records = errors(service)
    assert len(records) == 12
    assert service.log_file.read_bytes() == after(b"", *records)
    assert service.log().startswith("0 : [readCpldVersion] : PBB_PLD count 2\n40 : [tavrinWR]")


def test_the_platform_log_alone_gets_the_trace_lines(service: World) -> None:
    lines = {(line["level"], line["module"]) for line in service.trace.select(what="log")}
    assert lines == {(1, 352), (4, 352)}
    assert "Host State" not in service.log()


def test_a_restart_goes_on_where_the_file_ends(service: World) -> None:
    first = service.log_file.read_bytes()
    mark = service.trace.mark()
    process = service.restart()
    service.client.wait_for_name(pid=process.pid)
    answer(service)
    assert service.log_file.read_bytes() == after(first, *errors(service, mark))


def test_over_a_long_time_the_file_stays_below_its_limit(service: World) -> None:
    fqdd = "PBBCPLD.Embedded" + "x" * 500
    for _ in range(40):
        assert service.coordinator.request(PBB.object_path(1), fqdd, 1) == 1
        assert service.log_file.stat().st_size < LIMIT
    messages = errors(service)
    assert len("".join(messages)) > 2 * LIMIT
    assert service.log_file.read_bytes() == after(b"", *messages)


def test_text_beyond_ascii_goes_through_unchanged(service: World) -> None:
    before = service.log_file.read_bytes()
    assert service.coordinator.request(PBB.object_path(1), "Größe\t%s %n", 1) == 1
    assert service.log_file.read_bytes().endswith("Incorrect FQDD=Größe\t%s %n\n".encode())
    assert service.log_file.read_bytes().startswith(before + f"{len(before)} : ".encode())


def test_without_a_file_the_platform_log_says_so_and_the_service_goes_on(
    build_world: Callable[..., World],
) -> None:
    world = build_world(read_only=("/var/log",))
    world.start()
    world.wait_published()
    assert answers_to_records(world) == [f"L 1/337 {NOT_OPENED}"] * 12
    assert not world.log_file.exists()
    assert len(world.client.managed_objects()) == 4


def test_a_file_that_is_removed_comes_back(pending: World) -> None:
    pending.log_file.unlink()
    message = make_record(pending)
    assert pending.log() == f"0 : {message}"


# -- media without room: for the log file, and around a payload ------------------------


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
def on_own_disk(world: World, mounts: ExitStack) -> tuple[World, Disk]:
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
    on_own_disk: tuple[World, Disk],
) -> None:
    world, disk = on_own_disk
    page_full = b"x" * PAGE
    world.log_file.write_bytes(page_full)
    disk.fill()
    make_record(world)
    assert world.log_file.read_bytes() == page_full
    disk.free()
    message = make_record(world)
    assert world.log_file.read_bytes() == after(page_full, message)


def test_a_record_may_be_cut_where_the_room_ends(on_own_disk: tuple[World, Disk]) -> None:
    world, disk = on_own_disk
    nearly_full = b"x" * (PAGE - 10)
    world.log_file.write_bytes(nearly_full)
    disk.fill()
    message = make_record(world)
    whole = after(nearly_full, message)
    assert world.log_file.read_bytes() == whole[:PAGE]
    disk.free()
    message = make_record(world)
    assert world.log_file.read_bytes() == after(whole[:PAGE], message)


def test_the_file_is_trimmed_on_a_full_disk(on_own_disk: tuple[World, Disk]) -> None:
    world, disk = on_own_disk
    before = bytes(ord("a") + i // TRIMMED for i in range(LIMIT - 1))
    world.log_file.write_bytes(before)
    disk.fill()
    message = make_record(world)
    assert world.log_file.read_bytes() == after(before, message)


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
