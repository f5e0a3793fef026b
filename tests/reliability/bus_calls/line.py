"""A bus connection over which messages of any size go, many at a time."""

from __future__ import annotations

import asyncio

from dbus_next import Message, MessageFlag, MessageType
from dbus_next.aio import MessageBus


class Line:
    """Sends calls and hands out their replies.

    The library gives a connection up when the socket has no room for one of several waiting
    messages. So one message is written after the other here; their replies come in any order.
    """

    def __init__(self, bus: MessageBus) -> None:
        self._bus = bus
        self._writing = asyncio.Lock()
        self._waiting: dict[int, asyncio.Future[Message]] = {}
        bus.add_message_handler(self._receive)

    @classmethod
    async def open(cls, address: str) -> Line:
        """A new connection to the bus at an address; file descriptors may go over it."""
        bus = MessageBus(bus_address=address, negotiate_unix_fd=True)
        return cls(await bus.connect())

    async def call(self, message: Message) -> Message | None:
        """The reply, whatever it is; nothing for a call that wants none."""
        message.serial = self._bus.next_serial()
        reply: asyncio.Future[Message] = asyncio.get_running_loop().create_future()
        self._waiting[message.serial] = reply
        try:
            async with self._writing:
                await self._bus.send(message)
            if message.flags & MessageFlag.NO_REPLY_EXPECTED:
                return None
            return await reply
        finally:
            del self._waiting[message.serial]

    async def lost(self) -> None:
        """Returns when the bus has thrown this connection off, or raises."""
        await self._bus.wait_for_disconnect()

    def close(self) -> None:
        """Leaves the bus."""
        self._bus.disconnect()

    def _receive(self, message: Message) -> bool:
        if message.message_type not in (MessageType.METHOD_RETURN, MessageType.ERROR):
            return False
        reply = self._waiting.get(message.reply_serial)
        if reply is not None and not reply.done():
            reply.set_result(message)
        return True
