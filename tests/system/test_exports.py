"""What the executable shows to the libraries in its process, and what it takes from them."""

from __future__ import annotations

import subprocess
from pathlib import Path

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
