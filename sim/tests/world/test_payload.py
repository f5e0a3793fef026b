"""Keys and payloads: what is made is valid, what is forged is not."""

from __future__ import annotations

import subprocess
import sys
from pathlib import Path

import pytest
from cryptography.exceptions import InvalidSignature
from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.hazmat.primitives.asymmetric.utils import encode_dss_signature
from cryptography.hazmat.primitives.serialization import load_pem_public_key
from tavrinsim import payload
from tavrinsim.image import Image
from tavrinsim.keys import KEY_FILES, KeyRing, new_key
from tavrinsim.names import FLOP

SIM = Path(__file__).parents[2]


def verify(contents: bytes, public_key_file: Path) -> None:
    """Checks a payload in its own words; raises InvalidSignature."""
    key = load_pem_public_key(public_key_file.read_bytes())
    data, numbers = contents[:-96], contents[-96:]
    r, s = (int.from_bytes(part, "big") for part in (numbers[:48], numbers[48:]))
    key.verify(encode_dss_signature(r, s), data, ec.ECDSA(hashes.SHA512()))


@pytest.fixture
def ring(tmp_path: Path) -> KeyRing:
    """Fresh keys."""
    return KeyRing.create(tmp_path / "shared_keys")


@pytest.mark.parametrize("name", KEY_FILES, ids="-".join)
def test_a_payload_verifies_with_the_published_key(ring: KeyRing, name) -> None:
    verify(payload.make("pbb", "1.2.3", ring.private[name]), ring.file(name))


def test_the_layout_is_header_image_signature() -> None:
    body = b"body"
    contents = payload.sign(
        payload.header(0x01020304, b"h" * 124) + payload.image("flop", "1.2.3", body), new_key()
    )
    assert contents[88:92] == bytes([4, 3, 2, 1])
    assert contents[:88] == b"h" * 88 and contents[92:124] == b"h" * 32
    assert contents[124:-96] == bytes(Image(FLOP, "1.2.3", body))


@pytest.mark.parametrize("offset", [0, 88, 130, -1, -96])
def test_a_flipped_bit_does_not_verify(ring: KeyRing, offset: int) -> None:
    name = ("i2cpld", "arev")
    forged = payload.flip(payload.make("pdb", "1.2.3", ring.private[name], 16), offset)
    with pytest.raises(InvalidSignature):
        verify(forged, ring.file(name))


def test_saved_keys_come_back(ring: KeyRing, tmp_path: Path) -> None:
    ring.save(tmp_path / "private")
    again = KeyRing.load(tmp_path / "other", tmp_path / "private")
    name = ("flop", "xrev")
    verify(payload.make("flop", "2.0.0", ring.private[name]), again.file(name))
    assert (tmp_path / "private" / "flop-xrev.pem").stat().st_mode & 0o077 == 0


def test_the_command_makes_keys_and_payloads(tmp_path: Path) -> None:
    command = [sys.executable, "-m", "tavrinsim.payload"]
    output = tmp_path / "flop.payload"
    run = {"cwd": SIM, "check": True, "stdout": subprocess.DEVNULL}
    subprocess.run([*command, "keys", tmp_path], **run)
    order = ["make", tmp_path, "flop", "4.5.6", output, "--revision", "xrev"]
    subprocess.run([*command, *order], **run)
    assert output.read_bytes()[88:92] == bytes([2, 0, 0, 0])
    verify(output.read_bytes(), tmp_path / "shared_keys" / KEY_FILES["flop", "xrev"])
