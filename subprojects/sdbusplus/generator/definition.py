"""The definition of an interface, read from YAML and checked."""

from __future__ import annotations

import json
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import yaml

from .names import lower_camel, lower_snake, upper_camel
from .types import Type, parse_type

# Flags of the definitions, each with its constant in sdbusplus::vtable. "readonly" has none: it
# only leaves the set handler out.
COMMON_FLAGS = {
    "deprecated": "common_::deprecated",
    "hidden": "common_::hidden",
    "unprivileged": "common_::unprivileged",
}
METHOD_FLAGS = COMMON_FLAGS | {"no_reply": "method_::no_reply"}
PROPERTY_FLAGS = COMMON_FLAGS | {
    "const": "property_::const_",
    "emits_change": "property_::emits_change",
    "emits_invalidation": "property_::emits_invalidation",
    "explicit": "property_::explicit_",
    "readonly": None,
}


@dataclass(frozen=True)
class Parameter:
    """An argument or a result of a method."""

    name: str
    identifier: str
    type: Type
    description: str


@dataclass(frozen=True)
class Method:
    name: str
    identifier: str
    description: str
    parameters: list[Parameter]
    result: Parameter | None
    flags: list[str]


@dataclass(frozen=True)
class Property:
    name: str
    identifier: str
    description: str
    type: Type
    initial: str
    flags: list[str]
    writable: bool


@dataclass(frozen=True)
class Interface:
    name: str
    description: str
    methods: list[Method]
    properties: list[Property]

    @property
    def class_name(self) -> str:
        return upper_camel(self.name.split(".")[-1])

    @property
    def namespace(self) -> str:
        return "::".join(lower_snake(part) for part in self.name.split(".")[:-1])

    @property
    def folder(self) -> str:
        """What the generated files are included by."""
        return self.name.replace(".", "/")

    @property
    def source(self) -> str:
        return self.folder + ".interface.yaml"

    @property
    def variant(self) -> str:
        """The variant that holds any of the properties; its alternatives are sorted as text."""
        return f"std::variant<{', '.join(sorted({p.type.cpp for p in self.properties}))}>"


def load_interface(root: Path, name: str) -> Interface:
    """Reads the definition of an interface from below `root`."""
    path = root / (name.replace(".", "/") + ".interface.yaml")
    content = yaml.safe_load(path.read_text(encoding="utf-8")) or {}
    _refuse(content, "signals", "enumerations")
    return Interface(
        name=name,
        description=_text(content),
        methods=[_method(entry) for entry in content.get("methods") or []],
        properties=[_property(entry) for entry in content.get("properties") or []],
    )


def _refuse(entry: dict[str, Any], *keys: str) -> None:
    """What is not supported is an error: to leave it out would change what the bus sees."""
    for key in keys:
        if entry.get(key):
            raise ValueError(f'"{key}" are not supported')


def _method(entry: dict[str, Any]) -> Method:
    _refuse(entry, "errors")
    results = [_parameter(item) for item in entry.get("returns") or []]
    if len(results) > 1:
        raise ValueError(f'Method "{entry["name"]}": more than one result is not supported')
    return Method(
        name=entry["name"],
        identifier=lower_camel(entry["name"]),
        description=_text(entry),
        parameters=[_parameter(item) for item in entry.get("parameters") or []],
        result=results[0] if results else None,
        flags=_vtable_flags(entry.get("flags") or [], METHOD_FLAGS),
    )


def _parameter(entry: dict[str, Any]) -> Parameter:
    name = entry["name"]
    return Parameter(name, lower_camel(name), parse_type(entry["type"]), _text(entry))


def _property(entry: dict[str, Any]) -> Property:
    _refuse(entry, "errors")
    kind = parse_type(entry["type"])
    flags = entry.get("flags") or []
    # Only where nothing else is said do changes get announced.
    announced = flags if set(flags) - {"readonly"} else ["emits_change", *flags]
    return Property(
        name=entry["name"],
        identifier=lower_camel(entry["name"]),
        description=_text(entry),
        type=kind,
        initial=_initial(entry, kind),
        flags=_vtable_flags(announced, PROPERTY_FLAGS),
        writable=not {"const", "readonly"} & set(flags),
    )


def _vtable_flags(flags: list[str], known: dict[str, str | None]) -> list[str]:
    for flag in flags:
        if flag not in known:
            raise ValueError(f'Invalid flag "{flag}"')
    return [constant for constant in (known[flag] for flag in flags) if constant]


def _initial(entry: dict[str, Any], kind: Type) -> str:
    """The initialiser that stands behind the member: from "default", or empty."""
    value = entry.get("default")
    if value is None:
        return "" if kind.is_class else "{}"
    wanted = {"std::string": str, "bool": bool, "double": (int, float)}.get(kind.cpp, int)
    if kind.cpp.startswith("std::") and kind.cpp != "std::string" or not isinstance(value, wanted):
        raise ValueError(f'Property "{entry["name"]}": invalid default "{value}"')
    return f" = {json.dumps(value, ensure_ascii=False)}"


def _text(entry: dict[str, Any]) -> str:
    return " ".join((entry.get("description") or "").split())
