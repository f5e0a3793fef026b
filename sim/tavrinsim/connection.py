"""One connection to the private bus, at the level of messages."""

from __future__ import annotations

import asyncio
from collections.abc import Callable, Sequence
from typing import Any

from dbus_next import Message, MessageType, Variant
from dbus_next.aio import MessageBus

from . import names
from .loop import LoopThread
from .trace import Trace

# A little more than the 25 s after which the bus library gives up by default.
CALL_TIMEOUT = 30.0


class BusError(Exception):
    """An error reply: its D-Bus `name` and `text`."""

    def __init__(self, name: str, text: str) -> None:
        super().__init__(f"{name}: {text}")
        self.name = name
        self.text = text


class Connection:
    """A bus connection with its own unique name; use it on the loop's thread only."""

    def __init__(self, address: str) -> None:
        self._address = address
        self._bus: MessageBus | None = None

    @property
    def unique_name(self) -> str | None:
        """Such as ":1.7"; None while closed."""
        return self._bus.unique_name if self._bus else None

    async def open(self, handler: Callable[[Message], bool] | None = None) -> None:
        """Connects; `handler` sees every message and answers True where it took it."""
        bus = MessageBus(bus_address=self._address)
        if handler is not None:
            bus.add_message_handler(handler)
        self._bus = await bus.connect()

    async def close(self) -> None:
        """Leaves the bus and gives up all names; open calls get no answer."""
        bus, self._bus = self._bus, None
        if bus is None:
            return
        if bus.connected:
            bus.disconnect()
        # The loss of the connection is what was asked for, not an error.
        await asyncio.gather(bus.wait_for_disconnect(), return_exceptions=True)

    async def call(
        self,
        destination: str,
        path: str,
        interface: str,
        member: str,
        signature: str = "",
        body: Sequence[Any] = (),
        timeout: float = CALL_TIMEOUT,
    ) -> Message:
        """A method call; the reply message, or BusError, or TimeoutError."""
        message = Message(
            destination=destination,
            path=path,
            interface=interface,
            member=member,
            signature=signature,
            body=list(body),
        )
        reply = await asyncio.wait_for(self._open_bus().call(message), timeout)
        assert reply is not None
        if reply.message_type is MessageType.ERROR:
            raise BusError(reply.error_name, str(reply.body[0]) if reply.body else "")
        return reply

    async def call_bus(self, member: str, signature: str = "", *body: Any) -> Message:
        """A call to the bus itself."""
        return await self.call(names.BUS, names.BUS_PATH, names.BUS, member, signature, body)

    async def send(self, message: Message) -> None:
        """Sends any message as it stands."""
        await self._open_bus().send(message)

    async def own(self, name: str) -> None:
        """Claims a name; BusError when the bus or another owner refuses."""
        do_not_queue, owner = 4, 1
        reply = await self.call_bus("RequestName", "su", name, do_not_queue)
        if reply.body != [owner]:
            raise BusError(f"{names.BUS}.Error.AddressInUse", f"{name} is taken")

    def _open_bus(self) -> MessageBus:
        if self._bus is None:
            raise ConnectionError("not on the bus")
        return self._bus


# -- the record of every message -------------------------------------------------------


class BusMonitor:
    """Listens from construction to `stop`; the messages are trace lines "bus"."""

    def __init__(self, loop: LoopThread, address: str, trace: Trace) -> None:
        self._loop = loop
        self._trace = trace
        self._listening = False
        self._connection = Connection(address)
        loop.run(self._begin())

    def stop(self) -> None:
        """Stops listening."""
        self._loop.run(self._connection.close())

    async def _begin(self) -> None:
        await self._connection.open(self._record)
        monitoring = f"{names.BUS}.Monitoring"
        every_message: list[str] = []
        await self._connection.call(
            names.BUS, names.BUS_PATH, monitoring, "BecomeMonitor", "asu", [every_message, 0]
        )
        self._listening = True

    def _record(self, message: Message) -> bool:
        if message.reply_serial and not self._listening:
            return False  # an answer to ourselves, on the way to becoming a monitor
        if message.destination != self._connection.unique_name:
            self._trace.record("bus", **describe(message))
        # Taken in every case: a monitor that answers a call is thrown off the bus.
        return True


def describe(message: Message) -> dict[str, Any]:
    """The fields of a message as JSON can hold them."""
    return {
        "type": message.message_type.name.lower(),
        "sender": message.sender,
        "destination": message.destination,
        "path": message.path,
        "interface": message.interface,
        "member": message.member,
        "error": message.error_name,
        "signature": message.signature,
        "body": [plain(value) for value in message.body],
        "serial": message.serial,
        "reply_serial": message.reply_serial,
    }


def plain(value: Any) -> Any:
    """A body value without D-Bus wrappers: variants unpacked, byte arrays as hex."""
    if isinstance(value, Variant):
        return plain(value.value)
    if isinstance(value, (bytes, bytearray)):
        return value.hex()
    if isinstance(value, (list, tuple)):
        return [plain(item) for item in value]
    if isinstance(value, dict):
        return {str(key): plain(item) for key, item in value.items()}
    return value
