"""A start and an update cost what they did: calls, messages, transfers, allocations, work."""

from __future__ import annotations

import json
import platform
import shutil
import subprocess
from collections.abc import Mapping
from pathlib import Path
from typing import Any

import pytest
from costs import instructions, system_calls, watched
from costs.recorded import MACHINE, RECORDED, changes
from tavrinsim.machine import emulator
from tavrinsim.view import ScratchRoot, choose_view

# What is built into a service, which calls and allocates more then.
ADDED = {"b_sanitize": "none", "b_coverage": False}

# The build whose instructions are written down.
COMPILERS, OPTIONS = ("c++", "g++"), {"optimization": "2", "b_lto": False}


def reason_to_skip(binary: Path, folder: Path) -> str:
    """Why nothing can be compared here; empty where all can."""
    if emulator(binary):
        return "an emulated program's calls are its emulator's"
    if choose_view(ScratchRoot(folder, [])).traces:
        return "this view traces, and there is no second tracer"
    if missing := [tool for tool in ("strace", "valgrind") if shutil.which(tool) is None]:
        return f"not installed: {' '.join(missing)}"
    trial = subprocess.run(["strace", "-qq", "-o", "/dev/null", "true"], check=False)
    if trial.returncode != 0:
        return "no program may trace another one here"
    if machine() != MACHINE:
        return f"the counts are those of {MACHINE}, and this is {machine()}"
    others = other_options(binary, ADDED)
    return f"built with another {', '.join(sorted(others))}" if others else ""


def other_options(binary: Path, wanted: Mapping[str, object]) -> set[str]:
    """Those options that the build has not as wanted."""
    options = {option["name"]: option["value"] for option in described(binary, "buildoptions")}
    return {name for name, value in wanted.items() if options[name] != value}


def described(binary: Path, what: str) -> Any:
    """What Meson tells of the build."""
    return json.loads((binary.parent / "meson-info" / f"intro-{what}.json").read_text())


def has_recorded_instructions(binary: Path) -> bool:
    """Whether the same compiler made the service with the same optimisation."""
    (service,) = (one for one in described(binary, "targets") if one["name"] == binary.name)
    compiler = Path(service["target_sources"][0]["compiler"][-1]).name
    return compiler in COMPILERS and not other_options(binary, OPTIONS)


def machine() -> str:
    """What the libraries' part depends on: the processor's kind and the distribution."""
    release = platform.freedesktop_os_release()
    return f"{platform.machine()} {release['ID'].capitalize()} {release.get('VERSION_ID', '')}"


def test_a_start_and_an_update_cost_what_they_did(binary: Path, tmp_path: Path) -> None:
    if reason := reason_to_skip(binary, tmp_path):
        pytest.skip(reason)
    counts = watched.count(binary)
    before = {phase: dict(recorded) for phase, recorded in RECORDED.items()}
    if has_recorded_instructions(binary):
        for phase, number in instructions.count(binary).items():
            counts[phase]["instructions"] = number
    else:
        for recorded in before.values():
            recorded.pop("instructions", None)
    moved = changes(counts, before)
    assert moved == [], "if that is meant to be, write it down in costs/recorded.py"


def test_a_count_that_moves_by_more_than_a_twentieth_is_told() -> None:
    before = {"start": {"system calls": 100, "records": 12}}
    assert changes({"start": {"system calls": 105, "records": 12}}, before) == []
    assert changes({"start": {"system calls": 94}}, before) == [
        "start: records: None, was 12",
        "start: system calls: 94, was 100",
    ]
    assert changes({"pbb": {"records": 1}}, {}) == ["pbb: records: 1, was None"]


def test_only_a_file_s_own_instructions_outside_its_event_loop_are_counted() -> None:
    dump = """\
ob=(1) /build/tavrinupdate
fn=(1) main
10 5
cob=(2) /usr/lib/libsystemd.so.0
cfn=(2) sd_bus_process
calls=1 20
+1 1000
fn=(3) boost::asio::io_context::run()
12 300
ob=(2)
fn=(2)
20 1000
ob=(1)
fn=(1)
11 2
"""
    assert instructions.of_file(dump.splitlines(), "tavrinupdate") == 5 + 2


def test_calls_are_told_apart_by_what_they_are_for() -> None:
    lines = """\
7 1.0 execve("/usr/libexec/tavrinupdate", ["tavrinupdate"], 0x7f /* 9 vars */) = 0
7 2.0 socket(AF_UNIX, SOCK_STREAM, 0) = 3<socket:[1]>
7 3.0 recvmsg(3<socket:[1]>, {msg_namelen=0}, 0 <unfinished ...>
8 3.0 getrandom("\\x86\\x11\\x59\\x7f", 4, GRND_NONBLOCK) = 4
8 3.1 write(9</scratch/board/trace.jsonl>, "{}", 2) = 2
8 3.2 write(9</var/log/tavrinupdate.log>, "0 : [main]", 10) = 10
7 3.3 <... recvmsg resumed>)           = -1 EAGAIN (Resource temporarily unavailable)
8 3.4 openat(AT_FDCWD</>, "/scratch/payloads/1/firmware.payload", O_RDONLY) = 4
7 3.5 openat(AT_FDCWD</>, "/scratch/payloads/1/firmware.payload", O_RDONLY) = 4
8 3.6 +++ exited with 0 +++
"""
    # What the simulated board draws and writes and what its library reads is nobody's.
    assert [(call.thread, call.purpose) for call in system_calls.read(lines.splitlines())] == [
        (7, "process start"),
        (7, "connections"),
        (7, "waiting"),
        (8, "log file"),
        (7, "payload and key"),
    ]
