"""The start, beside that of an idle program: from the process's beginning to its first answer.

An idle program is executed, connects to the bus, takes the name and answers. The service also reads
the version of every CPLD and publishes an object for each, before it answers.
"""

from __future__ import annotations

import signal
import statistics
import struct
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from pathlib import Path

from jobs import wait_until
from tavrinsim import names
from tavrinsim.world import World

from .bench import PROMPT_PLATFORM, Bench, line_of, prompt_world
from .figures import ROUNDS, Figure, ratios

PROGRAMS = (PROMPT_PLATFORM, "begin", "first_answer", "idle")

# CPLDs of each of the three kinds, and how often each start is repeated in a round: the short
# ones are disturbed more by whatever else runs.
REPEATS = {1: 8, 16: 8, 255: 3}
ONE, FEW, MANY = REPEATS
# Of an I2C bus with 100 kHz.
SLOW_BIT_NS = 10_000

MOST_OF_IDLE, MOST_GROWTH = 5.0, 1.2
MOST_OF_TRANSFERS, KNOWN_OF_TRANSFERS = 1.1, 1.6
ANNOUNCEMENTS = "after the last transfer every object is announced, which is libsystemd's work"


@dataclass(frozen=True)
class Start:
    """One start, in ms: the whole, what the main thread computed, the transfers."""

    whole: float
    processor: float
    transfers: float


# The starts of one kind in one round.
Starts = list[Start]


class Starter:
    """Starts the service, or the idle program in its place, in one world."""

    def __init__(self, bench: Bench, world: World) -> None:
        self._bench = bench
        self._world = world
        self._transfers = world.folder / "transfers"

    def idle(self) -> Start:
        """The idle program."""
        return self._start([str(self._bench.program("idle")), names.SERVICE])

    def service(self, devices: int, bit_ns: int = 0) -> Start:
        """The service with so many CPLDs of each kind; a bit on the I2C bus takes `bit_ns`."""
        self._transfers.write_bytes(bytes(16))
        variables = {
            "BENCH_DEVICES": str(devices),
            "BENCH_BIT_NS": str(bit_ns),
            "BENCH_TRANSFERS": str(self._transfers),
        }
        return self._start([str(self._bench.binary)], variables, devices, bit_ns)

    def _start(
        self,
        words: list[str],
        variables: dict[str, str] | None = None,
        devices: int = 0,
        bit_ns: int = 0,
    ) -> Start:
        world, bench = self._world, self._bench
        # The bus notices the end of a process a moment after its parent does.
        wait_until(lambda: world.client.owner() is None, "nobody owns the name")
        with bench.talk(world, "first_answer", names.SERVICE) as listener:
            platform = [bench.program(PROMPT_PLATFORM)]
            begin = bench.program("begin")
            service = world.start(platform, variables, program=begin, arguments=words)
            answered = int(line_of(listener) or 0)
        used = int(Path(f"/proc/{service.pid}/schedstat").read_text().split()[0])
        objects = len(world.client.managed_objects()) if devices else 0
        world.stop(signal.SIGKILL)
        if not answered or objects != 3 * devices:
            raise RuntimeError(f"{words[0]} has published {objects} objects, not {3 * devices}")
        began, used_before = map(int, world.output.read_text().splitlines()[-1].split())
        return Start(
            (answered - began) / 1e6,
            (used - used_before) / 1e6,
            self._time_of_transfers(bit_ns) if devices else 0,
        )

    def _time_of_transfers(self, bit_ns: int) -> float:
        """A comparison with transfers that are faster than their bits would say nothing."""
        bits, took = struct.unpack("=qq", self._transfers.read_bytes())
        if bits == 0 or took < bits * bit_ns:
            raise RuntimeError(f"{bits} bits of {bit_ns} ns were transferred in {took} ns")
        return float(took) / 1e6


@dataclass
class Round:
    """The starts of a round: idle programs, services by their CPLDs, services on a slow bus."""

    idle: Starts
    free: dict[int, Starts]
    slow: Starts


def measure(bench: Bench) -> list[Figure]:
    """Starts of all sizes by turns."""
    with prompt_world(bench) as world:
        starter = Starter(bench, world)
        # So that the log file is as full as it is on a controller.
        starter.service(MANY)
        rounds = [_round(starter) for _ in range(ROUNDS)]
    idle = [_median(each.idle, _whole) for each in rounds]
    least = [_median(each.free[ONE], _whole) for each in rounds]
    most = [_median(each.free[MANY], _whole) for each in rounds]
    of_transfers = [_median(each.slow, lambda one: one.whole / one.transfers) for each in rounds]
    return [
        Figure("an idle program", "ms", tuple(idle)),
        Figure(f"{3 * ONE} objects", "ms", tuple(least)),
        Figure(f"{3 * ONE} objects, to an idle program", "", ratios(least, idle), MOST_OF_IDLE),
        Figure(f"{3 * MANY} objects", "ms", tuple(most)),
        Figure(
            f"one object of {3 * MANY}, to one of {3 * FEW}, processor time",
            "",
            ratios(_each(rounds, MANY), _each(rounds, FEW)),
            MOST_GROWTH,
        ),
        Figure(
            f"{3 * MANY} objects, I2C at 100 kHz, to the transfers",
            "",
            tuple(of_transfers),
            MOST_OF_TRANSFERS,
            KNOWN_OF_TRANSFERS,
            ANNOUNCEMENTS,
        ),
    ]


def _round(starter: Starter) -> Round:
    """The repetitions by turns."""
    round_ = Round([], {size: [] for size in REPEATS}, [])
    for number in range(max(REPEATS.values())):
        round_.idle.append(starter.idle())
        for size in (size for size, times in REPEATS.items() if number < times):
            round_.free[size].append(starter.service(size))
        if number < REPEATS[MANY]:
            round_.slow.append(starter.service(MANY, SLOW_BIT_NS))
    return round_


def _whole(start: Start) -> float:
    return start.whole


def _median(starts: Starts, value: Callable[[Start], float]) -> float:
    return statistics.median(map(value, starts))


def _each(rounds: Sequence[Round], size: int) -> list[float]:
    """Of one object: what it adds to the start of a service that has next to none.

    Processor time: wall time is shared with the bus daemon, and with what else the machine does.
    """
    medians = [
        [_median(each.free[which], lambda start: start.processor) for which in (ONE, size)]
        for each in rounds
    ]
    return [(more - least) / (3 * (size - ONE)) for least, more in medians]
