"""Starts of the service, each followed to the moment at which all its objects are there."""

from __future__ import annotations

import os
import signal
import subprocess
from collections.abc import Iterator
from contextlib import contextmanager

from jobs import wait_until
from tavrinsim import names
from tavrinsim.setting import Setting
from tavrinsim.world import World

from ..bench import Bench
from ..prompt_platform.memory import in_memory
from ..prompt_platform.record import Record

# Of a bus with 100 kHz.
SLOW_BIT_NS = 10_000


class Start:
    """One start, times in ms."""

    def __init__(self, began: int, answered: int, used: int, record: Record) -> None:
        # From the beginning of the process to its first answer after the publication.
        self.whole = (answered - began) / 1e6
        # What the main thread computed meanwhile.
        self.processor = used / 1e6
        _, took = record.transfers
        # What all its transfers took.
        self.transfers = took / 1e6
        self._moments = record.moments()

    @property
    def reading(self) -> float:
        """Time of the three readings of versions, each from its first log line to its last."""
        begins = self._times("Inventory collection started")
        ends = self._times("Inventory collection successful")
        return sum(end - begin for begin, end in zip(begins, ends, strict=True)) / 1e6

    @property
    def publication(self) -> float:
        """Time from when the first object was there to when the last was."""
        times = self._times("Registered object path")
        return (times[-1] - times[0]) / 1e6

    def _times(self, text: str) -> list[int]:
        return [moment.time for moment in self._moments if text in moment.text]


class Starter:
    """Starts the service in one world, with any number of CPLDs."""

    def __init__(self, bench: Bench, world: World) -> None:
        self._world = world
        self._service = bench.binary
        self._bare = bench.program("start/bare_publication")
        self._listener = bench.program("start/published")
        self._platform = bench.program("prompt_platform/libprompt_platform.so")
        self._record_file = world.folder / "record"
        self._begin = bench.program("start/begin")

    def start(self, devices: int, bit_ns: int = 0) -> Start:
        """One start with `devices` CPLDs of each kind; a bit on the I2C bus takes `bit_ns`."""
        record = Record(self._record_file)
        variables = record.variables | {"BENCH_DEVICES": str(devices)}
        if bit_ns:
            variables["BENCH_BIT_NS"] = str(bit_ns)
        self._wait_for_free_name()
        with self._listening() as listener:
            assert listener.stdout is not None
            self._world.start(
                [self._platform],
                variables,
                program=self._begin,
                arguments=[str(self._service)],
            )
            words = listener.stdout.readline().split()
        if len(words) != 3:
            raise RuntimeError("the service has not published its objects")
        began, used_before = map(int, self._world.output.read_text().splitlines()[-1].split())
        self._world.stop(signal.SIGKILL)
        answered, used, objects = map(int, words)
        if objects != 3 * devices:
            raise RuntimeError(f"{objects} objects were published, not {3 * devices}")
        _assert_slow(record, bit_ns)
        return Start(began, answered, used - used_before, record)

    def publish_barely(self, devices: int) -> float:
        """The same publication by plain sd-bus, measured as `Start.publication` is."""
        self._wait_for_free_name()
        done = subprocess.run(
            [self._bare, str(devices)],
            env=os.environ | self._world.bus.environment(),
            stdout=subprocess.PIPE,
            check=True,
        )
        return int(done.stdout) / 1e6

    def _wait_for_free_name(self) -> None:
        """The bus notices the end of a process a moment after its parent does."""
        wait_until(lambda: self._world.client.owner() is None, "nobody owns the name")

    @contextmanager
    def _listening(self) -> Iterator[subprocess.Popen[str]]:
        listener = subprocess.Popen(
            [self._listener, names.SERVICE, names.OBJECT_ROOT],
            env=os.environ | self._world.bus.environment(),
            stdout=subprocess.PIPE,
            text=True,
        )
        with listener:
            assert listener.stdout is not None
            if listener.stdout.readline() != "ready\n":
                raise RuntimeError("nobody listens on the bus")
            yield listener


def _assert_slow(record: Record, bit_ns: int) -> None:
    """A comparison with transfers that are faster than their bits would say nothing."""
    bits, took = record.transfers
    if bits == 0 or took < bits * bit_ns:
        raise RuntimeError(f"{bits} bits of {bit_ns} ns were transferred in {took} ns")


@contextmanager
def starter(bench: Bench) -> Iterator[Starter]:
    """A world whose only CPLDs are those of the prompt platform."""
    with in_memory(), World(bench.binary, Setting(monitored=False)) as world:
        yield Starter(bench, world)
