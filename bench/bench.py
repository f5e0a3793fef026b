"""What every subject is measured with."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

from rich.console import Console


@dataclass(frozen=True)
class Bench:
    """The service under measurement and the programs it is measured beside, all of one build.

    `output` is where figures and plots go, `console` shows progress.
    """

    binary: Path
    output: Path
    console: Console

    def program(self, name: str) -> Path:
        """A program of this folder."""
        path = self.binary.parent / "bench" / name
        if not path.exists():
            raise FileNotFoundError(f"{path} is missing: run tools/bench, which builds it")
        return path
