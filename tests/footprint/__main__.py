"""The command: the service in a simulated controller, at rest and at work, and what it takes there."""

from __future__ import annotations

import argparse
import re
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

from jobs import put_back, update_each, wait_until
from reliability.resources import Resources
from reliability.table import Findings
from rich.console import Console
from tavrinsim import names
from tavrinsim.payload import header, image, with_signature
from tavrinsim.world import BINARY, World

UPDATES = 50
LARGE_PAYLOAD = 64 << 20
CHECKS = 3

# What it may take at most: the file in KiB, and private memory in KiB above an idle program at rest,
# above rest while a payload is checked.
FILE_KIB, REST_KIB, CHECK_KIB = 350, 3 * 1024, 5 * 1024


@dataclass(frozen=True)
class Taken:
    """What a process takes at one moment, memory in KiB."""

    private: int
    proportional: int
    threads: int
    descriptors: int

    @classmethod
    def by(cls, pid: int) -> Taken:
        """What the process takes now."""
        text = Path(f"/proc/{pid}/smaps_rollup").read_text()
        proportional = re.search(r"^Pss: +(\d+) kB", text, re.M)
        assert proportional is not None
        held = Resources.of(pid)
        numbers = (int(proportional[1]), len(held.threads), held.descriptors.total())
        return cls(held.private_kib, *numbers)

    def __str__(self) -> str:
        memory = f"{self.private} KiB private, {self.proportional} KiB proportional"
        return f"{memory}, {self.threads} threads, {self.descriptors} descriptors"


def main() -> int:
    """Measures, and says whether it is little enough."""
    parser = argparse.ArgumentParser(prog="tools/footprint")
    parser.add_argument("--binary", type=Path, default=BINARY)
    options = parser.parse_args()
    binary = options.binary.resolve()
    size = _stripped_kib(binary)
    idle = _idle(binary)
    rest, check, after = _checking(binary)
    late = _updating(binary)
    findings = Findings(
        "Footprint",
        {
            "stripped file, KiB": size,
            "an idle program": str(idle),
            "the service at rest": str(rest),
            "while it checks 64 MiB": str(check),
            "at rest after that": str(after),
            f"after {UPDATES} updates": str(late),
        },
    )
    for words, value, most in (
        ("the stripped file has", size, FILE_KIB),
        ("at rest, above an idle program,", rest.private - idle.private, REST_KIB),
        (
            "at rest after a check, above an idle program,",
            after.private - idle.private,
            REST_KIB,
        ),
        ("during a check, above rest,", check.private - rest.private, CHECK_KIB),
    ):
        if value > most:
            findings.violations.append(f"{words} {value} KiB, more than {most}")
    return findings.finish(Console(), binary.parent / "footprint.json")


def _stripped_kib(binary: Path) -> int:
    with tempfile.TemporaryDirectory() as folder:
        stripped = Path(folder) / binary.name
        subprocess.run(["strip", "-o", stripped, binary], check=True)
        return -(-stripped.stat().st_size // 1024)


def _idle(binary: Path) -> Taken:
    """The idle program of the same build in the service's place."""
    with World(binary) as world:
        program = binary.parent / "tests" / "footprint" / "idle-program"
        pid = world.start(program=program).pid
        wait_until(lambda: world.client.connections_of(pid) != [], "it is on the bus")
        return Taken.by(pid)


def _checking(binary: Path) -> tuple[Taken, Taken, Taken]:
    """The service at rest, at most during some checks, and at rest after them."""
    with World(binary) as world:
        pid = _start(world)
        rest = Taken.by(pid)
        # From the second one on, the C library may keep what it gave back before.
        checks = [_during_check(world, pid) for _ in range(CHECKS)]
        return rest, max(checks, key=lambda taken: taken.private), Taken.by(pid)


def _updating(binary: Path) -> Taken:
    """The service at rest after many updates."""
    with World(binary) as world:
        pid = _start(world)
        for _ in range(UPDATES // len(world.board.devices)):
            update_each(world)
            put_back(world)
        return Taken.by(pid)


def _start(world: World) -> int:
    pid = world.start().pid
    world.wait_published()
    world.wait_registered()
    return pid


def _during_check(world: World, pid: int) -> Taken:
    """The most that the service takes from a job's beginning to its refusal."""
    kind = names.KINDS["pbb"]
    unsigned = with_signature(header() + image(kind.name, "1.0.0", LARGE_PAYLOAD), 1, 1)
    job = world.job(kind.fqdd(1), world.payload_of(unsigned))
    answer = world.coordinator.begin_update(job)
    most = Taken.by(pid)
    while not answer.done():
        most = max(most, Taken.by(pid), key=lambda taken: taken.private)
    assert answer.result() == 1, "it is signed by nobody"
    return most


if __name__ == "__main__":
    sys.exit(main())
