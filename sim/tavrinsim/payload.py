"""Payload files: a header, the image of a simulated CPLD, a raw signature.

    offset        length      content
    0             124         header; bytes 88 to 91: key revision code, little endian
    124           16 + body   image, see `tavrinsim.image`
    size - 96     48 + 48     r and s, big endian: ECDSA on P-384 over all before, SHA-512

Everything here works on plain bytes, so that a forgery is one more step:

    good = sign(header() + image("pbb", "1.2.3"), key)
    bad = flip(good, offset=88, mask=0x01)

`python3 -m tavrinsim.payload --help` makes keys and payloads for a person.
"""

from __future__ import annotations

import os
import struct
from pathlib import Path

from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.hazmat.primitives.asymmetric.utils import decode_dss_signature

from . import names
from .image import Image, Version

HEADER_SIZE = 124
REVISION_OFFSET = 88
SIGNATURE_SIZE = 96
NUMBER_SIZE = 48


def header(revision_code: int = 0, filler: bytes | None = None) -> bytes:
    """A header: the revision code in its place, the rest `filler` or random."""
    rest = os.urandom(HEADER_SIZE) if filler is None else filler.ljust(HEADER_SIZE, b"\0")
    code = struct.pack("<I", revision_code)
    return rest[:REVISION_OFFSET] + code + rest[REVISION_OFFSET + 4 : HEADER_SIZE]


def image(kind: str, version: str | Version, body: bytes | int = 4096) -> bytes:
    """What a simulated CPLD of a kind ("pbb", "pdb", "flop") loads.

    `body` is its contents, or its size in bytes for random contents.
    """
    contents = os.urandom(body) if isinstance(body, int) else body
    return bytes(Image(names.KINDS[kind], version, contents))


def signature(data: bytes, key: ec.EllipticCurvePrivateKey) -> tuple[int, int]:
    """r and s over `data`."""
    return decode_dss_signature(key.sign(data, ec.ECDSA(hashes.SHA512())))


def with_signature(data: bytes, r: int, s: int) -> bytes:
    """`data` followed by any r and s of at most 48 bytes each."""
    return data + r.to_bytes(NUMBER_SIZE, "big") + s.to_bytes(NUMBER_SIZE, "big")


def sign(data: bytes, key: ec.EllipticCurvePrivateKey) -> bytes:
    """A payload: `data` followed by its signature."""
    return with_signature(data, *signature(data, key))


def make(
    kind: str,
    version: str | Version,
    key: ec.EllipticCurvePrivateKey,
    revision_code: int = 0,
    body: bytes | int = 4096,
) -> bytes:
    """A whole, valid payload."""
    return sign(header(revision_code) + image(kind, version, body), key)


def flip(payload: bytes, offset: int, mask: int = 0x01) -> bytes:
    """The payload with bits of one byte inverted; a negative offset counts from the end."""
    changed = bytearray(payload)
    changed[offset] ^= mask
    return bytes(changed)


def cut(payload: bytes, size: int) -> bytes:
    """Only the first `size` bytes."""
    return payload[:size]


def signed_part(payload: bytes) -> bytes:
    """A payload without its signature."""
    return payload[:-SIGNATURE_SIZE]


def write(directory: Path, payload: bytes, name: str = "firmware.payload") -> Path:
    """Puts a payload into a directory of its own; returns the directory."""
    directory.mkdir(parents=True, exist_ok=True)
    (directory / name).write_bytes(payload)
    return directory


if __name__ == "__main__":
    from .payload_command import main

    main()
