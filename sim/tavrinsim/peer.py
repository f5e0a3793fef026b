"""A simulated service on the private bus whose every message can be scripted."""

from __future__ import annotations

import asyncio
import threading
import time
from collections import deque
from collections.abc import Callable
from dataclasses import dataclass
from typing import Any

from dbus_next import Message, MessageType

from .answers import UNKNOWN_METHOD, Answer, Failure
from .connection import Connection
from .loop import LoopThread

# Path, interface and member: what a service answers to.
Endpoint = tuple[str, str, str]


@dataclass(frozen=True)
class Call:
    """A method call as it arrived. `time` is CLOCK_MONOTONIC in seconds."""

    time: float
    message: Message

    @property
    def sender(self) -> str:
        """Unique name of the caller."""
        return str(self.message.sender)

    @property
    def member(self) -> str:
        """The method called."""
        return str(self.message.member)

    @property
    def signature(self) -> str:
        """Types of the arguments."""
        return str(self.message.signature)

    @property
    def body(self) -> list[Any]:
        """The arguments."""
        return list(self.message.body)


class Peer:
    """A service with a bus name and its own connection.

    A member is answered by, in this order: the queue of `once`, the answer of
    `always`, the peer's normal behaviour (`normal`). Calls to a path, interface or
    member that the peer does not have get UnknownMethod, as from a real service, and
    never reach the scripts. All public methods may be called from any thread but the
    loop's.
    """

    def __init__(self, loop: LoopThread, address: str, name: str) -> None:
        self.name = name
        self.calls: list[Call] = []
        self.connection = Connection(address)
        self._loop = loop
        self._arrived = threading.Condition()
        self._endpoints: set[Endpoint] = set()
        self._queues: dict[str, deque[Answer]] = {}
        self._standing: dict[str, Answer] = {}
        self._tasks: set[asyncio.Task[None]] = set()

    # -- life on the bus ---------------------------------------------------------------

    @property
    def running(self) -> bool:
        """Whether the peer is on the bus."""
        return self.connection.unique_name is not None

    def start(self) -> None:
        """Connects and claims the name; nothing happens when already there."""
        if not self.running:
            self._loop.run(self._join())

    def stop(self) -> None:
        """Leaves the bus; open calls get the bus's NoReply error."""
        self._loop.run(self.leave())

    async def leave(self) -> None:
        """As `stop`, on the loop's thread."""
        await self.connection.close()

    # -- scripts -----------------------------------------------------------------------

    def once(self, member: str, *answers: Answer) -> None:
        """The next calls of `member` get these answers, one each."""
        self._queues.setdefault(member, deque()).extend(answers)

    def always(self, member: str, answer: Answer) -> None:
        """All calls of `member` get this answer, until `normally`."""
        self._standing[member] = answer

    def normally(self, member: str) -> None:
        """Forgets what `once` and `always` said about `member`."""
        self._queues.pop(member, None)
        self._standing.pop(member, None)

    def signal(
        self, path: str, interface: str, member: str, signature: str = "", *body: Any
    ) -> None:
        """Broadcasts a signal with any body."""
        message = Message.new_signal(path, interface, member, signature, list(body))
        self._loop.run(self.connection.send(message))

    # -- what came in ------------------------------------------------------------------

    def wait_for(self, condition: Callable[[], bool], timeout: float = 20) -> None:
        """Waits until `condition` holds, looking again at every call that comes in."""
        with self._arrived:
            if not self._arrived.wait_for(condition, timeout):
                raise TimeoutError(f"{self.name}: {timeout} s passed; calls: {self.summary()}")

    def wait_for_calls(self, member: str, count: int = 1, timeout: float = 20) -> list[Call]:
        """Waits until `member` was called `count` times in all; returns those calls."""
        self.wait_for(lambda: len(self.calls_of(member)) >= count, timeout)
        return self.calls_of(member)

    def calls_of(self, member: str) -> list[Call]:
        """All calls of one member so far."""
        return [call for call in list(self.calls) if call.member == member]

    def summary(self) -> list[str]:
        """The calls so far in words, for a failed test's message."""
        return [f"{call.member}{tuple(call.body)}" for call in list(self.calls)]

    # -- for the classes of the real peers ---------------------------------------------

    def serve(self, path: str, interface: str, *members: str) -> None:
        """Declares what the peer answers to."""
        self._endpoints.update((path, interface, member) for member in members)

    async def normal(self, call: Call) -> Answer:
        """The answer where no script says otherwise."""
        return _unknown(call.message)

    def arrived(self, call: Call) -> None:
        """Called for each call, before it is answered and before waiters look."""

    async def _join(self) -> None:
        await self.connection.open(self._receive)
        await self.connection.own(self.name)

    def _receive(self, message: Message) -> bool:
        if message.message_type is not MessageType.METHOD_CALL:
            return False
        call = Call(time.monotonic(), message)
        with self._arrived:
            self.calls.append(call)
            self.arrived(call)
            self._arrived.notify_all()
        task = asyncio.get_running_loop().create_task(self._answer(call))
        self._tasks.add(task)  # the loop itself keeps no reference
        task.add_done_callback(self._tasks.discard)
        return True

    async def _answer(self, call: Call) -> None:
        answer = self._scripted(call.message) or await self.normal(call)
        if self.running:
            await answer.give(self, call.message)

    def _scripted(self, message: Message) -> Answer | None:
        endpoint = (message.path, message.interface, message.member)
        if endpoint not in self._endpoints:
            return _unknown(message)
        queue = self._queues.get(str(message.member))
        if queue:
            return queue.popleft()
        return self._standing.get(str(message.member))


def _unknown(message: Message) -> Failure:
    where = f"{message.path} {message.interface}.{message.member}"
    return Failure(UNKNOWN_METHOD, f"nothing here answers to {where}({message.signature})")
