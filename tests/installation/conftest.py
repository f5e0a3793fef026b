"""Fixtures of the tests of the build's choices and of what it installs. Nothing is compiled."""

from __future__ import annotations

import subprocess
from pathlib import Path

import pytest

from building import Build


@pytest.fixture(scope="session")
def libraries(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A folder with `libsomeplatform.so` and `libotherplatform.so`, which are empty."""
    folder = tmp_path_factory.mktemp("libraries")
    for name in ("someplatform", "otherplatform"):
        output = folder / f"lib{name}.so"
        words = ["g++", "-shared", "-x", "c++", "/dev/null", "-o", str(output)]
        subprocess.run(words, check=True)
    return folder


@pytest.fixture
def build(tmp_path: Path, libraries: Path) -> Build:
    """A build of the project that is still to be configured."""
    return Build(tmp_path / "build", libraries)
