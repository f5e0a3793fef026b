"""Which payloads are genuine: keys by component and header, signatures over every byte."""

from __future__ import annotations

import os
from collections.abc import Iterator

import pytest
from cryptography.hazmat.primitives.asymmetric import ec, ed25519, rsa
from expected import intake, ports
from support.jobs import Outcome, refuse_to_open_ports, run
from tavrinsim import payload
from tavrinsim.keys import HasPublicKey, KeyName, new_key
from tavrinsim.names import KINDS
from tavrinsim.world import World

NOT_VERIFIED = (
    "[TavrinUpdateStart] : Unable to start update. Failed to verify Payload signature"
)
NO_DER = "E [verifySignature] : Error in converting PEM public key to DER format\n"
BAD_SIGNATURE = "E [verifySignature] : Error in signature verification\n"
BAD_SIZE = "E [verifySignature] : Error in getting file size\n"
PBB_DEFAULT: KeyName = ("i2cpld", "default")


@pytest.fixture
def checking(shared_service: World) -> Iterator[World]:
    """A service that checks signatures as ever, but gets no further than that."""
    refuse_to_open_ports(shared_service)
    yield shared_service
    shared_service.board.faults.clear()
    for name, key in shared_service.keys.private.items():
        shared_service.keys.publish(name, key)


def offer(world: World, contents: bytes, kind: str = "pbb") -> Outcome:
    """Sends a job with these bytes as its payload."""
    return run(world, KINDS[kind].fqdd(1), world.payload_of(contents))


def accepted(world: World, done: Outcome, kind: str = "pbb", revision: str = "default") -> bool:
    """Whether the signature was found good, with the key of a revision."""
    count = world.setting.counts[kind]
    return done.steps == [
        *intake.started(done.job, count, revision),
        *ports.not_described(world.board.device(kind), count),
        *intake.port_not_opened(done.job),
    ]


def refusal(
    done: Outcome, *reasons: str, kind: str = "pbb", revision: str = "default"
) -> list[str]:
    """All steps of a job whose signature was refused for these reasons."""
    count = {"pbb": 2, "pdb": 1, "flop": 1}[kind]
    return [
        *intake.payload_found(done.job, count),
        *intake.key_chosen(KINDS[kind].component_id, revision),
        *reasons,
        *intake.refused(done.job, NOT_VERIFIED),
    ]


# -- the key ---------------------------------------------------------------------------


@pytest.mark.parametrize("kind", KINDS)
def test_the_header_chooses_one_of_the_keys_of_the_component(
    checking: World, kind: str
) -> None:
    for revision in ("default", "xrev", "arev"):
        done = offer(checking, checking.signed(kind, "2.3.4", revision), kind)
        assert accepted(checking, done, kind, revision), done.steps


def test_every_other_revision_code_means_the_default_key(checking: World) -> None:
    key = checking.keys.private[PBB_DEFAULT]
    big_endian_16, big_endian_2 = 0x10000000, 0x02000000
    for code in (1, 3, 15, 17, 0x102, big_endian_16, big_endian_2, 0xFFFFFFFF):
        done = offer(checking, payload.make("pbb", "2.3.4", key, code))
        assert accepted(checking, done), (code, done.steps)


@pytest.mark.parametrize(
    "signer",
    [("i2cpld", "xrev"), ("i2cpld", "arev"), ("flop", "default"), "stranger"],
    ids=str,
)
def test_a_payload_signed_with_another_key_is_refused(
    checking: World, signer: KeyName | str
) -> None:
    key = new_key() if isinstance(signer, str) else checking.keys.private[signer]
    done = offer(checking, payload.make("pbb", "2.3.4", key))
    assert done.steps == refusal(done, BAD_SIGNATURE)


@pytest.mark.parametrize("kind", KINDS)
@pytest.mark.parametrize("revision", ["default", "xrev", "arev"])
def test_without_the_key_that_the_header_asks_for_the_payload_is_refused(
    checking: World, kind: str, revision: str
) -> None:
    checking.keys.remove((KINDS[kind].key_family, revision))
    done = offer(checking, checking.signed(kind, "2.3.4", revision), kind)
    path = intake.key_path(KINDS[kind].component_id, revision)
    no_file = f"E [TavrinPemPubKeyToDer] : Error opening PEM public key file: {path}\n"
    assert done.steps == refusal(done, no_file, NO_DER, kind=kind, revision=revision)


@pytest.mark.parametrize("contents", [b"", b"no key\n", b"-----BEGIN PUBLIC KEY-----\nMHYw\n"])
def test_a_key_file_that_holds_no_key_refuses_every_payload(
    checking: World, contents: bytes
) -> None:
    checking.keys.write(PBB_DEFAULT, contents)
    done = offer(checking, checking.signed("pbb", "2.3.4"))
    path = intake.key_path(intake.PBB)
    no_key = f"E [TavrinPemPubKeyToDer] : Error reading PEM public key: {path}\n"
    assert done.steps == refusal(done, no_key, NO_DER)


