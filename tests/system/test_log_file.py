"""The service's own log file: its records, their offsets, and how it stays small."""

from __future__ import annotations

from collections.abc import Callable

import pytest
from support.log_file import LIMIT, after
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
