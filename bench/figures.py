"""What was measured: a figure a row, with its spread and, where it has one, its goal."""

from __future__ import annotations

import statistics
from collections.abc import Callable, Sequence
from dataclasses import dataclass, field
from typing import TypeVar

T = TypeVar("T")

# Fewer say nothing of how far they spread.
ROUNDS = 7


@dataclass(frozen=True)
class Figure:
    """One row of the table: values of one kind, one for each round.

    `unit` is "ratio" where two things were measured in pairs, else what is counted or "ms". The
    median stands for all of them. `most` is the goal: more than that is a miss, and `reason` says
    why there may be one. `remark` says what the number does not.
    """

    name: str
    unit: str
    values: tuple[float, ...]
    most: float | None = None
    remark: str = ""
    reason: str = ""

    @property
    def median(self) -> float:
        """What stands for all of them."""
        return statistics.median(self.values)

    @property
    def spread(self) -> tuple[float, float]:
        """The least and the largest."""
        return min(self.values), max(self.values)

    @property
    def missed(self) -> bool:
        """Whether it has a goal and is above it."""
        return self.most is not None and self.median > self.most

    @property
    def words(self) -> str:
        """What is to be said of it besides its numbers."""
        return "; ".join(filter(None, (self.reason if self.missed else "", self.remark)))


@dataclass
class Plot:
    """Lines by name, each a list of (x, y). `x` and `y` say what is measured, in what unit."""

    x: str
    y: str
    lines: dict[str, list[tuple[float, float]]] = field(default_factory=dict)


@dataclass
class Section:
    """The figures of one subject, in the order in which they are read, and what draws them.

    `plots` holds the lines of the subject by their titles.
    """

    title: str
    figures: list[Figure] = field(default_factory=list)
    plots: dict[str, Plot] = field(default_factory=dict)

    def add(
        self,
        name: str,
        unit: str,
        values: Sequence[float],
        most: float | None = None,
        remark: str = "",
        reason: str = "",
    ) -> Figure:
        """One more row."""
        self.figures.append(Figure(name, unit, tuple(values), most, remark, reason))
        return self.figures[-1]


def in_pairs(
    ours: Callable[[], T], reference: Callable[[], T], rounds: int = ROUNDS
) -> list[tuple[T, T]]:
    """Measures two things by turns, each round in the other order, so that both meet the same machine."""
    pairs = []
    for number in range(rounds):
        if number % 2:
            theirs, mine = reference(), ours()
        else:
            mine, theirs = ours(), reference()
        pairs.append((mine, theirs))
    return pairs


def ratios(pairs: Sequence[tuple[float, float]]) -> list[float]:
    """Of each pair the first to the second."""
    return [ours / reference for ours, reference in pairs]
