"""One call after the other: right ones, nearly right ones and hopelessly wrong ones."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass, replace
from random import Random
from typing import Any

from dbus_next import Variant
from tavrinsim import names

from .shape import Property, Shape
from .values import Values

# What an ordinary user may call, as the bus policy of the service says.
READING = {
    (names.PROPERTIES, "Get"),
    (names.PROPERTIES, "GetAll"),
    (names.OBJECT_MANAGER, "GetManagedObjects"),
    (names.INTROSPECTABLE, "Introspect"),
    ("org.freedesktop.DBus.Peer", "Ping"),
}

UNKNOWN_NAMES = ["X", "_", "compfirmwareupdate", "CompFirmwareUpdates", "Set_", "a" * 255]
UNKNOWN_INTERFACES = [
    "a.b",
    "org.freedesktop.DBus",
    "com.vexa.bevon.cmnupdate",
    "x." * 126 + "y",
]
UNKNOWN_PATHS = ["/", "/com", "/com/vexa/bevon/cpld_updater/PBB_PLD_0", "/x" * 500]


@dataclass(frozen=True)
class Call:
    """A call ready to be sent; without an interface, the service has to guess."""

    kind: str
    path: str
    interface: str | None
    member: str
    signature: str
    body: list[Any]
    with_descriptor: bool = False
    wants_reply: bool = True
    to_unique_name: bool = False

    @property
    def only_reads(self) -> bool:
        """Whether an ordinary user may make it."""
        return (self.interface, self.member) in READING

    def text(self) -> str:
        """The call for a person, its arguments cut short."""
        where = f"{self.path} {self.interface}.{self.member}"
        return f"{self.kind}: {where[:300]}({self.signature}) {str(self.body)[:300]}"


class CallMaker:
    """Makes calls for all that a shape holds; the same seed makes the same ones."""

    def __init__(self, random: Random, shape: Shape, values: Values, hints: "Hints") -> None:
        self._random = random
        self._shape = shape
        self._values = values
        self._hints = hints
        self._writable = [p for p in shape.properties if p.writable]
        self._kinds: dict[Callable[[], Call], int] = {
            self._method: 20,
            self._method_of_wrong_types: 15,
            self._write: 15,
            self._write_of_wrong_type: 12,
            self._read: 8,
            self._read_all: 5,
            self._standard_with_odd_names: 8,
            self._unknown: 8,
            self._without_interface: 4,
            self._step_of_a_job: 5,
        }

    def next(self) -> Call:
        """The next call."""
        self._values.descriptor_used = False
        make = self._random.choices(list(self._kinds), list(self._kinds.values()))[0]
        return replace(
            make(),
            with_descriptor=self._values.descriptor_used,
            wants_reply=self._random.random() > 0.02,
            to_unique_name=self._random.random() < 0.3,
        )

    def _method(self, kind: str = "method") -> Call:
        method = self._random.choice(self._shape.methods)
        body = self._values.arguments(method.signature)
        return Call(kind, method.path, method.interface, method.name, method.signature, body)

    def _method_of_wrong_types(self) -> Call:
        signature = self._values.signature()
        body = self._values.arguments(signature)
        return replace(self._method("wrong types"), signature=signature, body=body)

    def _write(self) -> Call:
        prop = self._random.choice(self._writable)
        return _set(prop, *self._values.arguments(prop.signature))

    def _write_of_wrong_type(self) -> Call:
        prop = self._random.choice(self._shape.properties)
        body = [prop.interface, prop.name, *self._values.arguments("v")]
        return Call("wrong write", prop.path, names.PROPERTIES, "Set", "ssv", body)

    def _read(self) -> Call:
        prop = self._random.choice(self._shape.properties)
        body = [prop.interface, prop.name]
        return Call("read", prop.path, names.PROPERTIES, "Get", "ss", body)

    def _read_all(self) -> Call:
        path, interface = self._random.choice(self._shape.interfaces())
        return Call("read", path, names.PROPERTIES, "GetAll", "s", [interface])

    def _standard_with_odd_names(self) -> Call:
        member, signature = self._random.choice(
            [("Get", "ss"), ("GetAll", "s"), ("Set", "ssv")]
        )
        path = self._random.choice(self._shape.paths)
        body = self._values.arguments(signature)
        return Call("odd names", path, names.PROPERTIES, member, signature, body)

    def _unknown(self) -> Call:
        choice = self._random.choice
        change: dict[str, str] = choice(
            [
                {"path": choice(UNKNOWN_PATHS)},
                {"interface": choice(UNKNOWN_INTERFACES)},
                {"member": choice(UNKNOWN_NAMES)},
            ]
        )
        call = self._method("unknown")
        return replace(
            call,
            path=change.get("path", call.path),
            interface=change.get("interface", call.interface),
            member=change.get("member", call.member),
        )

    def _without_interface(self) -> Call:
        return replace(self._method("no interface"), interface=None)

    def _step_of_a_job(self) -> Call:
        """What a coordinator does; now and then the steps add up to a job that runs."""
        path, fqdd = self._random.choice(self._hints.places)
        step = self._random.choice(["Component_id", "Resource_URI", "call"])
        if step == "Component_id":
            return _set(
                _job_property(path, step, "u"), self._random.choice(self._hints.numbers)
            )
        if step == "Resource_URI":
            return _set(
                _job_property(path, step, "s"), self._random.choice(self._hints.folders)
            )
        transaction = self._random.getrandbits(32)
        body = [fqdd, transaction]
        return Call("job", path, names.COMP_UPDATE, "CompFirmwareUpdate", "su", body)


@dataclass(frozen=True)
class Hints:
    """What means something to the service: objects with their FQDDs, payload folders, numbers."""

    places: list[tuple[str, str]]
    folders: list[str]
    numbers: list[int]

    def texts(self) -> list[str]:
        """All that is a text."""
        return [text for place in self.places for text in place] + self.folders


def _job_property(path: str, name: str, signature: str) -> Property:
    return Property(path, names.COMP_UPDATE, name, signature, writable=True)


def _set(prop: Property, value: Any) -> Call:
    body = [prop.interface, prop.name, Variant(prop.signature, value)]
    return Call("write", prop.path, names.PROPERTIES, "Set", "ssv", body)
