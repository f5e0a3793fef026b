"""What was measured: a figure a row, shown to a person and written down for a program and for the documents."""

from __future__ import annotations

import json
import os
import platform
import re
import statistics
import subprocess
from collections.abc import Callable, Mapping, Sequence
from dataclasses import asdict, dataclass
from pathlib import Path
from typing import TypeVar

from rich.console import Console
from rich.table import Table

T = TypeVar("T")

# Fewer say nothing of how far they spread.
ROUNDS = 7


@dataclass(frozen=True)
class Figure:
    """One row of the table: values of one kind, one for each round.

    `unit` is empty where something was measured in pairs with its anchor: a ratio. The median
    stands for all values. `goal` is what it should be at most. Where it is known not to be,
    `known` is what it may be at most and `reason` says why.
    """

    name: str
    unit: str
    values: tuple[float, ...]
    goal: float | None = None
    known: float | None = None
    reason: str = ""

    @property
    def median(self) -> float:
        """What stands for all of them."""
        return statistics.median(self.values)

    @property
    def missed(self) -> bool:
        """Whether it is above its goal."""
        return self.goal is not None and self.median > self.goal

    @property
    def failed(self) -> bool:
        """Whether it is above its goal, and not within what is known."""
        return self.missed and (self.known is None or self.median > self.known)


def in_pairs(
    ours: Callable[[], T], anchor: Callable[[], T], rounds: int = ROUNDS
) -> list[tuple[T, T]]:
    """Measures two things by turns, each round in the other order: both meet the same machine."""
    pairs = []
    for number in range(rounds):
        if number % 2:
            theirs, mine = anchor(), ours()
        else:
            mine, theirs = ours(), anchor()
        pairs.append((mine, theirs))
    return pairs


def ratios(ours: Sequence[float], anchor: Sequence[float]) -> tuple[float, ...]:
    """Round by round the first to the second."""
    return tuple(mine / theirs for mine, theirs in zip(ours, anchor, strict=True))


def scaled(values: Sequence[float], factor: float) -> tuple[float, ...]:
    """The values in another unit."""
    return tuple(value * factor for value in values)


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
