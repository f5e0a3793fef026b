"""The installed service where it belongs: in its unit, under systemd, on a real system bus."""

from __future__ import annotations

import re

import pytest
from machine import OBJECT, UNIT, Course
from root import NEW_VERSION
from tavrinsim import names

MOST_EXPOSURE = 1.5
UNIT_FILE = "/lib/systemd/system/tavrinupdate.service"
OBJECTS = {kind.object_path(1) for kind in names.KINDS.values()}


def test_the_boot_has_started_it(booted: Course) -> None:
    unit = booted.machine.unit(UNIT)
    assert (unit["ActiveState"], unit["SubState"]) == ("active", "running")
    assert unit["UnitFileState"] == "enabled"


def test_it_has_no_rights_beyond_those_of_its_files(booted: Course) -> None:
    lines = booted.machine.run("cat", f"/proc/{booted.pid}/status").splitlines()
    status = dict(line.split(":\t", 1) for line in lines)
    assert (status["CapEff"], status["CapBnd"]) == ("0" * 16, "0" * 16)
    assert (status["NoNewPrivs"], status["Seccomp"]) == ("1", "2")


def test_it_can_write_only_where_it_must(booted: Course) -> None:
    words = ("findmnt", "--task", booted.pid, "--noheadings", "--output", "OPTIONS", "--target")
    options = {
        path: booted.machine.run(*words, path).split(",")[0]
        for path in ("/", "/usr", "/etc", "/var", "/var/log", "/var/board")
    }
    read_only = dict.fromkeys(("/", "/usr", "/etc", "/var"), "ro")
    assert options == {**read_only, "/var/log": "rw", "/var/board": "rw"}


@pytest.mark.parametrize(
    "what", [(UNIT,), ("--offline=true", UNIT_FILE)], ids=["live", "offline"]
)
def test_systemd_finds_little_exposed(booted: Course, what: tuple[str, ...]) -> None:
    shown = booted.machine.run("systemd-analyze", "security", "--no-pager", *what)
    (exposure,) = re.findall(r"Overall exposure level for \S+: ([0-9.]+)", shown)
    assert float(exposure) <= MOST_EXPOSURE


def test_systemd_understands_the_unit(booted: Course) -> None:
    words = ("systemd-analyze", "verify", "--recursive-errors=no", UNIT_FILE)
    shown = booted.machine.run(*words, check=False)
    # What a systemd before 254 says of what only later ones know.
    known = r"Unknown key (name )?'Restart(Steps|MaxDelaySec)' in section"
    assert [line for line in shown.splitlines() if not re.search(known, line)] == []


def test_it_has_no_name_until_the_fru_data_is_read(booted: Course) -> None:
    assert "org.freedesktop.systemd1" in booted.names_before_fru_read
    assert names.SERVICE not in booted.names_before_fru_read


def test_a_complete_fru_read_publishes_the_cplds(published: Course) -> None:
    shown = published.machine.run("busctl", "tree", "--list", names.SERVICE).split()
    assert {path for path in shown if path.startswith(f"{names.OBJECT_ROOT}/")} == OBJECTS


def test_an_update_starts_and_reaches_the_cpld(updated: Course) -> None:
    device = updated.board.device("pbb")
    assert updated.answer_to_update == "i 0"
    assert (device.version, device.image_state, device.port_open) == (
        NEW_VERSION,
        "valid",
        False,
    )


def test_the_log_file_tells_of_the_update_to_root_alone(updated: Course) -> None:
    log = updated.machine.run("cat", names.LOG_FILE)
    assert "No Error codes received from CPLD library. Successfully updated PBB_PLD" in log
    owner = updated.machine.run("stat", "--format=%U %G %a", names.LOG_FILE)
    assert owner == "root root 600"


def test_a_stranger_reads_but_does_not_write(published: Course) -> None:
    stranger = ("runuser", "-u", "nobody", "--", "busctl")
    read = ("get-property", names.SERVICE, OBJECT, names.BASE_INVENTORY, "DisplayName")
    assert published.machine.run(*stranger, *read).startswith('s "')
    write = ("set-property", names.SERVICE, OBJECT, names.COMP_UPDATE, "Jobid", "s", "x")
    assert "Access denied" in published.machine.run(*stranger, *write, check=False)


def test_a_killed_service_is_started_again(restarted: Course) -> None:
    unit = restarted.machine.unit(UNIT)
    assert (unit["ActiveState"], unit["NRestarts"]) == ("active", "1")
    assert unit["MainPID"] not in ("0", restarted.killed_pid)


def test_the_restart_shows_the_new_version(restarted: Course) -> None:
    assert restarted.version(OBJECT) == f's "{NEW_VERSION}"'
    others = sorted(OBJECTS - {OBJECT})
    assert [restarted.version(path) for path in others] == ['s "1.0.0"', 's "1.0.0"']
