"""A start and an update cost what they did: system calls, messages, transfers, allocations, work."""

from __future__ import annotations

import json
import shutil
import sys
from pathlib import Path

import pytest
from tavrinsim.machine import emulator
from tavrinsim.world import World

sys.path.append(str(Path(__file__).resolve().parents[2]))

# Found through the path above.
from bench.costs import counts, system_calls  # noqa: E402

# The build whose counts are written down.
OPTIONS = {
    "buildtype": "debugoptimized",
    "b_sanitize": "none",
    "b_coverage": False,
    "b_lto": False,
}


def reason_to_skip(binary: Path, world: World) -> str:
    """Why nothing can be compared here; empty where all can."""
    if emulator(binary):
        return "an emulated program's calls are its emulator's"
    if world.view.traces:
        return "this view traces, and there is no second tracer"
    if missing := [tool for tool in ("strace", "valgrind") if shutil.which(tool) is None]:
        return f"not installed: {' '.join(missing)}"
    if not counts.recorded():
        return "no counts are written down for this machine"
    described = binary.parent / "meson-info" / "intro-buildoptions.json"
    options = {option["name"]: option["value"] for option in json.loads(described.read_text())}
    others = {name for name, value in OPTIONS.items() if options[name] != value}
    return f"built with another {', '.join(sorted(others))}" if others else ""


def test_a_start_and_an_update_cost_what_they_did(binary: Path, world: World) -> None:
    if reason := reason_to_skip(binary, world):
        pytest.skip(reason)
    assert counts.changes(counts.count(binary), counts.recorded()) == []


def test_a_count_that_moves_by_more_than_a_twentieth_is_told() -> None:
    before = {"start: system calls": 100, "start: records": 12}
    assert counts.changes({"start: system calls": 105, "start: records": 12}, before) == []
    assert counts.changes({"start: system calls": 94}, before) == [
        "start: records: None, was 12",
        "start: system calls: 94, was 100",
    ]


def test_calls_are_told_apart_by_what_they_are_for() -> None:
    lines = """\
7 1.0 execve("/usr/libexec/tavrinupdate", ["tavrinupdate"], 0x7f /* 9 vars */) = 0
7 2.0 socket(AF_UNIX, SOCK_STREAM, 0) = 3<socket:[1]>
7 3.0 recvmsg(3<socket:[1]>, {msg_namelen=0}, 0 <unfinished ...>
8 3.1 write(9</scratch/board/trace.jsonl>, "{}", 2) = 2
8 3.2 write(9</var/log/tavrinupdate.log>, "0 : [main]", 10) = 10
7 3.3 <... recvmsg resumed>)           = -1 EAGAIN (Resource temporarily unavailable)
8 3.4 openat(AT_FDCWD</>, "/scratch/payloads/1/firmware.payload", O_RDONLY) = 4
7 3.5 openat(AT_FDCWD</>, "/scratch/payloads/1/firmware.payload", O_RDONLY) = 4
8 3.6 +++ exited with 0 +++
"""
    # What the simulated board writes and what its library reads is nobody's of the service.
    assert [(call.thread, call.purpose) for call in system_calls.read(lines.splitlines())] == [
        (7, "process start"),
        (7, "connections"),
        (7, "waiting"),
        (8, "log file"),
        (7, "payload and key"),
    ]
