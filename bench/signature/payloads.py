"""Payloads of any size, made without ever being in memory whole."""

from __future__ import annotations

import hashlib
import os
from dataclasses import dataclass
from pathlib import Path

from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.hazmat.primitives.asymmetric.utils import Prehashed, decode_dss_signature
from tavrinsim.payload import NUMBER_SIZE, SIGNATURE_SIZE, header

KIB, MIB = 1 << 10, 1 << 20


@dataclass(frozen=True)
class Payload:
    """One payload for the service, and its two halves as `openssl dgst` takes them."""

    size: int
    whole: Path
    signed: Path
    signature: Path

    @property
    def title(self) -> str:
        """Its size in words."""
        return f"{self.size // MIB} MiB" if self.size >= MIB else f"{self.size // KIB} KiB"

    @classmethod
    def make(cls, folder: Path, size: int, key: ec.EllipticCurvePrivateKey) -> Payload:
        """A payload that is this long, signature included."""
        halves = folder / "halves"
        halves.mkdir(parents=True, exist_ok=True)
        made = cls(
            size,
            folder / "whole" / str(size),
            halves / f"{size}.signed",
            halves / f"{size}.signature",
        )
        made.whole.parent.mkdir(exist_ok=True)
        digest = made._write_signed()
        made._sign(key.sign(digest, ec.ECDSA(Prehashed(hashes.SHA512()))))
        return made

    def _write_signed(self) -> bytes:
        """Writes what is signed, twice; its digest."""
        digest = hashlib.sha512()
        with open(self.whole, "wb") as whole, open(self.signed, "wb") as signed:
            left = self.size - SIGNATURE_SIZE
            block, filler = header(), os.urandom(MIB)
            while left > 0:
                block = block[:left]
                digest.update(block)
                whole.write(block)
                signed.write(block)
                left -= len(block)
                block = filler
        return digest.digest()

    def _sign(self, encoded: bytes) -> None:
        """Adds the signature: DER in a file of its own, raw behind what is signed."""
        self.signature.write_bytes(encoded)
        with open(self.whole, "ab") as whole:
            for number in decode_dss_signature(encoded):
                whole.write(number.to_bytes(NUMBER_SIZE, "big"))
