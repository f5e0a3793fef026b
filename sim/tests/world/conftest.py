"""Worlds around a stand-in program: what is tested here is the simulation, no service."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from contextlib import ExitStack
from pathlib import Path

import pytest

from tavrinsim.setting import Setting
from tavrinsim.view import ScratchRoot, ViewError, choose_view
from tavrinsim.world import World

BuildWorld = Callable[..., World]


@pytest.fixture(autouse=True)
def own_libraries(monkeypatch: pytest.MonkeyPatch) -> None:
    """Those of the plain build: others may need a sanitizer, or another machine, which a shell has not."""
    monkeypatch.delenv("SIM_LIBDIR", raising=False)


@pytest.fixture
def build_world(tmp_path: Path) -> Iterator[BuildWorld]:
    """build_world(SCRIPT, view=...): a world whose service is a shell script."""
    with ExitStack() as worlds:

        def build(script: str = "exec sleep 1000", **setting: object) -> World:
            program = tmp_path / "program" / "stand-in"
            program.parent.mkdir(exist_ok=True)
            program.write_text(f"#!/bin/sh\n{script}\n")
            program.chmod(0o755)
            return worlds.enter_context(World(program, Setting(**setting)))

        yield build


@pytest.fixture
def world(build_world: BuildWorld) -> World:
    """A world with a program that does nothing, not started."""
    return build_world()


@pytest.fixture(params=["bwrap", "proot"])
def view(request: pytest.FixtureRequest, tmp_path: Path) -> str:
    """Each kind of view, as far as this machine lets it work."""
    try:
        return choose_view(ScratchRoot(tmp_path / "trial", []), request.param).name
    except ViewError as error:
        pytest.skip(str(error))
