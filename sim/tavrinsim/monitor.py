"""Writes every message of the private bus into the world's trace."""

from __future__ import annotations

from typing import Any

from dbus_next import Message, Variant

from . import names
from .connection import Connection
from .loop import LoopThread
from .trace import Trace


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
