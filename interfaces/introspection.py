#!/usr/bin/python3
"""Writes the introspection XML of a D-Bus interface that is defined in YAML to standard output.

It is what the running service answers, for those who write clients without one at hand. The names
of arguments are in it as well, which the service keeps to itself.
"""

import argparse
import sys
from pathlib import Path
from xml.etree import ElementTree
from xml.etree.ElementTree import Element, SubElement

# Building must leave the source tree as it was.
sys.dont_write_bytecode = True
# The definitions are read here as they are for the bundled bindings, whichever are in use.
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "subprojects" / "sdbusplus"))

from generator.definition import Interface, Method, Property, load_interface  # noqa: E402

DOCTYPE = """\
<!DOCTYPE node PUBLIC "-//freedesktop//DTD D-BUS Object Introspection 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd">
"""

DEPRECATED = "org.freedesktop.DBus.Deprecated"
NO_REPLY = "org.freedesktop.DBus.Method.NoReply"
EMITS_CHANGED = "org.freedesktop.DBus.Property.EmitsChangedSignal"
EXPLICIT = "org.freedesktop.systemd1.Explicit"
PRIVILEGED = "org.freedesktop.systemd1.Privileged"

# How a property's changes are announced, where it is not by a signal with the new value.
ANNOUNCEMENTS = {
    "property_::const_": "const",
    "property_::emits_invalidation": "invalidates",
}


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("root", type=Path, help="folder of the definitions")
    parser.add_argument("name", help="dotted name of the interface")
    arguments = parser.parse_args()
    sys.stdout.write(render(load_interface(arguments.root, arguments.name)))


def render(interface: Interface) -> str:
    """The document, with the members in the order of the definition."""
    node = Element("node")
    element = SubElement(node, "interface", name=interface.name)
    for method in interface.methods:
        _add_method(element, method)
    for prop in interface.properties:
        _add_property(element, prop)
    ElementTree.indent(node, " ")
    return f"{DOCTYPE}{ElementTree.tostring(node, encoding='unicode')}\n"


def _add_method(interface: Element, method: Method) -> None:
    if "common_::hidden" in method.flags:
        return
    element = SubElement(interface, "method", name=method.name)
    for parameter in method.parameters:
        SubElement(
            element, "arg", type=parameter.type.signature, name=parameter.name, direction="in"
        )
    if result := method.result:
        SubElement(element, "arg", type=result.type.signature, name=result.name, direction="out")
    _annotate_access(element, method.flags, changes=True)
    if "method_::no_reply" in method.flags:
        _annotate(element, NO_REPLY, "true")


def _add_property(interface: Element, prop: Property) -> None:
    if "common_::hidden" in prop.flags:
        return
    access = "readwrite" if prop.writable else "read"
    element = SubElement(
        interface, "property", name=prop.name, type=prop.type.signature, access=access
    )
    _annotate_access(element, prop.flags, changes=prop.writable)
    if "property_::explicit_" in prop.flags:
        _annotate(element, EXPLICIT, "true")
    if "property_::emits_change" not in prop.flags:
        ways = [ANNOUNCEMENTS[flag] for flag in prop.flags if flag in ANNOUNCEMENTS]
        _annotate(element, EMITS_CHANGED, ways[0] if ways else "false")


def _annotate_access(member: Element, flags: list[str], changes: bool) -> None:
    if "common_::deprecated" in flags:
        _annotate(member, DEPRECATED, "true")
    # Reading is open to everybody anyway.
    if changes and "common_::unprivileged" not in flags:
        _annotate(member, PRIVILEGED, "true")


def _annotate(member: Element, name: str, value: str) -> None:
    SubElement(member, "annotation", name=name, value=value)


if __name__ == "__main__":
    main()
