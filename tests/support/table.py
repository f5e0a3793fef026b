"""What a long run found: a table for a person, a file for a machine, an exit status for a script."""

from __future__ import annotations

import json
from collections.abc import Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from rich.console import Console
from rich.table import Table


@dataclass
class Findings:
    """Figures of a run by name, and what was wrong with it in words."""

    title: str
    figures: dict[str, Any] = field(default_factory=dict)
    violations: list[str] = field(default_factory=list)

    def finish(self, console: Console, file: Path) -> int:
        """Shows all of it and writes it to the file; the exit status of the command."""
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
