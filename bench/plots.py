"""Draws what the figures say: a plot of each subject's ratios, and the lines that it has."""

from __future__ import annotations

import re
from collections.abc import Sequence
from pathlib import Path

import matplotlib

matplotlib.use("svg")
# The same figures make the same bytes.
matplotlib.rcParams["svg.hashsalt"] = "bench"
# Letters as letters, not as shapes.
matplotlib.rcParams["svg.fonttype"] = "none"

import matplotlib.pyplot as plt  # noqa: E402

from .figures import Figure, Plot, Section  # noqa: E402

# From here on a plain axis would not tell apart what is near to 1.
WIDE = 3


def draw(folder: Path, sections: Sequence[Section]) -> None:
    """Writes the plots of all subjects into the folder, each named after its subject."""
    folder.mkdir(parents=True, exist_ok=True)
    for section in sections:
        ratios = [figure for figure in section.figures if figure.unit == "ratio"]
        if aimed := [figure for figure in ratios if figure.most is not None]:
            _draw_ratios(folder / _file_name(section.title), section.title, aimed)
        for title, plot in section.plots.items():
            _draw_lines(folder / _file_name(title), title, plot)


def _file_name(title: str) -> str:
    return re.sub(r"[^a-z0-9]+", "-", title.lower()).strip("-") + ".svg"


def _draw_ratios(file: Path, title: str, figures: Sequence[Figure]) -> None:
    """Every round's ratio as a dot, the median as a bar, the goal as a mark."""
    largest = max(max(figure.values) for figure in figures)
    drawing, axes = plt.subplots(figsize=(8, 0.8 + 0.4 * len(figures)))
    for row, figure in enumerate(figures):
        axes.plot(figure.values, [row] * len(figure.values), "o", color="tab:blue", alpha=0.4)
        axes.plot(figure.median, row, "|", color="tab:blue", markersize=16)
        axes.plot(figure.most, row, "<", color="tab:red")
    axes.axvline(1, color="gray", linewidth=0.8)
    axes.set_yticks(range(len(figures)), [figure.name for figure in figures])
    axes.invert_yaxis()
    if largest > WIDE:
        axes.set_xscale("log")
        axes.set_xticks([1, 2, 5, 10], ["1", "2", "5", "10"])
    axes.set_xlabel("ratio (red: the goal)")
    axes.set_title(title)
    _save(drawing, file)


def _draw_lines(file: Path, title: str, plot: Plot) -> None:
    drawing, axes = plt.subplots(figsize=(8, 4))
    for name, points in plot.lines.items():
        axes.plot(*zip(*points), "o-", label=name)
    axes.set_xscale("log", base=2)
    measured = sorted({x for points in plot.lines.values() for x, _ in points})
    axes.set_xticks(measured, [f"{x:g}" for x in measured])
    axes.set_ylim(bottom=0)
    axes.set_xlabel(plot.x)
    axes.set_ylabel(plot.y)
    axes.set_title(title)
    axes.legend()
    _save(drawing, file)


def _save(drawing: plt.Figure, file: Path) -> None:
    drawing.savefig(file, bbox_inches="tight", metadata={"Date": None})
    plt.close(drawing)
