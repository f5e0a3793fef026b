"""A process that makes the calls, as the user that it was told to become."""

from __future__ import annotations

import asyncio
import os
import pwd
import time
from collections import Counter
from dataclasses import dataclass, field
from multiprocessing.connection import Connection
from random import Random

from dbus_next import Message, MessageFlag, MessageType
from tavrinsim import names

from .calls import Call, CallMaker, Hints
from .line import Line
from .shape import Shape
from .values import Values

# How many calls wait for their replies at any time.
AT_ONCE = 16

# Nothing that the service has to wait for on the way to an answer takes as long in a healthy controller.
PATIENCE = 15.0

DENIED = "org.freedesktop.DBus.Error.AccessDenied"

# What the bus says when a service went away before it answered the call, or before it came.
LOST = {
    "org.freedesktop.DBus.Error.NoReply",
    "org.freedesktop.DBus.Error.ServiceUnknown",
    "org.freedesktop.DBus.Error.NameHasNoOwner",
}

TOLD_EVERY = 100


@dataclass(frozen=True)
class Order:
    """What is to be done."""

    address: str
    user: str
    seed: int
    count: int
    places: list[tuple[str, str]]
    folders: list[str]
    numbers: list[int]


@dataclass
class Answers:
    """What came back: how often each kind of answer, and the calls to which it was a wrong one."""

    kinds: Counter[str] = field(default_factory=Counter)
    members: Counter[str] = field(default_factory=Counter)
    unanswered: list[str] = field(default_factory=list)
    let_through: list[str] = field(default_factory=list)
    slowest: float = 0
    paths: int = 0
    methods: int = 0
    properties: int = 0


class Caller:
    """Makes the calls of one order."""

    def __init__(self, order: Order, line: Line, told: Connection) -> None:
        self.answers = Answers()
        self._order = order
        self._line = line
        self._told = told
        self._begun = 0
        self._descriptor = os.open("/dev/null", os.O_RDONLY)

    async def run(self) -> None:
        """All calls, some of them at a time."""
        self._owner = (await self._ask_bus("GetNameOwner", names.SERVICE)).body[0]
        maker = self._maker(await self._walk())
        await asyncio.gather(*(self._call_on(maker) for _ in range(AT_ONCE)))

    async def _walk(self) -> Shape:
        """The shape, walked through once more for each object found (introspection is a call)."""
        texts: dict[str, str] = {}
        while True:
            missing: list[str] = []

            def known(path: str) -> str:
                if path not in texts:
                    missing.append(path)
                return texts.get(path, "<node/>")

            shape = Shape.walk(known)
            if not missing:
                return shape
            for path in missing:
                texts[path] = await self._introspect(path)

    async def _introspect(self, path: str) -> str:
        reply = await self._line.call(
            Message(names.SERVICE, path, names.INTROSPECTABLE, "Introspect")
        )
        assert reply is not None and reply.message_type is MessageType.METHOD_RETURN
        return str(reply.body[0])

    def _maker(self, shape: Shape) -> CallMaker:
        order, random = self._order, Random(self._order.seed)
        self.answers.paths = len(shape.paths)
        self.answers.methods = len(shape.methods)
        self.answers.properties = len(shape.properties)
        hints = Hints(order.places, order.folders, order.numbers)
        known = [name for prop in shape.properties for name in (prop.interface, prop.name)]
        values = Values(random, [*hints.texts(), *known[:40]], order.numbers)
        return CallMaker(random, shape, values, hints)

    async def _call_on(self, maker: CallMaker) -> None:
        while self._begun < self._order.count:
            self._begun += 1
            if self._begun % TOLD_EVERY == 0:
                self._told.send(self._begun)
            await self._make(maker.next())

    async def _make(self, call: Call) -> None:
        begin = time.monotonic()
        try:
            reply = await asyncio.wait_for(self._line.call(self._message(call)), PATIENCE)
        except asyncio.TimeoutError:
            self.answers.unanswered.append(call.text())
            return
        self.answers.slowest = max(self.answers.slowest, time.monotonic() - begin)
        self.answers.members[call.kind] += 1
        if reply is not None:
            self._judge(call, reply)

    def _judge(self, call: Call, reply: Message) -> None:
        is_error = reply.message_type is MessageType.ERROR
        kind = str(reply.error_name) if is_error else "a result"
        self.answers.kinds[kind] += 1
        if kind in LOST:
            self.answers.unanswered.append(call.text())
        if kind != DENIED and not call.only_reads:
            self.answers.let_through.append(call.text())

    def _message(self, call: Call) -> Message:
        no_reply = MessageFlag.NO_REPLY_EXPECTED
        return Message(
            destination=self._owner if call.to_unique_name else names.SERVICE,
            path=call.path,
            interface=call.interface,  # type: ignore[arg-type] # the library knows "none" as well
            member=call.member,
            signature=call.signature,
            body=call.body,
            flags=MessageFlag.NONE if call.wants_reply else no_reply,
            unix_fds=[self._descriptor] if call.with_descriptor else [],
        )

    async def _ask_bus(self, member: str, argument: str) -> Message:
        message = Message(
            names.BUS, names.BUS_PATH, names.BUS, member, signature="s", body=[argument]
        )
        reply = await self._line.call(message)
        assert reply is not None and reply.message_type is MessageType.METHOD_RETURN
        return reply


async def _run(order: Order, told: Connection) -> Answers:
    line = await Line.open(order.address)
    caller = Caller(order, line, told)
    calls, loss = asyncio.create_task(caller.run()), asyncio.create_task(line.lost())
    await asyncio.wait([calls, loss], return_when=asyncio.FIRST_COMPLETED)
    if not calls.done():
        raise RuntimeError(f"the bus has cut the connection: {loss.exception()}")
    calls.result()
    line.close()
    return caller.answers


def _become(user: str) -> None:
    entry = pwd.getpwnam(user)
    if entry.pw_uid != os.geteuid():
        os.setgroups([])
        os.setgid(entry.pw_gid)
        os.setuid(entry.pw_uid)


def carry_out(order: Order, told: Connection) -> None:
    """Does what the order says; tells now and then how many calls are made, at the end the answers."""
    _become(order.user)
    told.send(asyncio.run(_run(order, told)))
