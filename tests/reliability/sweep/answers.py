"""Neighbours that answer the n-th call of the service badly, or not at all."""

from __future__ import annotations

import time
from collections.abc import Callable
from dataclasses import dataclass

from dbus_next import Message
from support.failing_calls import FailingCalls
from tavrinsim.answers import Answer
from tavrinsim.coordinator import REGISTER, STATUS
from tavrinsim.peer import Call, Peer
from tavrinsim.world import World

from .faults import NEVER, Armed, Fault


@dataclass(frozen=True)
class AnswerFault(Fault):
    """A bad answer, once or from the n-th call on."""

    group: str
    name: str
    bad: Callable[[], Answer]
    for_good: bool = False

    @property
    def events(self) -> str:
        """See `Fault.events`."""
        return "calls of neighbours"

    def arm(self, world: World, calls: FailingCalls, number: int) -> Armed:
        """See `Fault.arm`."""
        return _ArmedAnswer(self, world, number)


class _ArmedAnswer(Armed):
    def __init__(self, fault: AnswerFault, world: World, number: int) -> None:
        self._answer = _NthAnswer(fault, number or NEVER)
        self._world = world
        for peer, member in _members(world):
            peer.always(member, self._answer)

    @property
    def count(self) -> int:
        return self._answer.count

    @property
    def acted(self) -> bool:
        return self._answer.where != ""

    @property
    def where(self) -> str:
        return self._answer.where

    def disarm(self) -> None:
        for peer, member in _members(self._world):
            peer.normally(member)
            peer.start()  # where it has left


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
