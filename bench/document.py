"""Puts the figures and the plots of a run into the document that tells of them."""

from __future__ import annotations

import re
import shutil
from collections.abc import Sequence
from pathlib import Path

from .figures import Figure, Section
from .report import number

DOCUMENT = Path(__file__).parents[1] / "docs" / "performance.md"
PLOTS = DOCUMENT.with_suffix("")

# A table stands between two such comments; with "ratios" it has the ratios only.
TABLE = re.compile(r"(?<=<!-- figures: )(.*?)(, ratios)? -->\n.*?(?=<!-- end -->)", re.S)

HEAD = "| | Median | Spread | Goal |\n|---|---|---|---|\n"


def fill(output: Path, sections: Sequence[Section]) -> None:
    """Replaces the tables of these sections, and all plots by those in the output folder."""
    known = {section.title: section for section in sections}

    def table(match: re.Match[str]) -> str:
        if (section := known.get(match[1])) is None:
            return match[0]
        figures = [f for f in section.figures if not match[2] or f.unit == "ratio"]
        return f"{match[1]}{match[2] or ''} -->\n\n{HEAD}{''.join(map(_row, figures))}\n"

    DOCUMENT.write_text(TABLE.sub(table, DOCUMENT.read_text()))
    shutil.copytree(output / "plots", PLOTS, dirs_exist_ok=True)


def _row(figure: Figure) -> str:
    unit = "" if figure.unit == "ratio" else f" {figure.unit}"
    median = f"{number(figure.median)}{unit}"
    least, largest = map(number, figure.spread)
    spread = f"{least} to {largest}" if least != largest else ""
    goal = "" if figure.most is None else number(figure.most)
    name = f"{figure.name} ({figure.words})" if figure.words else figure.name
    return f"| {name} | {f'**{median}**' if figure.missed else median} | {spread} | {goal} |\n"
