"""Faults that strike the n-th event of their kind, and what tells whether they have."""

from __future__ import annotations

from abc import ABC, abstractmethod
from collections.abc import Mapping
from dataclasses import dataclass, field
from typing import Any

from support.failing_calls import FailingCalls, Failure
from tavrinsim.world import World

# More events than there ever are.
NEVER = 2**31


class Armed(ABC):
    """A fault in force in one world, until it is disarmed."""

    @property
    @abstractmethod
    def count(self) -> int:
        """How many events of its kind there have been."""

    @property
    @abstractmethod
    def acted(self) -> bool:
        """Whether it has struck."""

    @property
    def where(self) -> str:
        """What it struck, where that is known."""
        return ""

    @abstractmethod
    def disarm(self) -> None:
        """Takes it back."""


class Fault(ABC):
    """A kind of fault. `group` is the class of operations that it strikes, `name` the rest."""

    group: str
    name: str

    @property
    @abstractmethod
    def events(self) -> str:
        """What it strikes one of; the same for faults that differ in their effect only."""

    @abstractmethod
    def arm(self, world: World, calls: FailingCalls, number: int) -> Armed:
        """Strikes at the `number`-th event from now on, counted from 1; with 0 at none."""


@dataclass(frozen=True)
class CallFault(Fault):
    """A failing call of the C library, the bus library or the allocator."""

    group: str
    name: str
    failure: Failure

    @property
    def events(self) -> str:
        """See `Fault.events`."""
        return f"{self.failure.which.name} {self.failure.scope.name}"

    def arm(self, world: World, calls: FailingCalls, number: int) -> Armed:
        """See `Fault.arm`."""
        calls.arm(self.failure, number)
        return _ArmedCall(calls)


class _ArmedCall(Armed):
    def __init__(self, calls: FailingCalls) -> None:
        self._calls = calls

    @property
    def count(self) -> int:
        return self._calls.count

    @property
    def acted(self) -> bool:
        return self._calls.failed > 0

    @property
    def where(self) -> str:
        return f"{self._calls.call} at {self._calls.place:#x}" if self.acted else ""

    def disarm(self) -> None:
        self._calls.disarm()


@dataclass(frozen=True)
class BoardFault(Fault):
    """A fault of the simulated board: `at` and `effect` as in `FaultTable.add`."""

    group: str
    name: str
    at: str
    effect: Mapping[str, Any] = field(hash=False)
    times: int | None = None

    @property
    def events(self) -> str:
        """See `Fault.events`."""
        return self.at

    def arm(self, world: World, calls: FailingCalls, number: int) -> Armed:
        """See `Fault.arm`."""
        return _ArmedBoard(self, world, number)


class _ArmedBoard(Armed):
    def __init__(self, fault: BoardFault, world: World, number: int) -> None:
        self._number = number or NEVER
        after = self._number - 1
        effect = dict(fault.effect)
        self._fault = world.board.faults.add(fault.at, {}, effect, after, fault.times)

    @property
    def count(self) -> int:
        return self._fault.hits

    @property
    def acted(self) -> bool:
        return self._fault.hits >= self._number

    def disarm(self) -> None:
        self._fault.remove()


@dataclass(frozen=True)
class ProgrammingFault(Fault):
    """A run of the programming library that goes wrong at its n-th step.

    `effect` names the member that takes the step's number; `codes` are what the run ends with
    where it does not throw.
    """

    group: str
    name: str
    effect: str
    codes: tuple[int, int, int] | None = None

    @property
    def events(self) -> str:
        """See `Fault.events`."""
        return "steps of the programming library"

    def arm(self, world: World, calls: FailingCalls, number: int) -> Armed:
        """See `Fault.arm`."""
        return _ArmedProgramming(self, world, number)


class _ArmedProgramming(Armed):
    def __init__(self, fault: ProgrammingFault, world: World, number: int) -> None:
        self._world = world
        self._number = number
        self._start = world.trace.mark()
        effect: dict[str, Any] = {fault.effect: (number or NEVER) - 1}
        if number and fault.codes:
            effect["codes"] = fault.codes
        self._fault = world.board.faults.add("programming", {}, effect)

    @property
    def count(self) -> int:
        return len(self._lines("cpldfwupdate.progress"))

    @property
    def acted(self) -> bool:
        if self.count + 1 < self._number:
            return False  # codes that wait for a step that does not come are those of the end
        finished = self._lines("cpldfwupdate.finish")
        failed = any(any(line["result"].values()) for line in finished)
        return failed or bool(self._lines("cpldfwupdate.throw"))

    def disarm(self) -> None:
        self._fault.remove()

    def _lines(self, name: str) -> list[dict[str, Any]]:
        return self._world.trace.select(start=self._start, name=name)
