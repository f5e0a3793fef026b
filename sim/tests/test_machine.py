"""Which programs run under emulation, told by their first bytes."""

from __future__ import annotations

import os
from pathlib import Path

import pytest
from tavrinsim.machine import EMULATED, emulator

FOREIGN = {number: name for number, name in EMULATED.items() if name != os.uname().machine}


@pytest.fixture
def program(tmp_path: Path) -> Path:
    """The path of a program that is still to be written."""
    return tmp_path / "program"


def elf(machine: int) -> bytes:
    """As much of a program as says what machine it is for."""
    return b"\x7fELF\x02\x01\x01" + bytes(11) + machine.to_bytes(2, "little") + bytes(44)


def test_this_machines_own_programs_run_as_they_are() -> None:
    assert emulator(Path("/usr/bin/python3")) == []


@pytest.mark.parametrize("contents", [b"", b"#!/bin/sh\nexit 0\n", bytes(64)])
def test_what_is_no_program_of_any_machine_is_left_to_the_system(
    program: Path, contents: bytes
) -> None:
    program.write_bytes(contents)
    assert emulator(program) == []


@pytest.mark.parametrize("machine", FOREIGN)
def test_another_machines_program_has_its_emulator_in_front(
    program: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch, machine: int
) -> None:
    expected = tmp_path / f"qemu-{FOREIGN[machine]}-static"
    expected.touch(mode=0o755)
    monkeypatch.setenv("PATH", str(tmp_path))
    program.write_bytes(elf(machine))
    assert emulator(program) == [str(expected)]


@pytest.mark.parametrize("machine", FOREIGN)
def test_without_the_emulator_the_error_says_what_to_install(
    program: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch, machine: int
) -> None:
    monkeypatch.setenv("PATH", str(tmp_path))
    program.write_bytes(elf(machine))
    with pytest.raises(FileNotFoundError, match="install qemu-user-static"):
        emulator(program)
