"""Shows the figures to a person, and writes them down for a program and for the documents."""

from __future__ import annotations

import json
import os
import platform
import re
import subprocess
from collections.abc import Mapping, Sequence
from dataclasses import asdict
from pathlib import Path

from rich.console import Console
from rich.table import Table

from .figures import Figure

# Of each subject.
Figures = Mapping[str, Sequence[Figure]]

HEADINGS = ("", "Median", "Spread", "Goal")


def show(console: Console, figures: Figures) -> None:
    """One table for each subject; what is above its goal is yellow, or red where it may not be."""
    for subject, rows in figures.items():
        table = Table(title=subject, title_justify="left")
        for heading in HEADINGS:
            table.add_column(heading, justify="right" if heading else "left")
        for figure in rows:
            style = "red" if figure.failed else "yellow" if figure.missed else ""
            table.add_row(*_row(figure), style=style)
        console.print(table)
        for figure in filter(lambda figure: figure.missed, rows):
            why = figure.reason if not figure.failed else "more than it may be"
            console.print(f"above its goal: {figure.name}: {why}", soft_wrap=True)


def write(folder: Path, figures: Figures) -> None:
    """All values as bench.json, and the table that is shown as bench.md."""
    contents = {name: [asdict(figure) for figure in rows] for name, rows in figures.items()}
    described = {"measured on": _surroundings(), **contents}
    (folder / "bench.json").write_text(json.dumps(described, indent=1) + "\n")
    lines = [f"| {' | '.join(HEADINGS)} |", "|---|---|---|---|"]
    for subject, rows in figures.items():
        lines.append(f"| **{subject}** | | | |")
        lines += [f"| {' | '.join(_row(figure))} |" for figure in rows]
    (folder / "bench.md").write_text("\n".join(lines) + "\n")


def _row(figure: Figure) -> tuple[str, str, str, str]:
    least, largest = _number(min(figure.values)), _number(max(figure.values))
    return (
        figure.name,
        f"{_number(figure.median)} {figure.unit}".rstrip(),
        f"{least} to {largest}" if least != largest else "",
        "" if figure.goal is None else _number(figure.goal),
    )


def _number(value: float) -> str:
    """A value with as many digits as say something."""
    return f"{value:,.0f}" if value == int(value) or abs(value) >= 1000 else f"{value:,.3g}"


def _surroundings() -> dict[str, str]:
    """Without them, a figure says nothing to anybody else."""
    found = re.search(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(), re.M)
    processor = found[1] if found else platform.machine()
    words = ["git", "-C", str(Path(__file__).parent), "describe", "--always", "--dirty"]
    commit = subprocess.run(words, text=True, capture_output=True, check=False).stdout.strip()
    return {
        "processor": f"{os.cpu_count()} x {processor}",
        "kernel": platform.release(),
        "distribution": platform.freedesktop_os_release()["PRETTY_NAME"],
        "commit": commit or "unknown",
    }
