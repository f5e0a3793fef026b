"""The border to the platform: the symbols on it, and the same binary on a platform of another maker."""

from __future__ import annotations

import subprocess
from pathlib import Path

import pytest
from conftest import FindDouble
from tavrinsim import names, payload
from tavrinsim.job import IN_PROGRESS, SUCCEEDED
from tavrinsim.names import FLOP, PBB, PDB
from tavrinsim.world import World

# -- what the executable shows, and what it takes --------------------------------------


PLATFORM = {
    "HAL_cfgdata::ReadHALConfig",
    "SIPLGetAvailableVersionsWithSha256",
    "SIPLHasVersionChanged",
    "SMAllocMem",
    "SMFreeMem",
    "cpldfwupdate::cpldfwupdate",
    "cpldfwupdate::get_error_code",
    "cpldfwupdate::~cpldfwupdate",
    "dlog_printf",
    "dlog_vprintf",
    "i2c_parse_sysinfo",
}
SYSTEM = {"open", "ioctl", "close"}


def symbols(binary: Path, *options: str) -> dict[str, str]:
    """Dynamic symbols with their kinds, as `nm` has them; no C++ template's."""
    command = ["nm", "--dynamic", "--demangle", "--format=posix", *options, str(binary)]
    lines = subprocess.run(command, text=True, capture_output=True, check=True).stdout
    found = {}
    for line in lines.splitlines():
        name, kind = _name_and_kind(line)
        found[name] = kind
    return found


def _name_and_kind(line: str) -> tuple[str, str]:
    words = line.split(" ")
    at = next(i for i in reversed(range(len(words))) if len(words[i]) == 1)
    return " ".join(words[:at]), words[at]


def test_the_log_files_two_functions_are_exported_and_no_other(binary: Path) -> None:
    defined = symbols(binary, "--defined-only")
    functions = {name for name, kind in defined.items() if kind == "T"}
    assert functions == {"addlog(char const*)", "delete_old_log()"}
    # What has a version is the linker's copy of a library's object; what else is there comes from
    # headers of the language's own library.
    others = {name for name, kind in defined.items() if kind != "T" and "@" not in name}
    library = ("std::", "void std::", "typeinfo for std::", "vtable for std::", "guard variable")
    assert {name for name in others if not name.startswith(library)} == set()


def test_the_platform_and_the_devices_are_reached_through_undefined_symbols(
    binary: Path,
) -> None:
    undefined = symbols(binary, "--undefined-only")
    plain = {name.split("@")[0].split("(")[0] for name in undefined}
    assert PLATFORM <= plain
    assert SYSTEM <= plain
    assert not {"open64", "__open_2", "__open64_2"} & plain


def test_a_platform_symbol_that_is_missing_shows_at_the_start(binary: Path) -> None:
    # Bound at its first call, it would show in the middle of an update, with the port open.
    command = ["readelf", "--dynamic", "--wide", str(binary)]
    lines = subprocess.run(command, text=True, capture_output=True, check=True).stdout
    flags = [line.split(":")[1].split() for line in lines.splitlines() if "(FLAGS_1)" in line]
    assert flags and "NOW" in flags[0]


# -- another maker's platform: only the symbols are the same, see doubles/second_platform.cpp 


@pytest.fixture
def other(world: World, find_double: FindDouble) -> World:
    """A service on that platform, published; it has one CPLD of each kind."""
    world.host_state.change("S5OnPending", announce=False)
    # In the place of the simulated libraries, not in front of them.
    world.start(
        preload=[find_double("second_platform")],
        environment={"LD_PRELOAD": str(find_double("second_platform"))},
    )
    world.wait_published()
    return world


def hardware_lines(world: World) -> list[str]:
    """All that the platform saw, but for the log."""
    lines = world.output.read_text().splitlines()
    return [line for line in lines if not line.startswith("log ")]


STARTED = [
    "hold line 0",
    "i2c PBB_PLD w:00 r:8709",
    "i2c PDB_PLD w:00 r:5406",
    "i2c FLOP w:0c r:2310",
]


def test_it_starts_and_publishes_what_it_finds(other: World) -> None:
    assert hardware_lines(other) == STARTED
    assert other.trace.select(what="transfer") == []
    shown = {
        path: (
            objects[names.BASE_INVENTORY]["InstalledVersionString"].value,
            objects[names.BASE_INVENTORY]["InstallationDate"].value,
            objects[names.BASE_INVENTORY]["Sha256String"].value,
        )
        for path, objects in other.client.managed_objects().items()
    }
    known = (0x1122334455667788, "e" * 64)  # cut where the library left no end
    assert shown == {
        PBB.object_path(1): ("7.8.9", *known),
        PDB.object_path(1): ("4.5.6", *known),
        FLOP.object_path(1): ("1.2.3", *known),
    }


def test_it_updates_a_cpld(other: World) -> None:
    key = other.keys.private["i2cpld", "default"]
    image = payload.sign(payload.header() + bytes([0x21, 0x03]), key)
    job = other.job("PBBCPLD.Embedded.1", other.payload_of(image))
    assert other.coordinator.update(job) == 0
    other.coordinator.wait_outcome(job.transaction)
    reports = other.coordinator.reports_of(job.transaction)
    assert [(report.status, report.percent) for report in reports] == [
        (IN_PROGRESS, 0),
        (IN_PROGRESS, 50),
        (IN_PROGRESS, 100),
        (SUCCEEDED, 100),
    ]
    assert hardware_lines(other) == [
        *STARTED,
        "i2c PBB_PLD w:04 r:01",
        "i2c PBB_PLD w:0400 r:",
        "i2c PBB_PLD w:04 r:00",
        "program PBB_PLD[0] for 352",
        "i2c PBB_PLD w:04 r:00",
        "i2c PBB_PLD w:0401 r:",
        "i2c PBB_PLD w:04 r:01",
    ]


def test_it_logs_there(other: World) -> None:
    lines = other.output.read_text().splitlines()
    assert "log 1/352 [readCpldVersion] : PBB_PLD[0]: Maj-7 Min-8 Maint-9" in lines
    assert "log 4/352 [Read_current_internal_power_state] : Host State: S5OnPending" in lines
    assert "log 5/273 [~HAL_cfgdata]: Deleted halData for [HOLD_S5_FLOP_CPLD_UPDATE]" in lines
    assert "[readCpldVersion] : PBB_PLD[0]: Maj-7 Min-8 Maint-9\n" in other.log()
