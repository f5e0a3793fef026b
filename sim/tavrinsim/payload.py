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

import argparse
import os
import struct
from pathlib import Path

from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.hazmat.primitives.asymmetric.utils import decode_dss_signature

from . import names
from .image import Image, Version, version_of
from .keys import REVISION_CODES, KeyRing

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


# -- the command line ------------------------------------------------------------------


def parser() -> argparse.ArgumentParser:
    """The command line."""
    top = argparse.ArgumentParser(prog="tavrinsim.payload", description="Keys and payloads.")
    commands = top.add_subparsers(required=True, metavar="COMMAND")

    keys = commands.add_parser("keys", help="make a set of signing keys")
    keys.add_argument("folder", type=Path, help="gets private/ and shared_keys/")
    keys.set_defaults(run=make_keys)

    make = commands.add_parser("make", help="make one signed payload")
    make.add_argument("keys", type=Path, help="folder made by the command keys")
    make.add_argument("kind", choices=names.KINDS)
    make.add_argument("version", type=version_of, help="such as 1.2.3; numbers up to 15")
    make.add_argument("output", type=Path, help="file, to be named *.payload")
    make.add_argument("--revision", choices=REVISION_CODES, default="default")
    make.add_argument("--size", type=int, default=4096, help="bytes of the image's body")
    make.add_argument("--flip", type=int, metavar="OFFSET", help="forge: change one bit")
    make.set_defaults(run=make_payload)
    return top


def make_keys(options: argparse.Namespace) -> None:
    """`keys FOLDER`."""
    KeyRing.create(options.folder / "shared_keys").save(options.folder / "private")
    print(f"{options.folder}: private/ signs, shared_keys/ goes to {names.KEY_FOLDER}")


def make_payload(options: argparse.Namespace) -> None:
    """`make KEYS KIND VERSION OUTPUT`."""
    ring = KeyRing.load(options.keys / "shared_keys", options.keys / "private")
    key = ring.private[names.KINDS[options.kind].key_family, options.revision]
    code = REVISION_CODES[options.revision]
    contents = make(options.kind, options.version, key, code, options.size)
    if options.flip is not None:
        contents = flip(contents, options.flip)
    options.output.write_bytes(contents)
    print(f"{options.output}: {len(contents)} bytes")


def main() -> None:
    """Entry of `python3 -m tavrinsim.payload`."""
    options = parser().parse_args()
    options.run(options)


if __name__ == "__main__":
    main()
