"""One update, beside what it cannot do without: its pauses, and its transfers at 100 kHz.

The programming library has nothing to do and the coordinator answers at once, so what is left is
the service's: a payload of 1 MiB is checked, and each of 13 reports has a connection of its own.
"""

from __future__ import annotations

import subprocess

from support.jobs import unmark
from tavrinsim import names, payload
from tavrinsim.job import SUCCEEDED

from .bench import PROMPT_PLATFORM, Bench, PromptWorld, line_of, one_processor, prompt_world
from .report import ROUNDS, Figure

PROGRAMS = (PROMPT_PLATFORM, "coordinator")

# The three kinds differ in their ports only; this one's takes the most transfers.
KIND = names.FLOP
PAYLOAD = 1 << 20
REPEATS = 4
BIT_NS = 10_000
# For the device to settle after its programming, and after its port was closed.
PAUSES_MS = 1000 + 500

MOST_OF_ANCHOR, MOST_ABOVE_MS = 1.01, 15


class Updater:
    """A coordinator that sends jobs for the first CPLD of a kind, one after the other."""

    def __init__(self, world: PromptWorld, process: subprocess.Popen[str]) -> None:
        self._world = world
        self._process = process
        self._jobs = 0
        contents = payload.make(
            KIND.name, "2.3.4", world.keys.private[KIND.key_family, "default"], body=PAYLOAD
        )
        self._directory = world.payload_of(contents)

    def wait_registered(self) -> None:
        """Waits until a CPLD of each kind has registered."""
        for _ in names.KINDS:
            self._next("registration")

    def update(self) -> tuple[float, float]:
        """From the job's first message to the report of its success; the anchor; both in ms."""
        unmark(self._world, KIND.fqdd(1))
        self._jobs += 1
        words = (KIND.object_path(1), KIND.fqdd(1), self._jobs, KIND.component_id)
        assert self._process.stdin is not None
        before = self._world.transferred(BIT_NS)
        print(*words, self._directory, file=self._process.stdin, flush=True)
        begin, *_ = self._next("begin")
        while (report := self._next("report"))[1:] != [SUCCEEDED, 100]:
            pass
        if (transferred := self._world.transferred(BIT_NS) - before) <= 0:
            raise RuntimeError("no port was opened")
        return (report[0] - begin) / 1e6, PAUSES_MS + transferred

    def _next(self, wanted: str) -> list[int]:
        """The numbers of the next message of a kind."""
        while line := line_of(self._process):
            what, *numbers = line.split()
            if what == wanted:
                return list(map(int, numbers))
        raise RuntimeError("the coordinator has ended")


def measure(bench: Bench) -> list[Figure]:
    """Updates of one CPLD, of which the quickest of a round counts.

    Whatever else the machine does, and which thread the kernel lets go first, makes one longer
    and never shorter.
    """
    with one_processor(), prompt_world(bench) as world:
        world.coordinator.stop()
        with bench.talk(world, "coordinator") as process:
            updater = Updater(world, process)
            world.begin(bit_ns=BIT_NS)
            updater.wait_registered()
            rounds = [
                min((updater.update() for _ in range(REPEATS)), key=lambda done: done[0] - done[1])
                for _ in range(ROUNDS)
            ]
    return [
        Figure("pauses and transfers", "ms", tuple(anchor for _, anchor in rounds)),
        Figure("all of it, to these", "", tuple(a / b for a, b in rounds), MOST_OF_ANCHOR),
        Figure("all of it, above these", "ms", tuple(a - b for a, b in rounds), MOST_ABOVE_MS),
    ]
