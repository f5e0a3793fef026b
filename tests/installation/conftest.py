"""Fixtures of the tests of the build: its choices, what it installs, and the file that it makes."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

import pytest
from building import ROOT, Build, Executable, compiler


def pytest_addoption(parser: pytest.Parser) -> None:
    """`--cross-file=FILE` is Meson's: the builds are for the machine that it describes."""
    parser.addoption("--cross-file", type=Path)


@pytest.fixture(scope="session")
def cross_file(request: pytest.FixtureRequest) -> Path | None:
    """What describes the machine of the builds, where it is not this one."""
    return request.config.getoption("--cross-file")


@pytest.fixture(scope="session")
def libraries(tmp_path_factory: pytest.TempPathFactory, cross_file: Path | None) -> Path:
    """A folder with the simulated platform, and two empty ones: "someplatform", "otherplatform"."""
    folder = tmp_path_factory.mktemp("libraries")
    for name in ("someplatform", "otherplatform"):
        output = folder / f"lib{name}.so"
        words = [compiler(cross_file), "-shared", "-x", "c++", "/dev/null", "-o", str(output)]
        subprocess.run(words, check=True)
    simulated = Path(os.environ.get("SIM_LIBDIR", ROOT / "build" / "sim")) / "libsimplatform.so"
    (folder / simulated.name).symlink_to(simulated)
    return folder


@pytest.fixture(scope="session")
def executable(
    tmp_path_factory: pytest.TempPathFactory, libraries: Path, cross_file: Path | None
) -> Executable:
    """The service, built as the README says."""
    folder = tmp_path_factory.mktemp("one")
    return Build(folder / "build", libraries, cross_file).make_service()


@pytest.fixture(scope="session")
def executable_elsewhere(
    tmp_path_factory: pytest.TempPathFactory, libraries: Path, cross_file: Path | None
) -> Executable:
    """The same in another folder, compiled anew: a cache would bring the same objects."""
    folder = tmp_path_factory.mktemp("other") / "and" / "deeper"
    return Build(folder, libraries, cross_file).make_service(from_the_start=True)


@pytest.fixture
def build(tmp_path: Path, libraries: Path, cross_file: Path | None) -> Build:
    """A build of the project that is still to be configured."""
    return Build(tmp_path / "build", libraries, cross_file)
