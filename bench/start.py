"""The start, beside that of an idle program: from the process's beginning to its first answer.

An idle program is executed, connects to the bus, takes the name and answers. The service also reads
the version of every CPLD and publishes an object for each, before it answers.
"""

from __future__ import annotations

import signal
import statistics
from collections.abc import Sequence
from dataclasses import dataclass
from pathlib import Path

from support.jobs import wait_until
from tavrinsim import names

from .bench import PROMPT_PLATFORM, Bench, PromptWorld, line_of, prompt_world
from .report import ROUNDS, Figure, ratios

PROGRAMS = (PROMPT_PLATFORM, "begin", "first_answer", "idle")

# CPLDs of each of the three kinds.
ONE, FEW, MANY = 1, 16, 255
# Of an I2C bus with 100 kHz.
SLOW_BIT_NS = 10_000

MOST_OF_IDLE, MOST_GROWTH = 5.0, 1.2
# At most, known to be at most, and why it is more.
ANNOUNCEMENTS = "after the last transfer every object is announced, which is libsystemd's work"
OF_TRANSFERS = (1.1, 1.6, ANNOUNCEMENTS)


@dataclass(frozen=True)
class Start:
    """One start, in ms: the whole, what the main thread computed, the transfers."""

    whole: float
    processor: float
    transfers: float


@dataclass(frozen=True)
class Way:
    """A way to start: with so many CPLDs of each kind, or an idle program where there are none.

    `repeats` is how often in a round: the short ones are disturbed more by whatever else runs.
    """

    devices: int
    bit_ns: int = 0
    repeats: int = 8

    def start(self, bench: Bench, world: PromptWorld) -> Start:
        """Once, to the first answer; then it is ended."""
        idle = [bench.program("idle"), names.SERVICE]
        words = [bench.program("begin"), *([bench.binary] if self.devices else idle)]
        # The bus notices the end of a process a moment after its parent does.
        wait_until(lambda: world.client.owner() is None, "nobody owns the name")
        with bench.talk(world, "first_answer", names.SERVICE) as listener:
            pid = world.begin(self.devices, self.bit_ns, words)
            answered = int(line_of(listener) or 0)
        used = int(Path(f"/proc/{pid}/schedstat").read_text().split()[0])
        objects = len(world.client.managed_objects()) if self.devices else 0
        world.stop(signal.SIGKILL)
        if not answered or objects != 3 * self.devices:
            raise RuntimeError(f"{objects} objects were published, not {3 * self.devices}")
        began, used_before = map(int, world.output.read_text().splitlines()[-1].split())
        whole, processor = (answered - began) / 1e6, (used - used_before) / 1e6
        return Start(whole, processor, world.transferred(self.bit_ns))


WAYS = {
    "idle": Way(0),
    "one": Way(ONE),
    "few": Way(FEW),
    "many": Way(MANY, repeats=3),
    "slow": Way(MANY, SLOW_BIT_NS, repeats=3),
}

# The starts of a round, by their way.
Round = dict[str, list[Start]]


def measure(bench: Bench) -> list[Figure]:
    """Starts of all ways by turns."""
    with prompt_world(bench) as world:
        # So that the log file is as full as it is on a controller.
        WAYS["many"].start(bench, world)
        rounds = [_round(bench, world) for _ in range(ROUNDS)]
    idle, one, _, many, slow = (_medians(rounds, way, "whole") for way in WAYS)
    growth = ratios(_each(rounds, "many", MANY), _each(rounds, "few", FEW))
    transfers = _medians(rounds, "slow", "transfers")
    least, most = f"{3 * ONE} objects", f"{3 * MANY} objects"
    words = f"one object of {3 * MANY}, to one of {3 * FEW}, processor time"
    return [
        Figure("an idle program", "ms", tuple(idle)),
        Figure(least, "ms", tuple(one)),
        Figure(f"{least}, to an idle program", "", ratios(one, idle), MOST_OF_IDLE),
        Figure(most, "ms", tuple(many)),
        Figure(words, "", growth, MOST_GROWTH),
        Figure(f"{most}, I2C at 100 kHz, to transfers", "", ratios(slow, transfers), *OF_TRANSFERS),
    ]


def _round(bench: Bench, world: PromptWorld) -> Round:
    """The repetitions by turns."""
    starts: Round = {name: [] for name in WAYS}
    for number in range(max(way.repeats for way in WAYS.values())):
        for name, way in WAYS.items():
            if number < way.repeats:
                starts[name].append(way.start(bench, world))
    return starts


def _medians(rounds: Sequence[Round], way: str, what: str) -> list[float]:
    """Of each round's starts."""
    return [statistics.median(getattr(start, what) for start in each[way]) for each in rounds]


def _each(rounds: Sequence[Round], way: str, devices: int) -> list[float]:
    """Of one object: what it adds to the start of a service that has next to none.

    Processor time: wall time is shared with the bus daemon, and with what else the machine does.
    """
    pairs = zip(_medians(rounds, way, "processor"), _medians(rounds, "one", "processor"))
    return [(more - least) / (3 * (devices - ONE)) for more, least in pairs]
