"""The image of a simulated CPLD: what the programming library writes into the device."""

from __future__ import annotations

import struct
from dataclasses import dataclass

from .names import Kind

MAGIC = b"SIMCPLD\0"
HEADER = struct.Struct(
    "<8sBBBBI"
)  # magic, kind code, three version numbers, body length
KIND_CODES = {"flop": 0, "pbb": 1, "pdb": 2}

Version = tuple[int, int, int]


def version_of(text: str | Version) -> Version:
    """Major, minor and maintenance number from text such as "1.2.3"; each is 0 to 15."""
    numbers = tuple(map(int, text.split("."))) if isinstance(text, str) else tuple(text)
    if len(numbers) != 3 or not all(0 <= number <= 15 for number in numbers):
        raise ValueError(f"no CPLD can have the version {text!r}")
    major, minor, maintenance = numbers
    return major, minor, maintenance


@dataclass(frozen=True)
class Image:
    """One image; `bytes(image)` is what a payload carries between header and signature."""

    kind: Kind
    version: str | Version
    body: bytes = b""

    def __bytes__(self) -> bytes:
        header = HEADER.pack(
            MAGIC, KIND_CODES[self.kind.name], *version_of(self.version), len(self.body)
        )
        return header + self.body
