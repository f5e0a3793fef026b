"""What a service has on the bus, walked from "/" by introspection; what callers can write there, and how it is put back."""

from __future__ import annotations

from collections.abc import Callable
from contextlib import suppress
from dataclasses import dataclass, field
from typing import Any
from xml.etree import ElementTree

from dbus_next import Variant
from tavrinsim import names
from tavrinsim.connection import BusError
from tavrinsim.world import World

from .values import LENGTHS

Introspect = Callable[[str], str]


@dataclass(frozen=True)
class Method:
    """A method of one object; `signature` is that of its arguments."""

    path: str
    interface: str
    name: str
    signature: str


@dataclass(frozen=True)
class Property:
    """A property of one object."""

    path: str
    interface: str
    name: str
    signature: str
    writable: bool

    @property
    def writable_text(self) -> bool:
        """Whether it is a text that takes another one's place, of any length."""
        return self.writable and self.signature == "s"


@dataclass
class Shape:
    """All of it; standard interfaces included."""

    paths: list[str] = field(default_factory=list)
    methods: list[Method] = field(default_factory=list)
    properties: list[Property] = field(default_factory=list)

    @classmethod
    def walk(cls, introspect: Introspect) -> Shape:
        """Everything from the root on; `introspect` gives the description of a path."""
        shape = cls()
        waiting = ["/"]
        while waiting:
            path = waiting.pop(0)
            tree = ElementTree.fromstring(introspect(path))
            shape._take(path, tree)
            children = [node.get("name", "") for node in tree.findall("node")]
            waiting += [f"{path.rstrip('/')}/{child}" for child in children]
        return shape

    def interfaces(self) -> list[tuple[str, str]]:
        """Path and interface of everything that has properties."""
        return list(dict.fromkeys((p.path, p.interface) for p in self.properties))

    def _take(self, path: str, tree: ElementTree.Element) -> None:
        self.paths.append(path)
        for interface in tree.findall("interface"):
            name = interface.get("name", "")
            for method in interface.findall("method"):
                arguments = [a for a in method.findall("arg") if a.get("direction") != "out"]
                signature = "".join(a.get("type", "") for a in arguments)
                self.methods.append(Method(path, name, method.get("name", ""), signature))
            for member in interface.findall("property"):
                writable = member.get("access") == "readwrite"
                place = (path, name, member.get("name", ""), member.get("type", ""))
                self.properties.append(Property(*place, writable))


# -- what can be written, and how it takes the room that it took before ----------------


State = dict[tuple[str, str], dict[str, Variant]]

# A text keeps the room of a longer one before it. This one, longer than what fits into a string
# itself, gives every text the same room before its own value is put back.
FILLING = Variant("s", "x" * 64)

# The same for the texts in the record of the last job, which nobody puts back: longer than any that
# is sent, so that none of those makes them longer.
LONGEST = "x" * (2 * max(length for length, _ in LENGTHS))

# The bytes of a block may differ by so much for the same text: where less would be left over of a
# free place, the C library hands out all of it. The longest text may have pages of its own.
ROUNDING = 16
PAGE = 4096


class Properties:
    """The properties of one service."""

    def __init__(self, world: World, shape: Shape) -> None:
        self._world = world
        self._shape = shape

    def state(self) -> State:
        """All of their values."""
        places = [place for place in self._shape.interfaces() if place[1] != names.PROPERTIES]
        return {place: self._world.client.get_all(*place) for place in places}

    def rounding(self) -> int:
        """How many bytes more the same values may take once they were put back."""
        return PAGE + ROUNDING * sum(prop.writable_text for prop in self._shape.properties)

    def put_back(self, before: State) -> None:
        """Writes the values that there were."""
        self._fill_record()
        for prop in self._shape.properties:
            if prop.writable:
                if prop.writable_text:
                    self._set(prop, FILLING)
                self._set(prop, before[prop.path, prop.interface][prop.name])

    def _fill_record(self) -> None:
        """Has the service refuse two jobs, of which its record keeps the longest texts."""
        device, client = self._world.board.devices[0], self._world.client
        path = device.kind.object_path(device.index + 1)
        for name in ("Jobid", "Resource_URI"):
            client.set(path, names.COMP_UPDATE, name, Variant("s", LONGEST))
        for fqdd in (device.fqdd, LONGEST):
            call = (path, names.COMP_UPDATE, "CompFirmwareUpdate", "su", fqdd, 0)
            with suppress(BusError):
                client.call(names.SERVICE, *call)

    def _set(self, prop: Property, value: Variant) -> None:
        self._world.client.set(prop.path, prop.interface, prop.name, value)


def difference(before: State, now: State) -> list[Any]:
    """Where they differ: place, name, value before, value now."""
    return [
        (place, name, value, now[place].get(name))
        for place, values in before.items()
        for name, value in values.items()
        if now[place].get(name) != value
    ]
