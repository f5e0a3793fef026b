"""The peers that the service only asks and listens to: one property each."""

from __future__ import annotations

from typing import Any

from dbus_next import Variant

from . import names
from .answers import INVALID_ARGS, Answer, Failure, Reply
from .loop import LoopThread
from .peer import Call, Peer


class PropertyPeer(Peer):
    """A service with one property at one path.

    `path`, `interface` and `property` say which; `value` is its present value, of any
    type. `once`/`always` with the member "Get" script the answers to readers.
    """

    def __init__(
        self,
        loop: LoopThread,
        address: str,
        name: str,
        path: str,
        interface: str,
        prop: str,
        value: Variant,
    ) -> None:
        super().__init__(loop, address, name)
        self.path = path
        self.interface = interface
        self.property = prop
        self.value = value
        self.serve(path, names.PROPERTIES, "Get", "GetAll")

    def set(self, value: Variant, announce: bool = True) -> None:
        """Changes the value; readers see it at once, listeners when announced."""
        self.value = value
        if announce:
            self.announce({self.property: value})

    def announce(
        self,
        changed: dict[str, Variant],
        path: str | None = None,
        interface: str | None = None,
    ) -> None:
        """Sends a PropertiesChanged with any contents, whatever the value is."""
        body: list[Any] = [interface or self.interface, changed, []]
        self.signal(path or self.path, names.PROPERTIES, "PropertiesChanged", "sa{sv}as", *body)

    async def normal(self, call: Call) -> Answer:
        """See `Peer.normal`."""
        if call.member == "Get" and call.body == [self.interface, self.property]:
            return Reply("v", self.value)
        if call.member == "GetAll" and call.body == [self.interface]:
            return Reply("a{sv}", {self.property: self.value})
        return Failure(INVALID_ARGS, f"no such property: {call.body}")


class FruReader(PropertyPeer):
    """Reads the platform's FRU data; says when it has finished."""

    def __init__(self, loop: LoopThread, address: str, complete: bool = True) -> None:
        super().__init__(
            loop,
            address,
            "com.vexa.bmc.mppd",
            "/com/vexa/bmc/mppd/info",
            "com.vexa.bmc.mppd.pcardInfo",
            "FRUreadComplete",
            Variant("b", complete),
        )

    def complete(self, value: bool = True, announce: bool = True) -> None:
        """The FRU read is complete (or, with False, not any more)."""
        self.set(Variant("b", value), announce)


class HostState(PropertyPeer):
    """Knows the host's internal power state, a text."""

    def __init__(self, loop: LoopThread, address: str, state: str = "On") -> None:
        super().__init__(
            loop,
            address,
            "xyz.openbmc_project.State.Host",
            "/xyz/openbmc_project/control/host0/internal_power_state",
            "xyz.openbmc_project.Control.Host.InternalPowerState",
            "InternalPowerState",
            Variant("s", state),
        )

    def change(self, state: str, announce: bool = True) -> None:
        """The host goes to another power state, such as "S5OnPending"."""
        self.set(Variant("s", state), announce)


class PlatformIdentity(PropertyPeer):
    """Knows the platform's number; 4 and 5 are the ones that matter to the FLOP."""

    def __init__(self, loop: LoopThread, address: str, number: int = 4) -> None:
        super().__init__(
            loop,
            address,
            "xyz.openbmc_project.Platform",
            "/xyz/openbmc_project/Platform",
            "xyz.openbmc_project.Platform",
            "PlatformID",
            Variant("i", number),
        )

    def identify(self, number: int) -> None:
        """The platform answers with another number from now on."""
        self.value = Variant("i", number)
