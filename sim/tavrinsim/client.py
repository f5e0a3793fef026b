"""A client of the private bus, for tests and for the console."""

from __future__ import annotations

import threading
import time
from collections.abc import Callable
from concurrent.futures import Future
from typing import Any

from dbus_next import Message, MessageType, Variant

from . import names
from .connection import CALL_TIMEOUT, BusError, Connection
from .loop import LoopThread

Interfaces = dict[str, dict[str, Variant]]


class Client:
    """A connection of the operator's; every method blocks and may raise BusError."""

    def __init__(self, loop: LoopThread, address: str) -> None:
        self.signals: list[Message] = []
        self._loop = loop
        self._news = threading.Condition()
        self._connection = Connection(address)
        loop.run(self._connection.open(self._receive))

    def close(self) -> None:
        """Leaves the bus."""
        self._loop.run(self._connection.close())

    # -- any call ----------------------------------------------------------------------

    def call(
        self,
        destination: str,
        path: str,
        interface: str,
        member: str,
        signature: str = "",
        *body: Any,
        timeout: float = CALL_TIMEOUT,
    ) -> list[Any]:
        """A method call of any signature; the reply's values."""
        return self.begin_call(
            destination, path, interface, member, signature, *body, timeout=timeout
        ).result(timeout + 5)

    def begin_call(
        self,
        destination: str,
        path: str,
        interface: str,
        member: str,
        signature: str = "",
        *body: Any,
        timeout: float = CALL_TIMEOUT,
    ) -> Future[list[Any]]:
        """As `call`, without waiting for the reply."""

        async def work() -> list[Any]:
            reply = await self._connection.call(
                destination, path, interface, member, signature, body, timeout
            )
            return list(reply.body)

        return self._loop.begin(work())

    # -- properties and objects --------------------------------------------------------

    def get(
        self, path: str, interface: str, prop: str, destination: str = names.SERVICE
    ) -> Variant:
        """One property, with its type."""
        arguments = ("ss", interface, prop)
        return self.call(destination, path, names.PROPERTIES, "Get", *arguments)[0]

    def get_all(
        self, path: str, interface: str, destination: str = names.SERVICE
    ) -> dict[str, Variant]:
        """All properties of an interface, in the order in which they came."""
        return self.call(destination, path, names.PROPERTIES, "GetAll", "s", interface)[0]

    def set(
        self,
        path: str,
        interface: str,
        prop: str,
        value: Variant,
        destination: str = names.SERVICE,
    ) -> None:
        """Writes one property, with any type."""
        arguments = ("ssv", interface, prop, value)
        self.call(destination, path, names.PROPERTIES, "Set", *arguments)

    def managed_objects(
        self, root: str = names.OBJECT_ROOT, destination: str = names.SERVICE
    ) -> dict[str, Interfaces]:
        """Every object below `root` with its interfaces and properties."""
        return self.call(destination, root, names.OBJECT_MANAGER, "GetManagedObjects")[0]

    def introspect(self, path: str, destination: str = names.SERVICE) -> str:
        """The object's description, XML as it came."""
        return str(self.call(destination, path, names.INTROSPECTABLE, "Introspect")[0])

    # -- names and signals -------------------------------------------------------------

    def owner(self, name: str = names.SERVICE) -> str | None:
        """Unique name of a name's owner, None where nobody owns it."""
        try:
            return str(self._call_bus("GetNameOwner", "s", name)[0])
        except BusError as error:
            if error.name.endswith(".NameHasNoOwner"):
                return None
            raise

    def bus_names(self) -> list[str]:
        """All names on the bus, unique ones included."""
        return list(self._call_bus("ListNames")[0])

    def process_of(self, name: str) -> int:
        """The process id behind a name."""
        return int(self._call_bus("GetConnectionUnixProcessID", "s", name)[0])

    def connections_of(self, pid: int) -> list[str]:
        """Unique names of a process: finds a service that owns no name yet."""
        unique = [name for name in self.bus_names() if name.startswith(":")]
        return [name for name in unique if self._process_of(name) == pid]

    def subscribe(self, rule: str) -> None:
        """Adds a match rule; matching signals collect in `signals`."""
        self._call_bus("AddMatch", "s", rule)

    def wait_for(self, condition: Callable[[], bool], timeout: float = 20) -> None:
        """Waits until `condition` holds, looking again at every subscribed signal."""
        with self._news:
            if not self._news.wait_for(condition, timeout):
                raise TimeoutError(f"{timeout} s passed; {len(self.signals)} signals came")

    def wait_for_name(
        self, name: str = names.SERVICE, timeout: float = 20, pid: int | None = None
    ) -> str:
        """Waits until somebody owns the name, or until the process `pid` does.

        Returns the owner's unique name. The bus notices the end of a process a moment
        after its parent does: after a restart only `pid` tells the new owner from the old.
        """
        deadline = time.monotonic() + timeout
        rule = f"sender='{names.BUS}',member='NameOwnerChanged',arg0='{name}'"
        self.subscribe(rule)
        try:
            while True:
                seen = len(self.signals)
                owner = self.owner(name)
                if owner is not None and pid in (None, self._process_of(owner)):
                    return owner
                left = max(0.0, deadline - time.monotonic())
                self.wait_for(lambda: len(self.signals) > seen, left)
        finally:
            self._call_bus("RemoveMatch", "s", rule)

    def _process_of(self, name: str) -> int | None:
        try:
            return self.process_of(name)
        except BusError:
            return None  # left the bus since it was named

    def _call_bus(self, member: str, signature: str = "", *body: Any) -> list[Any]:
        return self.call(names.BUS, names.BUS_PATH, names.BUS, member, signature, *body)

    def _receive(self, message: Message) -> bool:
        if message.message_type is not MessageType.SIGNAL:
            return False
        with self._news:
            self.signals.append(message)
            self._news.notify_all()
        return False
