"""Shows the figures to a person, and writes them down for a program."""

from __future__ import annotations

import json
from collections.abc import Sequence
from dataclasses import asdict
from pathlib import Path

from rich.console import Console
from rich.table import Table

from .figures import Figure, Section
from .surroundings import surroundings


def show(console: Console, sections: Sequence[Section]) -> None:
    """One table for each section; a missed goal is red."""
    for section in sections:
        table = Table(title=section.title, title_justify="left")
        table.add_column("")
        for heading in ("median", "least", "largest", "goal"):
            table.add_column(heading, justify="right")
        table.add_column("unit")
        if any(figure.words for figure in section.figures):
            table.add_column("")
        for figure in section.figures:
            row = _row(figure)[: len(table.columns)]
            table.add_row(*row, style="red" if figure.missed else "")
        console.print(table)


def write(file: Path, sections: Sequence[Section]) -> None:
    """All values of all rounds, as JSON; sections of earlier runs stay until they are measured anew."""
    here = surroundings()
    contents = json.loads(file.read_text()) if file.exists() else {}
    contents |= {
        section.title: {"measured on": here, **asdict(section)} for section in sections
    }
    file.write_text(json.dumps(contents, indent=1) + "\n")


def misses(sections: Sequence[Section]) -> list[tuple[str, Figure]]:
    """What is above its goal, each with its section's title."""
    return [
        (section.title, figure)
        for section in sections
        for figure in section.figures
        if figure.missed
    ]


def show_misses(console: Console, sections: Sequence[Section]) -> None:
    """One line for each, with the reason where it is known."""
    for title, figure in misses(sections):
        assert figure.most is not None
        words = f"{title}, {figure.name}: {number(figure.median)}, goal {number(figure.most)}"
        reason = f" ({figure.reason})" if figure.reason else ""
        console.print(f"[red]missed:[/red] {words}{reason}", highlight=False, soft_wrap=True)


def number(value: float) -> str:
    """A value with as many digits as say something."""
    return f"{value:,.0f}" if value == int(value) or abs(value) >= 1000 else f"{value:,.3g}"


def _row(figure: Figure) -> tuple[str, ...]:
    goal = "" if figure.most is None else f"≤ {number(figure.most)}"
    spread = map(number, figure.spread) if len(figure.values) > 1 else ("", "")
    return figure.name, number(figure.median), *spread, goal, figure.unit, figure.words
