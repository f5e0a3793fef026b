"""Fixtures of the system tests: the real service in simulated controllers."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from contextlib import ExitStack
from pathlib import Path
from typing import Any

import pytest
from support import sanitizers
from support.jobs import break_library, put_back
from tavrinsim.setting import Setting
from tavrinsim.world import BINARY, World

# The last line of the start, before five quiet seconds.
LISTENING = "[regSignalThreadHandler]: Subscribed to dbus signal successfully\n"

BuildWorld = Callable[..., World]
FindDouble = Callable[[str], Path]


def pytest_addoption(parser: pytest.Parser) -> None:
    """`--binary=PATH` names the service to be tested; its libraries lie beside it."""
    parser.addoption("--binary", type=Path, default=BINARY, help="the service to be tested")


@pytest.fixture(scope="session")
def binary(request: pytest.FixtureRequest) -> Path:
    """The service to be tested."""
    path = Path(request.config.getoption("--binary")).resolve()
    if not path.exists():
        pytest.fail(f"{path} is missing: build the project first")
    return path


@pytest.fixture(scope="session")
def find_double(binary: Path) -> FindDouble:
    """Finds a library of `doubles/` by its name, for `world.start(preload=[...])`."""

    def find(name: str) -> Path:
        path = binary.parent / "tests" / "system" / "doubles" / f"lib{name}.so"
        if not path.exists():
            pytest.fail(f"{path} is missing: build the project's tests first")
        return path

    return find


def _world_builder(binary: Path, worlds: ExitStack) -> BuildWorld:
    def build(**setting: Any) -> World:
        world = worlds.enter_context(World(binary, Setting(**setting)))
        worlds.callback(_end_without_reports, world)
        return world

    return build


def _end_without_reports(world: World) -> None:
    """A sanitizer's build of the service has nothing to report, also at its end."""
    world.let_service_end()
    assert sanitizers.reports(world.output) == [], world.output.read_text(errors="replace")


@pytest.fixture
def build_world(binary: Path) -> Iterator[BuildWorld]:
    """Builds controllers of any setting: `build_world(counts={"pbb": 1, ...})`.

    The service in it is not started. All of it is gone after the test.
    """
    with ExitStack() as worlds:
        yield _world_builder(binary, worlds)


@pytest.fixture(scope="module")
def build_shared_world(binary: Path) -> Iterator[BuildWorld]:
    """The same for controllers that all tests of a file share."""
    with ExitStack() as worlds:
        yield _world_builder(binary, worlds)


@pytest.fixture
def world(build_world: BuildWorld) -> World:
    """A healthy controller with 2 PBB, 1 PDB and 1 FLOP; the service is not started."""
    return build_world()


def _start_whole(world: World) -> World:
    """Starts the service; its objects are published and its second thread listens then."""
    world.start()
    world.wait_published()
    world.trace.wait_for(what="log", text=LISTENING)
    return world


@pytest.fixture
def service(world: World) -> World:
    """The same with the service started and its objects published."""
    return _start_whole(world)


@pytest.fixture(scope="module")
def shared_service(build_shared_world: BuildWorld) -> World:
    """As `service`, one for all tests of a file: they leave it as they found it."""
    return _start_whole(build_shared_world())


@pytest.fixture
def ready(shared_service: World) -> Iterator[World]:
    """A service that is put back to where it was, with its devices and neighbours."""
    yield shared_service
    put_back(shared_service)


@pytest.fixture
def quick(ready: World) -> World:
    """The same with a programming library that ends every run at once."""
    break_library(ready)
    return ready
