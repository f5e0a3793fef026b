"""Boundary and random values of any D-Bus type."""

from __future__ import annotations

import math
from collections.abc import Callable, Sequence
from functools import cache
from random import Random
from typing import Any

from dbus_next import SignatureTree, SignatureType, Variant

# The bus lets values be nested 64 deep; some room is left for what stands around a value.
DEEPEST = 60

WHOLE_NUMBERS = {"y": 8, "q": 16, "u": 32, "t": 64}
SIGNED_NUMBERS = {"n": 16, "i": 32, "x": 64}

REAL_NUMBERS = [0.0, -0.0, 1.5, 1e308, -1e308, 5e-324, math.inf, -math.inf, math.nan]

TEXTS = [
    *("", " ", "a", "0", "-1", "1.5", "%s%s%s%n", "%1000000d", "\\x00", "\x01\x1b[2J\x7f"),
    *("../../../etc/passwd", "/", "/proc/self", "/dev", "/nonexistent", "relative", "/tmp\n"),
    *("PBBCPLD.Embedded.0", "PBBCPLD.Embedded.256", "PBBCPLD.Embedded.4294967297"),
    *("PBBCPLD.Embedded.99999999999", "PBBCPLD.Embedded.-1", "CPLD.IOBay.", "CPLD.IOBay", "."),
    *("PDBCPLD.Embedded.1x", "PDBCPLD.Embedded. 1", "pbbcpld.embedded.1", "1", "...1"),
    *("\u00e4\u00f6\u00fc", "\U0001f4a5" * 8, "\ufeff", "\uffff", "\u202eabc", "e\u0301" * 20),
]

PATHS = ["/", "/a", "/_", "/com/vexa/bevon", "/com/vexa/bevon/dummy/x", "/a" * 120]

SIGNATURES = ["", "s", "v", "a{sv}", "(" * 31 + "y" + ")" * 31, "a" * 31 + "y", "y" * 255]

# Types of which arguments are made that nobody asked for.
TYPES = [
    *("y", "b", "n", "q", "i", "u", "x", "t", "d", "s", "o", "g", "v", "h"),
    *("as", "ay", "au", "av", "a{sv}", "a{us}", "aas", "(su)", "(s(uv))", "a(sv)", "a{s(uv)}"),
]

# Lengths in bytes, and how often they are wanted.
LENGTHS = [(64, 70), (1023, 10), (4096, 10), (65536, 8), (1048576, 2)]


@cache
def types(signature: str) -> tuple[SignatureType, ...]:
    """The complete types of a signature."""
    return tuple(SignatureTree(signature).types)


class Values:
    """Makes values from one source of chance, so that the same seed makes the same ones.

    `texts` and `numbers` are values that mean something here; they come up again and again.
    `descriptor_used` tells, until somebody resets it, that a file descriptor has to go along.
    """

    def __init__(
        self, random: Random, texts: Sequence[str] = (), numbers: Sequence[int] = ()
    ) -> None:
        self._random = random
        self._texts = list(texts)
        self._numbers = list(numbers)
        self.descriptor_used = False
        self._simple: dict[str, Callable[[], Any]] = {
            "b": lambda: random.random() < 0.5,
            "d": lambda: random.choice([*REAL_NUMBERS, random.uniform(-1e9, 1e9)]),
            "s": self._text,
            "o": self._path,
            "g": lambda: random.choice(SIGNATURES),
            "h": self._descriptor,
        }

    def arguments(self, signature: str) -> list[Any]:
        """One value for each type of a signature."""
        return [self._of(kind, 0) for kind in types(signature)]

    def signature(self) -> str:
        """Any types, none to five."""
        return "".join(self._random.choices(TYPES, k=self._random.randint(0, 5)))

    def _of(self, kind: SignatureType, depth: int) -> Any:
        token = kind.token
        if token in self._simple:
            return self._simple[token]()
        if token == "v":
            return self._variant(depth + 1)
        if token == "a":
            return self._array(kind.children[0], depth + 1)
        if token == "(":
            return [self._of(child, depth + 1) for child in kind.children]
        return self._number(token)

    def _variant(self, depth: int) -> Variant:
        if depth == 1 and self._random.random() < 0.03:
            return self._deepest_variant()
        nested = depth < 8 and self._random.random() < 0.4
        signature = "v" if nested else self._random.choice(TYPES)
        return Variant(signature, self._of(types(signature)[0], depth))

    def _deepest_variant(self) -> Variant:
        value = Variant("s", self._text())
        for _ in range(DEEPEST):
            value = Variant("v", value)
        return value

    def _array(self, element: SignatureType, depth: int) -> Any:
        if element.token == "y":
            return self._random.randbytes(self._length())
        longest = 2000 if depth == 1 and self._random.random() < 0.02 else 4
        count = self._random.randint(0, longest)
        if element.token == "{":
            key, value = element.children
            return {self._of(key, depth): self._of(value, depth) for _ in range(count)}
        return [self._of(element, depth) for _ in range(count)]

    def _number(self, token: str) -> int:
        if token in SIGNED_NUMBERS:
            least = -(1 << (SIGNED_NUMBERS[token] - 1))
            most = -least - 1
        else:
            least, most = 0, (1 << WHOLE_NUMBERS[token]) - 1
        known = [number for number in self._numbers if least <= number <= most]
        if known and self._random.random() < 0.4:
            return self._random.choice(known)
        return self._random.choice(
            [least, least + 1, 0, 1, most - 1, most, self._any(least, most)]
        )

    def _any(self, least: int, most: int) -> int:
        return self._random.randint(least, most)

    def _text(self) -> str:
        if self._texts and self._random.random() < 0.4:
            return self._random.choice(self._texts)
        if self._random.random() < 0.6:
            return self._random.choice(TEXTS)
        length = self._length()
        letters = "".join(chr(self._random.randint(1, 126)) for _ in range(min(length, 64)))
        return (letters * (length // len(letters) + 1))[:length] if letters else ""

    def _path(self) -> str:
        return self._random.choice(PATHS)

    def _descriptor(self) -> int:
        self.descriptor_used = True
        return 0  # the number of the only one that goes along

    def _length(self) -> int:
        lengths, weights = zip(*LENGTHS)
        return self._random.randint(0, self._random.choices(lengths, weights)[0])
