"""Signing keys of the simulated platform, and the public halves where they belong."""

from __future__ import annotations

from collections.abc import Mapping
from pathlib import Path
from typing import Protocol

from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.hazmat.primitives.serialization import (
    Encoding,
    NoEncryption,
    PrivateFormat,
    PublicFormat,
    load_pem_private_key,
)

# Family and revision of a key, such as ("flop", "arev").
KeyName = tuple[str, str]

# Where the controller keeps each public key, below /etc/shared_keys.
KEY_FILES: Mapping[KeyName, str] = {
    ("i2cpld", "xrev"): "i2cpld/K4/xrev.pub",
    ("i2cpld", "arev"): "i2cpld/K4/arev.pub",
    ("i2cpld", "default"): "i2cpld/K4/default.pub",
    ("flop", "xrev"): "flop/K4/Xrev/flop.pub",
    ("flop", "arev"): "flop/K4/Arev/flop.pub",
    ("flop", "default"): "flop/K4/flop.pub",
}

# Revision codes in a payload's header; every other code means the default key.
REVISION_CODES = {"default": 0, "xrev": 2, "arev": 16}


class HasPublicKey(Protocol):
    """A private key of any algorithm."""

    def public_key(self) -> object:
        """The public half."""


def new_key(curve: ec.EllipticCurve | None = None) -> ec.EllipticCurvePrivateKey:
    """A fresh private key; P-384 unless another curve is asked for."""
    return ec.generate_private_key(curve or ec.SECP384R1())


class KeyRing:
    """The private keys and the public key files of one controller.

    `folder` is what the controller sees as /etc/shared_keys. Changing a file there
    behind the ring's back is fine: the ring never reads it again.
    """

    def __init__(self, folder: Path, private: Mapping[KeyName, ec.EllipticCurvePrivateKey]):
        self.folder = folder
        self.private = dict(private)
        for name, key in self.private.items():
            self.publish(name, key)

    @classmethod
    def create(cls, folder: Path) -> KeyRing:
        """Fresh keys for every family and revision."""
        return cls(folder, {name: new_key() for name in KEY_FILES})

    @classmethod
    def load(cls, folder: Path, private_folder: Path) -> KeyRing:
        """The keys that `save` left in `private_folder`."""
        keys = {}
        for name in KEY_FILES:
            key = load_pem_private_key(_private_file(private_folder, name).read_bytes(), None)
            if not isinstance(key, ec.EllipticCurvePrivateKey):
                raise ValueError(f"not an elliptic-curve key: {name}")
            keys[name] = key
        return cls(folder, keys)

    def save(self, private_folder: Path) -> None:
        """Writes the private keys, readable by their owner only."""
        private_folder.mkdir(parents=True, exist_ok=True)
        for name, key in self.private.items():
            file = _private_file(private_folder, name)
            file.touch(mode=0o600)
            form = (Encoding.PEM, PrivateFormat.PKCS8, NoEncryption())
            file.write_bytes(key.private_bytes(*form))  # type: ignore[attr-defined]

    def file(self, name: KeyName) -> Path:
        """A public key file of the controller."""
        return self.folder / KEY_FILES[name]

    def publish(self, name: KeyName, key: HasPublicKey) -> None:
        """Puts a private key's public half, of any algorithm, into the file."""
        public = key.public_key().public_bytes(  # type: ignore[attr-defined]
            Encoding.PEM, PublicFormat.SubjectPublicKeyInfo
        )
        self.write(name, public)

    def write(self, name: KeyName, contents: bytes) -> None:
        """Puts any bytes into a public key file."""
        file = self.file(name)
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(contents)

    def remove(self, name: KeyName) -> None:
        """The controller has no such key any more."""
        self.file(name).unlink()


def _private_file(folder: Path, name: KeyName) -> Path:
    return folder / f"{name[0]}-{name[1]}.pem"
