"""Keys and payloads from the command line."""

from __future__ import annotations

import argparse
from pathlib import Path

from . import names, payload
from .image import version_of
from .keys import REVISION_CODES, KeyRing


def parser() -> argparse.ArgumentParser:
    """The command line."""
    top = argparse.ArgumentParser(prog="tavrinsim.payload", description=__doc__)
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
    contents = payload.make(options.kind, options.version, key, code, options.size)
    if options.flip is not None:
        contents = payload.flip(contents, options.flip)
    options.output.write_bytes(contents)
    print(f"{options.output}: {len(contents)} bytes")


def main() -> None:
    """Entry of `python3 -m tavrinsim.payload`."""
    options = parser().parse_args()
    options.run(options)
