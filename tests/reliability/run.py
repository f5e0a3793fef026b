"""What all long runs have in common: their options, a bar while they run, and what they found.

That is a table for a person, a file for a machine and an exit status for a script.
"""

from __future__ import annotations

import argparse
import json
from collections.abc import Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from rich.console import Console
from rich.progress import BarColumn, MofNCompleteColumn, Progress, TimeRemainingColumn
from rich.table import Table
from tavrinsim.world import BINARY


def parser(run: str, description: str | None, worlds: int = 0) -> argparse.ArgumentParser:
    """The options of every run; with `worlds`, how many controllers there are if nobody says."""
    made = argparse.ArgumentParser(prog=f"tools/stress {run}", description=description)
    made.add_argument("--binary", type=Path, default=BINARY)
    if worlds:
        words = "side by side (%(default)s)"
        made.add_argument("--worlds", type=int, default=worlds, help=words)
    return made


def bar(what: str) -> Progress:
    """Shows how many of all there are to do are done; a context manager."""
    return Progress(BarColumn(), MofNCompleteColumn(), what, TimeRemainingColumn())


@dataclass
class Findings:
    """Figures of a run by their names, and what was wrong in words; `name` is the run's own."""

    title: str
    name: str
    figures: dict[str, Any] = field(default_factory=dict)
    violations: list[str] = field(default_factory=list)

    def finish(self, console: Console, binary: Path) -> int:
        """Shows all of it and writes it beside the service's file; the exit status of the command."""
        file = binary.resolve().with_name(f"{self.name}.json")
        rows = [(name, _text(value)) for name, value in self.figures.items()]
        console.print(_table(self.title, rows))
        for violation in self.violations:
            console.print(f"[red]wrong:[/red] {violation}", highlight=False, soft_wrap=True)
        contents = {"figures": self.figures, "violations": self.violations}
        file.write_text(json.dumps(contents, indent=1) + "\n")
        console.print(f"{len(self.violations)} violations; the figures are in {file}")
        return 1 if self.violations else 0


def _table(title: str, rows: Sequence[tuple[str, str]]) -> Table:
    table = Table(title=title, title_justify="left", show_header=False)
    table.add_column()
    table.add_column(justify="right")
    for row in rows:
        table.add_row(*row)
    return table


def _text(value: Any) -> str:
    if isinstance(value, float):
        return f"{value:,.1f}"
    return f"{value:,}" if isinstance(value, int) else str(value)
