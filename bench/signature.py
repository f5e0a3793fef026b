"""The check of a payload, beside `openssl dgst -verify` and beside the bare digest of its bytes."""

from __future__ import annotations

import os
from dataclasses import dataclass
from pathlib import Path

from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.hazmat.primitives.asymmetric.utils import encode_dss_signature
from tavrinsim import payload
from tavrinsim.view import Bind
from tavrinsim.world import World

from .bench import Bench
from .report import ROUNDS, Figure, in_pairs, ratios, scaled

PROGRAMS = ("check_payload",)

MIB = 1 << 20
SIZES = (1, 16, 64, 256)
# From here on the time goes with the size, which is what the goals are about: of smaller payloads
# most of it is the start of a process, or the one verification of a signature.
LARGE = 16

# At most, known to be at most, and why it is more.
BUFFER = "the bytes go through a buffer of 4 MiB, whose pages are new each time"
OF_OPENSSL, OF_DIGEST = (1.03, 1.10, BUFFER), (1.10, 1.25, BUFFER)

KEY = "/etc/shared_keys/i2cpld/K4/default.pub"
RUN_REPEATEDLY = Path(__file__).parent / "programs" / "run_repeatedly.py"


@dataclass(frozen=True)
class Payload:
    """One payload, and the command lines that check it."""

    mib: int
    ours: list[str]
    openssl: list[str]

    @property
    def repeats(self) -> int:
        """How many runs make a round, of which the quickest counts: more where they are short."""
        return max(2, min(8, 128 // self.mib))


def measure(bench: Bench) -> list[Figure]:
    """All of it on the same payloads, which exist as long as the measuring does."""
    figures = []
    with World(bench.binary) as world:
        world.root.show(Bind(RUN_REPEATEDLY.parent))
        program = str(bench.program("check_payload"))
        for each in [_make(world, program, mib) for mib in SIZES]:
            figures += _beside_openssl(world, each) + _beside_digest(world, each)
    return figures


def _make(world: World, program: str, mib: int) -> Payload:
    key: ec.EllipticCurvePrivateKey = world.keys.private["i2cpld", "default"]
    size = mib * MIB - payload.HEADER_SIZE - payload.SIGNATURE_SIZE
    signed = payload.header() + os.urandom(size)
    numbers = payload.signature(signed, key)
    folder = world.payload_of(payload.with_signature(signed, *numbers), "whole")
    (folder / "signed").write_bytes(signed)
    (folder / "signature").write_bytes(encode_dss_signature(*numbers))
    openssl = ["/usr/bin/openssl", "dgst", "-sha512", "-verify", KEY]
    openssl += ["-signature", str(folder / "signature"), str(folder / "signed")]
    return Payload(mib, [program, str(folder / "whole")], openssl)


def _beside_openssl(world: World, each: Payload) -> list[Figure]:
    """Processor time of whole processes, each the least of some runs in a round."""
    pairs = in_pairs(
        lambda: _best(world, each.ours, each.repeats),
        lambda: _best(world, each.openssl, each.repeats),
    )
    goals = OF_OPENSSL if each.mib >= LARGE else ()
    return [Figure(f"{each.mib} MiB, to `openssl dgst -verify`", "", ratios(*zip(*pairs)), *goals)]


def _beside_digest(world: World, each: Payload) -> list[Figure]:
    """The same in one process."""
    done = world.view.run([*each.ours, str(ROUNDS * each.repeats)], timeout=300)
    lines = [list(map(int, line.split())) for line in done.stdout.splitlines()]
    if done.returncode != 0 or len(lines) != ROUNDS * each.repeats:
        raise RuntimeError(f"{each.ours[0]} failed: {done.stderr}")
    begins = range(0, len(lines), each.repeats)
    rounds = [lines[begin : begin + each.repeats] for begin in begins]
    ours, digest = ([min(turn[place] for turn in turns) for turns in rounds] for place in (0, 1))
    goals = OF_DIGEST if each.mib >= LARGE else ()
    return [
        Figure(f"{each.mib} MiB, to the digest in memory", "", ratios(ours, digest), *goals),
        Figure(f"{each.mib} MiB", "ms", scaled(ours, 1e-6)),
    ]


def _best(world: World, argv: list[str], repeats: int) -> float:
    """The least of some runs of a program in the controller's view."""
    python = ["/usr/bin/python3", "-IS", str(RUN_REPEATEDLY), str(repeats)]
    done = world.view.run([*python, *argv], timeout=120)
    if done.returncode != 0:
        raise RuntimeError(f"{argv[0]} failed: {done.stderr}")
    return min(map(float, done.stdout.split()))
