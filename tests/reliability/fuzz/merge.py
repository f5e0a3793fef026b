"""Keeps, of all inputs of a target, the few that reach everything that all of them reach."""

from __future__ import annotations

import shutil
import subprocess
import tempfile
from pathlib import Path

from .target import SOURCES, Target

MOST_FILES = 200
MOST_BYTES = 300 * 1024


def merge(target: Target) -> list[str]:
    """Adds to the inputs in the tree what reaches more than they do; what is wrong afterwards.

    The named inputs stay: each is there for a reason that a person can read.
    """
    with tempfile.TemporaryDirectory() as folder:
        chosen = Path(folder)
        named = _named(target.seeds)
        for path in named:
            shutil.copy(path, chosen)
        subprocess.run(
            target.command(
                "-set_cover_merge=1", str(chosen), str(target.seeds), str(target.found)
            ),
            check=True,
            capture_output=True,
        )
        _replace(target.seeds, chosen)
    return _too_much(target.seeds)


def _named(folder: Path) -> list[Path]:
    """The inputs that a person made; the fuzzer's have digests for names."""
    return [path for path in folder.iterdir() if not _is_digest(path.name)]


def _is_digest(name: str) -> bool:
    return len(name) == 40 and all(letter in "0123456789abcdef" for letter in name)


def _replace(folder: Path, chosen: Path) -> None:
    for path in folder.iterdir():
        path.unlink()
    for path in chosen.iterdir():
        shutil.copy(path, folder)


def _too_much(folder: Path) -> list[str]:
    sizes = [path.stat().st_size for path in folder.iterdir()]
    if len(sizes) <= MOST_FILES and sum(sizes) <= MOST_BYTES:
        return []
    where = folder.relative_to(SOURCES)
    return [f"{where}: {len(sizes)} files with {sum(sizes)} bytes are too much for the tree"]
