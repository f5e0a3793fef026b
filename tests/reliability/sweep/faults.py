"""Faults that strike the n-th event of their kind, and what tells whether they have."""

from __future__ import annotations

import time
from abc import ABC, abstractmethod
from collections.abc import Callable, Mapping
from dataclasses import dataclass, field
from typing import Any

from dbus_next import Message
from support.failing_calls import Control, FailingCalls, Failure
from tavrinsim.answers import Answer
from tavrinsim.coordinator import REGISTER, STATUS
from tavrinsim.peer import Call, Peer
from tavrinsim.world import World

# More events than there ever are.
NEVER = 2**31


@dataclass(frozen=True)
class Armed:
    """A fault in force in one world, until it is disarmed."""

    count: Callable[[], int]
    """How many events of its kind there have been."""
    acted: Callable[[], bool]
    """Whether it has struck."""
    disarm: Callable[[], None]
    """Takes it back."""
    where: Callable[[], str] = str
    """What it struck, where that is known."""


@dataclass(frozen=True)
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

    failure: Failure

    @property
    def events(self) -> str:
        """See `Fault.events`."""
        return f"{self.failure.which.name} {self.failure.scope.name}"

    def arm(self, world: World, calls: FailingCalls, number: int) -> Armed:
        """See `Fault.arm`."""
        calls.arm(self.failure, number)
        return Armed(
            count=lambda: int(calls.now.count),
            acted=lambda: calls.now.failed > 0,
            disarm=calls.disarm,
            where=lambda: _where(calls.now) if calls.now.failed > 0 else "",
        )


def _where(now: Control) -> str:
    return f"{now.call.decode()} at {now.place:#x}"


@dataclass(frozen=True)
class BoardFault(Fault):
    """A fault of the simulated board: `at` and `effect` as in `FaultTable.add`."""

    at: str
    effect: Mapping[str, Any] = field(hash=False)
    times: int | None = None

    @property
    def events(self) -> str:
        """See `Fault.events`."""
        return self.at

    def arm(self, world: World, calls: FailingCalls, number: int) -> Armed:
        """See `Fault.arm`."""
        struck = number or NEVER
        fault = world.board.faults.add(self.at, {}, dict(self.effect), struck - 1, self.times)
        return Armed(lambda: fault.hits, lambda: fault.hits >= struck, fault.remove)


@dataclass(frozen=True)
class ProgrammingFault(Fault):
    """A run of the programming library that goes wrong at its n-th step.

    `effect` names the member that takes the step's number; `codes` are what the run ends with
    where it does not throw.
    """

    effect: str
    codes: tuple[int, int, int] | None = None

    @property
    def events(self) -> str:
        """See `Fault.events`."""
        return "steps of the programming library"

    def arm(self, world: World, calls: FailingCalls, number: int) -> Armed:
        """See `Fault.arm`."""
        start = world.trace.mark()
        effect: dict[str, Any] = {self.effect: (number or NEVER) - 1}
        if number and self.codes:
            effect["codes"] = self.codes
        fault = world.board.faults.add("programming", {}, effect)

        def lines(name: str) -> list[dict[str, Any]]:
            return world.trace.select(start=start, name=f"cpldfwupdate.{name}")

        def acted() -> bool:
            if len(lines("progress")) + 1 < number:
                return False  # codes that wait for a step that does not come are those of the end
            failed = any(any(line["result"].values()) for line in lines("finish"))
            return failed or bool(lines("throw"))

        return Armed(lambda: len(lines("progress")), acted, fault.remove)


@dataclass(frozen=True)
class AnswerFault(Fault):
    """A neighbour's bad answer, once or from the n-th call on."""

    bad: Callable[[], Answer]
    for_good: bool = False

    @property
    def events(self) -> str:
        """See `Fault.events`."""
        return "calls of neighbours"

    def arm(self, world: World, calls: FailingCalls, number: int) -> Armed:
        """See `Fault.arm`."""
        answer = _NthAnswer(self, number or NEVER)
        for peer, member in _members(world):
            peer.always(member, answer)

        def disarm() -> None:
            for peer, member in _members(world):
                peer.normally(member)
                peer.start()  # where it has left

        return Armed(
            count=lambda: answer.count,
            acted=lambda: answer.where != "",
            disarm=disarm,
            where=lambda: answer.where,
        )


class _NthAnswer(Answer):
    """The peer's normal answer, but to one call or to all from there on."""

    def __init__(self, fault: AnswerFault, number: int) -> None:
        self._fault = fault
        self._number = number
        self.count = 0
        self.where = ""

    async def give(self, peer: Peer, call: Message) -> None:
        """See `Answer.give`; all calls come on one thread."""
        self.count += 1
        struck = self.count == self._number
        if struck:
            self.where = str(call.member)
        if struck or self._fault.for_good and self.count > self._number:
            await self._fault.bad().give(peer, call)
            return
        usual = await peer.normal(Call(time.monotonic(), call))
        await usual.give(peer, call)


def _members(world: World) -> list[tuple[Peer, str]]:
    properties = (world.fru_reader, world.host_state, world.platform)
    reports = [(world.coordinator, member) for member in (REGISTER, STATUS)]
    return [*((peer, "Get") for peer in properties), *reports]
