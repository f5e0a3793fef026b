"""Faults and gates as such: what is in force on a board, and since when."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from .board import Board
    from .trace import Line


@dataclass
class Fault:
    """One fault in force. Remove it with `remove()`, or all with `board.faults.clear()`."""

    board: "Board" = field(repr=False)
    id: int
    at: str
    match: dict[str, Any]
    effect: dict[str, Any]
    after: int = 0
    times: int | None = None

    @property
    def hits(self) -> int:
        """How many matching events there have been, acted on or not."""
        return self.board.control.hits(self.id)

    def remove(self) -> None:
        """Ends the fault."""
        self.board.faults.remove(self)

    def describe(self) -> dict[str, Any]:
        """The fault's entry in the board description."""
        names = ("id", "at", "match", "effect", "after", "times")
        return {name: getattr(self, name) for name in names}


class Gate:
    """A place where the simulation waits, once told to, until the gate is opened."""

    def __init__(self, board: "Board", name: str) -> None:
        self._board = board
        self.name = name

    def open(self) -> None:
        """Lets everybody through, those who come later too."""
        (self._board.directory / "gates" / self.name).touch()

    def wait_reached(self, timeout: float = 10.0) -> "Line":
        """Returns once somebody stands at the gate."""
        return self._board.trace.wait_for(
            timeout=timeout, what="gate", gate=self.name, event="reached"
        )


class FaultTable:
    """The faults in force on a board."""

    def __init__(self, board: "Board") -> None:
        self._board = board
        self._faults: list[Fault] = []
        self._next_id = 0
        self._next_gate = 0

    def add(
        self,
        at: str,
        match: dict[str, Any],
        effect: dict[str, Any],
        after: int = 0,
        times: int | None = None,
    ) -> Fault:
        """Any fault at all; `Faults` names the useful ones."""
        given = {key: value for key, value in match.items() if value is not None}
        changed = {key: value for key, value in effect.items() if value is not None}
        with self._board.lock:
            number = self._next_id
            self._next_id += 1
            fault = Fault(self._board, number, at, given, changed, after, times)
            self._faults.append(fault)
            self._board.write()
        return fault

    def remove(self, fault: Fault) -> None:
        """Ends one fault."""
        with self._board.lock:
            self._faults.remove(fault)
            self._board.write()

    def clear(self) -> None:
        """Ends all faults."""
        with self._board.lock:
            self._faults.clear()
            self._board.write()

    def describe(self) -> list[dict[str, Any]]:
        """The faults' part of the board description."""
        return [fault.describe() for fault in self._faults]

    def gate(self) -> Gate:
        """A new closed gate."""
        self._next_gate += 1
        return Gate(self._board, f"gate{self._next_gate}")
