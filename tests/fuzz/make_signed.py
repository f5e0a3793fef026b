#!/usr/bin/python3
"""Makes the files of signed/ anew: three keys, and payloads that verify with them.

The private keys are gone when it ends, so nothing else can ever be signed with them. The inputs in
corpus/payload/ that hold one of the payloads have to be made anew then, too: run with --seeds.
"""

import pathlib
import sys

from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, utils

HERE = pathlib.Path(__file__).resolve().parent
SIGNED = HERE / "signed"
SEEDS = HERE / "corpus" / "payload"

REVISION_OFFSET = 88
NUMBER_SIZE = 48

# Name, key, revision code, size without the signature.
PAYLOADS = [
    ("fw.payload", "default", 0, 200),
    ("shortest", "default", 0, 28),
    ("for_x_revision", "xrev", 2, 124),
    ("for_a_revision", "arev", 16, 300),
]


def signed(key: ec.EllipticCurvePrivateKey, revision: int, size: int) -> bytes:
    data = bytearray(index * 7 % 251 for index in range(size))
    if size > REVISION_OFFSET:
        data[REVISION_OFFSET : REVISION_OFFSET + 4] = revision.to_bytes(4, "little")
    r, s = utils.decode_dss_signature(key.sign(bytes(data), ec.ECDSA(hashes.SHA512())))
    return bytes(data) + r.to_bytes(NUMBER_SIZE, "big") + s.to_bytes(NUMBER_SIZE, "big")


def write_signed() -> None:
    SIGNED.mkdir(exist_ok=True)
    keys = {
        name: ec.generate_private_key(ec.SECP384R1()) for name in ("default", "xrev", "arev")
    }
    for name, key in keys.items():
        pem = key.public_key().public_bytes(
            serialization.Encoding.PEM, serialization.PublicFormat.SubjectPublicKeyInfo
        )
        (SIGNED / f"{name}.pub").write_bytes(pem)
    for name, key_name, revision, size in PAYLOADS:
        (SIGNED / name).write_bytes(signed(keys[key_name], revision, size))


def write_seeds() -> None:
    SEEDS.mkdir(parents=True, exist_ok=True)
    key = (SIGNED / "default.pub").read_bytes()
    good = (SIGNED / "fw.payload").read_bytes()
    for name, _, _, _ in PAYLOADS:
        payload = (SIGNED / name).read_bytes()
        (SEEDS / f"good_{name}").write_bytes(b"P\n0\n" + payload)
    seeds = {
        "for_a_pdb": b"D\n0\n" + good,
        "for_a_flop": b"F\n0\n" + good,
        "for_nobody": b"?\n0\n" + good,
        "with_its_key": b"P\n%d\n" % len(key) + key + good,
        "with_no_key": b"P\n1\n\n" + good,
        "last_bit_flipped": b"P\n0\n" + good[:-1] + bytes([good[-1] ^ 1]),
        "one_byte_short": b"P\n0\n" + good[:-1],
        "nothing": b"P\n0\n",
    }
    for name, content in seeds.items():
        (SEEDS / name).write_bytes(content)


if __name__ == "__main__":
    if "--seeds" not in sys.argv[1:]:
        write_signed()
    write_seeds()
