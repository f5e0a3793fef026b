"""Which payloads are genuine: keys by component and header, signatures over every byte."""

from __future__ import annotations

from collections.abc import Iterator

import pytest
from expected import intake, ports
from support.jobs import Outcome, refuse_to_open_ports, run
from tavrinsim import payload
from tavrinsim.keys import KeyName, new_key
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


# -- the signature ---------------------------------------------------------------------


def test_a_byte_less_and_a_byte_more_are_refused(checking: World) -> None:
    genuine = checking.signed("pbb", "2.3.4")
    for forged in (genuine[:-1], genuine[1:], genuine + b"\0", b"\0" + genuine):
        done = offer(checking, forged)
        assert done.steps == refusal(done, BAD_SIGNATURE)


# -- the size --------------------------------------------------------------------------


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
