"""Fixtures of the boot's tests: roots with the packages in them, one of which has booted."""

from __future__ import annotations

import shutil
from collections.abc import Iterator
from pathlib import Path

import pytest
from machine import Course, Machine
from root import Root, fit_out, make_base

PROJECT = Path(__file__).resolve().parents[2]


def pytest_addoption(parser: pytest.Parser) -> None:
    """`--packages=FOLDER` names where the packages are, and where the roots go."""
    folder = PROJECT / "build-package"
    parser.addoption("--packages", type=Path, default=folder, help="folder of the packages")


@pytest.fixture(scope="session")
def folder(request: pytest.FixtureRequest) -> Path:
    """Where the packages are, and room for the roots."""
    return Path(request.config.getoption("--packages")).resolve()


@pytest.fixture(scope="session")
def packages(folder: Path) -> list[Path]:
    """The packages that a controller gets; their debug symbols stay behind."""
    found = [path for path in sorted(folder.glob("*.deb")) if "-dbgsym_" not in path.name]
    if not found:
        pytest.fail(f"{folder} has no packages: make them first (tools/package)")
    return found


@pytest.fixture(scope="session")
def base(folder: Path) -> Path:
    """A plain Debian, kept for the next time."""
    root = folder / "root-base"
    if not root.exists():
        make_base(root)
    return root


@pytest.fixture(scope="session")
def installed(base: Path, folder: Path, packages: list[Path]) -> Iterator[Root]:
    """A Debian with the packages, which boots later."""
    yield from _root_with(packages, base, folder / "root-booted")


@pytest.fixture
def removable(base: Path, folder: Path, packages: list[Path]) -> Iterator[Root]:
    """One more, to remove them from."""
    yield from _root_with(packages, base, folder / "root-removed")


def _root_with(packages: list[Path], base: Path, folder: Path) -> Iterator[Root]:
    shutil.rmtree(folder, ignore_errors=True)
    root = Root.copy(base, folder)
    root.install(packages)
    yield root
    shutil.rmtree(folder)


@pytest.fixture(scope="session")
def booted(installed: Root, folder: Path) -> Iterator[Course]:
    """A controller that has booted; its FRU data is not read yet."""
    board = fit_out(installed)
    machine = Machine(installed, folder / "console.log")
    try:
        yield Course(machine, board)
    finally:
        machine.close()
        board.close()


@pytest.fixture(scope="session")
def published(booted: Course) -> Course:
    """The same when the FRU read is complete."""
    booted.complete_fru_read()
    return booted


@pytest.fixture(scope="session")
def updated(published: Course) -> Course:
    """The same after an update of the PBB's CPLD."""
    published.update()
    return published


@pytest.fixture(scope="session")
def restarted(updated: Course) -> Course:
    """The same after the service was killed, and another FRU read."""
    updated.kill_service()
    updated.complete_fru_read()
    return updated
