"""What was measured: a figure a row, with its spread and, where it has one, its goal."""

from __future__ import annotations

import statistics
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from typing import TypeVar

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
