"""What bare calls of the same libraries allocate, without a service."""

from __future__ import annotations

from collections import Counter
from pathlib import Path

from tavrinsim import names, payload
from tavrinsim.world import World

from ..bench import Bench
from . import allocations
from .callgrind import VALGRIND, Profile

KIND = names.PBB
KEY = "/etc/shared_keys/i2cpld/K4/default.pub"

# The ways that the service's keys take: that of the known message, and those from files. A BIO
# has the key encoded twice.
THROUGH_DER, THROUGH_BIO = "through-der", "through-bio"
LIBCRYPTO, LIBSYSTEMD = "libcrypto", "libsystemd"


def of_start(bench: Bench) -> dict[str, str]:
    """By library, in words. A start checks a known message, so that no update has to set up."""
    with World(bench.binary) as world:
        checks = Checks(bench, world)
        bare, through_der = checks.allocated(1), checks.allocated(1, THROUGH_DER)
    return {LIBCRYPTO: _words("a first bare check", bare, through_der)}


def of_update(bench: Bench, reports: int) -> dict[str, str]:
    """By library, in words: one check that is not the first, and some reports."""
    with World(bench.binary) as world:
        checks = Checks(bench, world)
        bare, through_bio = (
            checks.allocated(2, *way) - checks.allocated(1, *way)
            for way in ((), (THROUGH_BIO,))
        )
        of_reports = _reports(bench, world, reports)
    return {
        LIBCRYPTO: _words("a bare check", bare, through_bio),
        LIBSYSTEMD: f"{reports} bare reports: {of_reports:,}",
    }


def _words(what: str, bare: int, as_here: int) -> str:
    return f"{what}: {bare:,}; with the key through its DER form, as here: {as_here:,}"


class Checks:
    """Bare checks of one payload."""

    def __init__(self, bench: Bench, world: World) -> None:
        key = world.keys.private[KIND.key_family, "default"]
        (file,) = world.payload_of(payload.make(KIND.name, "2.3.4", key)).iterdir()
        self._world = world
        self._words = f"{bench.program('signature/bare_check')} {KEY} {file}"

    def allocated(self, count: int, *way: str) -> int:
        """What so many checks in one process allocate."""
        words = " ".join((self._words, str(count), *way))
        return _allocated(self._world, words)[LIBCRYPTO]


def _reports(bench: Bench, world: World, count: int) -> int:
    program = bench.program("update/bare_report")
    words = f"{program} {KIND.fqdd(1)} 1"
    return _allocated(world, words, given=str(count))[LIBSYSTEMD]


def _allocated(world: World, words: str, given: str = "") -> Counter[str]:
    """Allocations by library; the program gets a line of input."""
    variables = " ".join(f"{name}={value}" for name, value in world.bus.environment().items())
    tool = f"{VALGRIND} --tool=callgrind --callgrind-out-file=/tmp/bare-profile"
    line = f"echo '{given}' | exec /usr/bin/env {variables} {tool} {words}"
    done = world.view.run(["/bin/sh", "-c", line], timeout=60)
    if done.returncode != 0:
        raise RuntimeError(f"{words} failed: {done.stderr}")
    dump: Path = world.root.inside("/tmp/bare-profile")
    return allocations.by_library(Profile.read(dump.read_text().splitlines()))
