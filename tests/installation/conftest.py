"""Fixtures of the tests of the build's choices and of what it installs. Nothing is compiled."""

from __future__ import annotations

import subprocess
from pathlib import Path

import pytest

from building import Build, compiler


def pytest_addoption(parser: pytest.Parser) -> None:
    """`--cross-file=FILE` is Meson's: the builds are for the machine that it describes."""
    parser.addoption("--cross-file", type=Path)


@pytest.fixture(scope="session")
def cross_file(request: pytest.FixtureRequest) -> Path | None:
    """What describes the machine of the builds, where it is not this one."""
    return request.config.getoption("--cross-file")


@pytest.fixture(scope="session")
def libraries(tmp_path_factory: pytest.TempPathFactory, cross_file: Path | None) -> Path:
    """A folder with `libsomeplatform.so` and `libotherplatform.so`, which are empty."""
    folder = tmp_path_factory.mktemp("libraries")
    for name in ("someplatform", "otherplatform"):
        output = folder / f"lib{name}.so"
        words = [compiler(cross_file), "-shared", "-x", "c++", "/dev/null", "-o", str(output)]
        subprocess.run(words, check=True)
    return folder


@pytest.fixture
def build(tmp_path: Path, libraries: Path, cross_file: Path | None) -> Build:
    """A build of the project that is still to be configured."""
    return Build(tmp_path / "build", libraries, cross_file)
