"""What a simulated service does when it is called: every way a neighbour can behave.

Answers are plain values, so a test can hand any of them to `Peer.once` and
`Peer.always`:

    peer.once("Get", Failure("org.example.Error.Busy", "later"), Silence())
    peer.always("Get", Reply("v", Variant("s", "not a number")))
"""

from __future__ import annotations

import asyncio
from abc import ABC, abstractmethod
from concurrent.futures import Future
from typing import TYPE_CHECKING, Any

from dbus_next import Message

if TYPE_CHECKING:
    from .peer import Peer

UNKNOWN_METHOD = "org.freedesktop.DBus.Error.UnknownMethod"
INVALID_ARGS = "org.freedesktop.DBus.Error.InvalidArgs"


class Answer(ABC):
    """How one call is answered."""

    @abstractmethod
    async def give(self, peer: Peer, call: Message) -> None:
        """Carries the answer out; runs on the loop's thread."""


class Reply(Answer):
    """A reply of any signature; the body's values follow it."""

    def __init__(self, signature: str = "", *body: Any) -> None:
        self.signature = signature
        self.body = list(body)

    async def give(self, peer: Peer, call: Message) -> None:
        """See `Answer.give`."""
        await peer.connection.send(Message.new_method_return(call, self.signature, self.body))


class Failure(Answer):
    """An error reply of any name and text."""

    def __init__(self, name: str, text: str = "") -> None:
        self.name = name
        self.text = text

    async def give(self, peer: Peer, call: Message) -> None:
        """See `Answer.give`."""
        await peer.connection.send(Message.new_error(call, self.name, self.text))


class Silence(Answer):
    """No answer, ever: the caller runs into its own time limit."""

    async def give(self, peer: Peer, call: Message) -> None:
        """See `Answer.give`."""


class Departure(Answer):
    """The peer leaves the bus without answering the call."""

    async def give(self, peer: Peer, call: Message) -> None:
        """See `Answer.give`."""
        await peer.leave()


class Late(Answer):
    """Another answer, some seconds later."""

    def __init__(self, seconds: float, answer: Answer) -> None:
        self.seconds = seconds
        self.answer = answer

    async def give(self, peer: Peer, call: Message) -> None:
        """See `Answer.give`."""
        await asyncio.sleep(self.seconds)
        await self.answer.give(peer, call)


class Latch:
    """An event that a test opens, from any thread, to let held answers go."""

    def __init__(self) -> None:
        self._opened: Future[None] = Future()

    def open(self) -> None:
        """Lets everything that waits, and all that comes later, pass."""
        if not self._opened.done():
            self._opened.set_result(None)

    async def passed(self) -> None:
        """Waits until it is open."""
        # Shielded: the end of one waiter must not be the end of the others.
        await asyncio.shield(asyncio.wrap_future(self._opened))


class Held(Answer):
    """Another answer, once a latch is opened."""

    def __init__(self, latch: Latch, answer: Answer) -> None:
        self.latch = latch
        self.answer = answer

    async def give(self, peer: Peer, call: Message) -> None:
        """See `Answer.give`."""
        await self.latch.passed()
        await self.answer.give(peer, call)
