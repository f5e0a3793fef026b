"""The check of a payload, beside `openssl dgst` and beside the bare digest of its bytes."""

from __future__ import annotations

import json
from collections.abc import Sequence
from pathlib import Path

from tavrinsim.view import Bind
from tavrinsim.world import World

from .. import google_benchmark
from ..bench import Bench
from ..figures import ROUNDS, Section, in_pairs, ratios
from .payloads import KIB, MIB, Payload

SIZES = (KIB, MIB, 16 * MIB, 64 * MIB, 256 * MIB)

# From here on the time goes with the size, which is what the goals are about: of smaller
# payloads most of it is the start of a process, or the one verification of a signature.
LARGE = 16 * MIB

MOST_OF_OPENSSL, MOST_OF_DIGEST, MOST_OF_BARE = 1.03, 1.10, 1.10
MOST_GROWTH_KIB = 256

LINKED_IN = "the check has the C++ library linked in, which the service loads once in its life"
# Why the goals may be missed.
BUFFER = "the pages of its buffer of 4 MiB are new each time, and do not stay in the cache"
AS_BARE = f"{BUFFER}; bare calls take most of it as well: see the next row"

RUN_REPEATEDLY = Path(__file__).with_name("run_repeatedly.py")
KEY = "/etc/shared_keys/i2cpld/K4/default.pub"

# Processor time, wall time, largest memory; see run_repeatedly.py.
Run = tuple[float, float, float]


def measure(bench: Bench) -> list[Section]:
    """All of it on the same payloads, which exist as long as the measuring does."""
    check = bench.program("signature/check_payload")
    with World(bench.binary) as world:
        world.root.show(Bind(RUN_REPEATEDLY.parent))
        key = world.keys.private["i2cpld", "default"]
        payloads = [Payload.make(world.folder / "large", size, key) for size in SIZES]
        processes = Section("Signature, whole processes")
        for payload in payloads:
            _compare_with_openssl(processes, world, check, payload)
        _compare_memory(processes, world, check, payloads)
        digest = Section("Signature, in one process")
        program = bench.program("signature/signature_bench")
        for payload in payloads:
            rounds = [_least_times(world, program, payload) for _ in range(ROUNDS)]
            _compare_with_digest(digest, rounds, payload)
    return [processes, digest]


def _compare_with_openssl(
    section: Section, world: World, check: Path, payload: Payload
) -> None:
    """Processor and wall time, each the least of some runs in a round."""
    repeats = _repeats(payload)
    openssl = ["/usr/bin/openssl", "dgst", "-sha512", "-verify", KEY]
    openssl += ["-signature", str(payload.signature), str(payload.signed)]
    ours: list[Run] = []
    theirs: list[Run] = []

    def run(argv: list[str], kept: list[Run]) -> float:
        runs = _run(world, argv, repeats)
        kept.append((min(run[0] for run in runs), min(run[1] for run in runs), 0))
        return kept[-1][0]

    pairs = in_pairs(
        lambda: run([str(check), str(payload.whole)], ours), lambda: run(openssl, theirs)
    )
    walls = [(mine[1], reference[1]) for mine, reference in zip(ours, theirs)]
    most = MOST_OF_OPENSSL if payload.size >= LARGE else None
    for words, measured in (("processor time", pairs), ("wall time", walls)):
        name = f"{payload.title}, to openssl dgst, {words}"
        section.add(name, "ratio", ratios(measured), most, reason=BUFFER)
    times = [1000 * run[0] for run in ours]
    section.add(f"{payload.title}, processor time", "ms", times, remark=LINKED_IN)


def _compare_memory(
    section: Section, world: World, check: Path, payloads: Sequence[Payload]
) -> None:
    """The largest memory of a check does not go with the size."""
    small, large = payloads[SIZES.index(LARGE)], payloads[-1]
    less, more = (
        [_run(world, [str(check), str(payload.whole)], 1)[0][2] for _ in range(ROUNDS)]
        for payload in (small, large)
    )
    # A program takes over the number of the one that began it, where that is larger.
    if min(less) <= _run(world, ["/usr/bin/true"], 1)[0][2]:
        raise RuntimeError("a check takes less memory than what begins it, and cannot be seen")
    section.add(f"{large.title}, largest memory", "KiB", more)
    name = f"{large.title}, largest memory above that of {small.title}"
    section.add(name, "KiB", [ours - base for base, ours in zip(less, more)], MOST_GROWTH_KIB)


def _compare_with_digest(
    section: Section, rounds: Sequence[dict[str, float]], payload: Payload
) -> None:
    """The check's time to that of bare calls, and both to the digest of the bytes."""

    def times(of_what: str) -> list[float]:
        return [round_[of_what] for round_ in rounds]

    def compared(ours: str, reference: str) -> list[float]:
        return ratios(list(zip(times(ours), times(reference))))

    is_large = payload.size >= LARGE
    most_of_bare, most = (MOST_OF_BARE, MOST_OF_DIGEST) if is_large else (None, None)
    words = f"{payload.title}, to a check by bare calls"
    section.add(words, "ratio", compared("check", "bare"), most_of_bare)
    words = f"{payload.title}, to the digest in memory"
    section.add(words, "ratio", compared("check", "digest"), most, reason=AS_BARE)
    words = f"{payload.title}, bare calls to the digest in memory"
    section.add(words, "ratio", compared("bare", "digest"))
    section.add(f"{payload.title}, check", "ms", times("check"))


def _repeats(payload: Payload) -> int:
    """How many runs make a round, of which the quickest counts: more where they are short."""
    return max(2, min(8, 128 * MIB // payload.size))


def _run(world: World, argv: list[str], repeats: int) -> list[Run]:
    """Some runs of a program in the controller's view."""
    python = ["/usr/bin/python3", "-IS", str(RUN_REPEATEDLY), str(repeats)]
    done = world.view.run([*python, *argv], timeout=120)
    if done.returncode != 0:
        raise RuntimeError(f"{argv[0]} failed: {done.stderr}")
    return [(run[0], run[1], run[2]) for run in json.loads(done.stdout)]


def _least_times(world: World, program: Path, payload: Payload) -> dict[str, float]:
    """One round: processor time in ms of what is compared, the least of its repetitions."""
    times = google_benchmark.run(
        world,
        program,
        str(payload.whole.parent),
        measured="cpu_time",
        filter=f"/{payload.size}$",
        repetitions=_repeats(payload),
        min_time=0.02,
    )
    return {name.partition("/")[0]: min(all_times) for name, all_times in times.items()}
