"""The file that a build makes: its protection, what it shows, and whether it is the same again."""

from __future__ import annotations

import re

import pytest
from building import LANDING_PADS, ROOT, Build, Executable

FOR_OTHER_CODE = ("_Z6addlogPKc", "_Z14delete_old_logv")
# Libraries of the tests, and those that watch or simulate a controller, stand in front of these.
STOOD_IN_FRONT_OF = {"open", "ioctl", "close", "read", "opendir", "readdir", "write", "epoll_ctl"}


def test_it_can_be_loaded_anywhere_and_what_the_loader_writes_is_closed_then(
    executable: Executable,
) -> None:
    dynamic = executable.told("-d")
    assert re.search(r"\(FLAGS_1\) +Flags: .*\bPIE\b", dynamic)
    assert re.search(r"\(FLAGS\) +.*\bBIND_NOW\b", dynamic)
    assert "TEXTREL" not in dynamic
    assert executable.segments("GNU_RELRO") == ["R"]


def test_nothing_of_it_can_be_written_and_executed(executable: Executable) -> None:
    assert executable.segments("GNU_STACK") == ["RW"]
    loaded = executable.segments("LOAD")
    assert "RE" in loaded
    assert [rights for rights in loaded if "W" in rights and "E" in rights] == []


def test_it_watches_its_stack_and_its_buffers(executable: Executable) -> None:
    wanted = executable.wanted()
    assert "__stack_chk_fail" in wanted
    # clang checks some itself. Any other name is not that of the call which doubles of the system
    # tests make fail.
    checked = {name for name in wanted if re.fullmatch(r"__\w+_(chk|2)", name)}
    assert {"__vsnprintf_chk"} <= checked <= {"__snprintf_chk", "__vsnprintf_chk"}


def test_a_library_can_stand_in_front_of_the_calls_that_reach_the_world(
    executable: Executable,
) -> None:
    assert executable.wanted() >= STOOD_IN_FRONT_OF


def test_only_the_start_of_a_function_can_be_called(executable: Executable) -> None:
    if executable.machine not in LANDING_PADS:
        pytest.skip(f"{executable.machine} has no such protection")
    # The linker leaves the mark of the whole file out where the C library's start files lack it.
    assert executable.unprotected_objects() == []
    begins = {name: executable.first_instruction(name) for name in ("main", *FOR_OTHER_CODE)}
    assert set(begins.values()) <= set(LANDING_PADS[executable.machine]), begins


def test_other_code_in_the_process_finds_the_two_calls_of_the_log_file_alone(
    executable: Executable,
) -> None:
    offered = [symbol for symbol in executable.symbols() if symbol.is_defined]
    # Weak ones are the C++ library's, or types of the language, which each file has that uses them.
    own = {symbol.name for symbol in offered if (symbol.kind, symbol.binding) == ("FUNC", "GLOBAL")}
    assert own == set(FOR_OTHER_CODE)
    weak = [symbol.name for symbol in offered if symbol.binding == "WEAK"]
    assert [name for name in weak if not re.match(r"_ZT?[A-Z]*S|_ZN?K?S|_ZTI[a-z]$", name)] == []


def test_the_same_sources_in_another_folder_make_the_same_file(
    executable: Executable, executable_elsewhere: Executable
) -> None:
    content = executable.path.read_bytes()
    assert content == executable_elsewhere.path.read_bytes()
    for place in (ROOT, executable.folder, executable_elsewhere.folder):
        assert bytes(place) not in content


@pytest.mark.parametrize(
    ("options", "flags", "level"),
    [
        ([], "", "3"),
        (["-Doptimization=0"], "", None),
        (["-Dbuildtype=plain"], "", None),
        (["-Dbuildtype=plain"], "-O2", "3"),
        ([], "-D_FORTIFY_SOURCE=2", "2"),
        (["-Db_sanitize=address", "-Db_lundef=false"], "", None),
        (["-Dhardening=false"], "", None),
    ],
    ids=lambda value: " ".join(value) if isinstance(value, list) else value,
)
def test_buffers_are_watched_where_that_can_be(
    build: Build, monkeypatch: pytest.MonkeyPatch, options: list[str], flags: str, level: str | None
) -> None:
    monkeypatch.setenv("CXXFLAGS", flags)
    done = build.configure("-Dplatform=real", "-Dplatform_libs=someplatform", *options)
    assert done.returncode == 0, done.stdout
    levels = re.findall(r"-D_FORTIFY_SOURCE=(\d)", build.command_of("main/main.cpp"))
    assert levels == ([level] if level else [])
    protects = "-fstack-protector-strong" in build.command_of("main/main.cpp")
    assert protects == ("-Dhardening=false" not in options)


# -- the platform's own libraries ------------------------------------------------------


@pytest.mark.parametrize(
    ("options", "advice"),
    [
        (["-Dplatform=real"], "add -Dplatform_libs=NAME,NAME,..."),
        (["-Dplatform_libs=someplatform"], "add -Dplatform=real, or leave -Dplatform_libs out"),
        (
            ["-Dplatform=real", "-Dplatform_libs=someplatform,missing"],
            "libmissing.so of -Dplatform_libs was not found where the linker looks: "
            "mend the name, or name its directory with -Dcpp_link_args=-LDIRECTORY",
        ),
    ],
    ids=["real without names", "names without real", "no such library"],
)
def test_a_choice_that_cannot_be_meant_is_refused_with_advice(
    build: Build, options: list[str], advice: str
) -> None:
    done = build.configure(*options)
    assert done.returncode != 0
    assert advice in done.stdout


def test_a_real_platform_may_have_several_libraries(build: Build) -> None:
    done = build.configure("-Dplatform=real", "-Dplatform_libs=someplatform,otherplatform")
    assert done.returncode == 0, done.stdout