def test_a_folder_in_place_of_the_key_file_refuses_every_payload(checking: World) -> None:
    checking.keys.remove(PBB_DEFAULT)
    checking.keys.file(PBB_DEFAULT).mkdir()
    done = offer(checking, checking.signed("pbb", "2.3.4"))
    checking.keys.file(PBB_DEFAULT).rmdir()
    path = intake.key_path(intake.PBB)
    no_key = f"E [TavrinPemPubKeyToDer] : Error reading PEM public key: {path}\n"
    assert done.steps == refusal(done, no_key, NO_DER)


@pytest.mark.parametrize(
    "key, reason",
    [
        (new_key(ec.SECP256R1()), NO_DER),
        (ed25519.Ed25519PrivateKey.generate(), NO_DER),
        (new_key(ec.SECP521R1()), BAD_SIGNATURE),
        (rsa.generate_private_key(65537, 2048), BAD_SIGNATURE),
    ],
    ids=["P-256", "Ed25519", "P-521", "RSA"],
)
def test_a_public_key_of_another_kind_refuses_every_payload(
    checking: World, key: HasPublicKey, reason: str
) -> None:
    genuine = checking.signed("pbb", "2.3.4")
    checking.keys.publish(PBB_DEFAULT, key)
    done = offer(checking, genuine)
    assert done.steps == refusal(done, reason)


# -- the signature ---------------------------------------------------------------------


def test_a_flipped_bit_anywhere_is_refused(checking: World) -> None:
    genuine = checking.signed("pbb", "2.3.4")
    size = len(genuine)
    ends = (0, 87, 92, 123, 124, size - 97, size - 96, size - 49, size - 48, size - 1)
    for offset in (*ends, *range(200, size, 499)):
        for mask in (0x01, 0x80):
            done = offer(checking, payload.flip(genuine, offset, mask))
            assert done.steps == refusal(done, BAD_SIGNATURE), (offset, mask)


def test_the_revision_code_is_signed_too(checking: World) -> None:
    genuine = checking.signed("pbb", "2.3.4")
    for mask, revision in ((0x01, "default"), (0x02, "xrev"), (0x10, "arev")):
        done = offer(checking, payload.flip(genuine, payload.REVISION_OFFSET, mask))
        assert done.steps == refusal(done, BAD_SIGNATURE, revision=revision)


@pytest.mark.parametrize(
    "r, s", [(0, 0), (1, 1), (2**384 - 1, 2**384 - 1)], ids=["zeros", "ones", "largest"]
)
def test_a_signature_of_no_key_is_refused(checking: World, r: int, s: int) -> None:
    data = payload.signed_part(checking.signed("pbb", "2.3.4"))
    done = offer(checking, payload.with_signature(data, r, s))
    assert done.steps == refusal(done, BAD_SIGNATURE)


def test_a_signature_with_a_leading_zero_is_accepted(checking: World) -> None:
    data = payload.header() + payload.image("pbb", "2.3.4")
    genuine = payload.sign_with_short_r(data, checking.keys.private[PBB_DEFAULT])
    assert genuine[-payload.SIGNATURE_SIZE] == 0
    done = offer(checking, genuine)
    assert accepted(checking, done), done.steps


def test_a_byte_less_and_a_byte_more_are_refused(checking: World) -> None:
    genuine = checking.signed("pbb", "2.3.4")
    for forged in (genuine[:-1], genuine[1:], genuine + b"\0", b"\0" + genuine):
        done = offer(checking, forged)
        assert done.steps == refusal(done, BAD_SIGNATURE)


# -- the size --------------------------------------------------------------------------


def test_a_payload_shorter_than_its_header_is_refused_once_its_key_is_loaded(
    checking: World,
) -> None:
    for size in (0, 1, 88, 92, 95, 96, 97, 100, 123):
        done = offer(checking, bytes(size))
        assert done.steps == refusal(done, BAD_SIZE), size


def test_the_revision_code_of_a_payload_shorter_than_its_header_counts(checking: World) -> None:
    done = offer(checking, payload.header(2)[:100])
    assert done.steps == refusal(done, BAD_SIZE, revision="xrev")
    done = offer(checking, payload.header(16)[:89])
    assert done.steps == refusal(done, BAD_SIZE, revision="arev")


def test_the_shortest_payload_is_a_header_that_ends_in_its_signature(checking: World) -> None:
    key = checking.keys.private[PBB_DEFAULT]
    for size in (28, 29, 124):
        done = offer(checking, payload.sign(bytes(size), key))
        assert accepted(checking, done), (size, done.steps)


def test_large_payloads_are_checked_to_the_last_byte(checking: World) -> None:
    key = checking.keys.private[PBB_DEFAULT]
    four_mib = 4 * 1024 * 1024
    for signed in (four_mib - 1, four_mib, four_mib + 1, 10 * 1024 * 1024 - 96):
        genuine = payload.sign(bytes(signed), key)
        done = offer(checking, genuine)
        assert accepted(checking, done), (signed, done.steps)
        done = offer(checking, payload.flip(genuine, signed - 1))
        assert done.steps == refusal(done, BAD_SIGNATURE), signed


def test_a_payload_of_four_gigabytes_is_refused(checking: World) -> None:
    folder = checking.payload_folder()
    file = folder / "firmware.payload"
    file.touch()
    os.truncate(file, 4 * 1024**3)  # sparse: it takes no room
    done = run(checking, "PBBCPLD.Embedded.1", folder)
    assert done.steps == refusal(done, BAD_SIZE)
