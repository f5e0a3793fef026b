"""What a service has on the bus, walked from "/" by introspection."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass, field
from xml.etree import ElementTree

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
