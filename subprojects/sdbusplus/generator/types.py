"""Types of the definitions: what they are in C++ and on the bus."""

from __future__ import annotations

import re
from dataclasses import dataclass

BASIC = {
    "byte": ("uint8_t", "y"),
    "boolean": ("bool", "b"),
    "int16": ("int16_t", "n"),
    "uint16": ("uint16_t", "q"),
    "int32": ("int32_t", "i"),
    "uint32": ("uint32_t", "u"),
    "int64": ("int64_t", "x"),
    "uint64": ("uint64_t", "t"),
    "double": ("double", "d"),
    "string": ("std::string", "s"),
}

# Name: C++ template, signature around the parts, how many parts (None: one or more).
COMPOUND = {
    "array": ("std::vector", "a{}", 1),
    "dict": ("std::map", "a{{{}}}", 2),
    "struct": ("std::tuple", "({})", None),
    "variant": ("std::variant", "v", None),
}


@dataclass(frozen=True)
class Type:
    """A type by its C++ name and its D-Bus signature."""

    cpp: str
    signature: str

    @property
    def is_class(self) -> bool:
        """Whether moving a value is cheaper than copying it."""
        return self.cpp.startswith("std::")


def parse_type(text: str) -> Type:
    """The type that a text such as "dict[string, variant[string, uint32]]" means."""
    tokens = re.findall(r"\w+|\S", text)
    result = _parse(tokens, text)
    if tokens:
        raise ValueError(f'Invalid type "{text}"')
    return result


def _parse(tokens: list[str], text: str) -> Type:
    """Takes one type off the front of the tokens."""
    name = tokens.pop(0) if tokens else ""
    if name in BASIC:
        return Type(*BASIC[name])
    if name not in COMPOUND:
        raise ValueError(f'Invalid type "{text}"')

    parts = _parse_parts(tokens, text)
    template, signature, count = COMPOUND[name]
    if count not in (None, len(parts)):
        raise ValueError(f'Invalid type "{text}"')
    return Type(
        f"{template}<{', '.join(part.cpp for part in parts)}>",
        signature.format("".join(part.signature for part in parts)),
    )


def _parse_parts(tokens: list[str], text: str) -> list[Type]:
    """Takes "[T, U, ...]" off the front of the tokens."""
    parts = []
    expected = "["
    while tokens and tokens.pop(0) == expected:
        parts.append(_parse(tokens, text))
        expected = ","
        if tokens and tokens[0] == "]":
            tokens.pop(0)
            return parts
    raise ValueError(f'Invalid type "{text}"')
