"""The installed introspection XML is what the running service answers."""

from __future__ import annotations

from pathlib import Path
from xml.etree import ElementTree

import pytest
from expected import interfaces
from tavrinsim import names
from tavrinsim.world import World

# Tag, attributes, and the same of all that is inside, in order.
Tree = tuple[str, dict[str, str], list["Tree"]]


def tree(element: ElementTree.Element) -> Tree:
    """All that an element says but the names of arguments, which the service keeps to itself."""
    attributes = dict(element.attrib)
    if element.tag == "arg":
        attributes.pop("name", None)
    return (element.tag, attributes, [tree(inner) for inner in element])


@pytest.fixture
def served(shared_service: World) -> dict[str, Tree]:
    """The interfaces of a CPLD's object by name, as it tells them."""
    answer = shared_service.client.introspect(names.PBB.object_path(1))
    found = ElementTree.fromstring(answer).iter("interface")
    return {interface.get("name", ""): tree(interface) for interface in found}


@pytest.mark.parametrize("name", interfaces.ALL)
def test_a_file_says_what_the_service_answers(
    served: dict[str, Tree], binary: Path, name: str
) -> None:
    file = binary.parent / "interfaces" / f"{name}.xml"
    (described,) = ElementTree.parse(file).getroot()
    assert tree(described) == served[name]


def test_arguments_have_the_names_of_the_definition(binary: Path) -> None:
    file = binary.parent / "interfaces" / f"{names.COMP_UPDATE}.xml"
    method = ElementTree.parse(file).find(".//method[@name='CompFirmwareUpdate']")
    assert method is not None
    assert [(a.get("name"), a.get("direction")) for a in method.iter("arg")] == [
        ("fqdd", "in"),
        ("transactionId", "in"),
        ("result", "out"),
    ]
