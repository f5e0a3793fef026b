"""One run of a service under a watch: its start, then an update of each kind."""

from __future__ import annotations

import time
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from jobs import update, wait_until
from reliability.failing_calls import CallClass, Failure, FailingCalls, Scope
from tavrinsim import names
from tavrinsim.world import World

from . import system_calls
from .system_calls import SystemCall

TraceLine = dict[str, Any]

START = "start"

STRACE = Path("/usr/bin/strace")

# The last lines of the start, on the main thread and on the one that registers the CPLDs.
LISTENING = (
    "[Subscribe_FruReadComplete_status] : Registered signal handler for frureadcomplete\n"
)
REGISTERED = "[cpld_update_register_handler]: Registration successful for FLOP. "

# As the number of the call that is to fail: none is, all are counted.
NONE = 0


@dataclass(frozen=True)
class Phase:
    """What a service did between two moments in which it did nothing."""

    calls: list[SystemCall]
    trace: list[TraceLine]
    allocations: int

    def traced(self, what: str) -> list[TraceLine]:
        """The lines of one kind of the trace."""
        return [line for line in self.trace if line["what"] == what]


def watch(binary: Path) -> dict[str, Phase]:
    """A service with 2 PBB, 1 PDB and 1 FLOP, from its start to its third update."""
    with World(binary) as world:
        watched = WatchedService(world)
        with watched.phase(START):
            watched.start()
        for kind in names.KINDS:
            with watched.phase(kind):
                done = update(world, kind)
                assert (done.result, done.progress[-1]) == (0, (28, 100)), done.steps
                wait_until(watched.main_thread_rests, "the main thread knows of the job's end")
        world.stop()
        return watched.phases()


@dataclass(frozen=True)
class _Interval:
    """A phase's place in what was written down; `begin` and `end` in seconds of the clock."""

    begin: float
    end: float
    first_line: int
    last_line: int
    allocations: int


class WatchedService:
    """The service of one world under `strace`, with the allocator in front that counts."""

    def __init__(self, world: World) -> None:
        self._world = world
        self._binary = world.binary
        self._calls = world.folder / "system-calls"
        self._allocator = FailingCalls(world.folder / "allocator")
        self._allocator.arm(Failure(CallClass.MEMORY, Scope.ALL, 0), NONE)
        self._intervals: dict[str, _Interval] = {}

    def start(self) -> None:
        """Starts it and waits until every CPLD is registered."""
        world, build = self._world, self._binary.parent
        double = build / "tests" / "system" / "doubles" / "libfailing_calls.so"
        if not double.exists():
            raise FileNotFoundError(f"{double} is missing: build the project's tests first")
        libraries = f"{double}:{world.board.environment(build / 'sim')['LD_PRELOAD']}"
        # The tool stays behind: the service has the process that it would have without.
        words = ["-D", "-f", "-qq", "-y", "-ttt", "-o", str(self._calls)]
        words += ["-E", f"LD_PRELOAD={libraries}", str(self._binary)]
        variables = self._allocator.environment() | {"LD_PRELOAD": ""}
        world.start(environment=variables, program=STRACE, arguments=words)
        wait_started(world)

    def main_thread_rests(self) -> bool:
        """Whether the event loop waits for something to do."""
        return main_thread_rests(self._world)

    @contextmanager
    def phase(self, name: str) -> Iterator[None]:
        """All that is done meanwhile is the phase's."""
        begin, first = time.time(), self._world.trace.mark()
        before = self._allocator.count
        yield
        allocations, end = self._allocator.count - before, time.time()
        self._wait_for_monitor()
        self._intervals[name] = _Interval(
            begin, end, first, self._world.trace.mark(), allocations
        )

    def _wait_for_monitor(self) -> None:
        """Lets the trace have all messages so far: the monitor gets them later, in order."""
        start = self._world.trace.mark()
        self._world.client.owner()
        self._world.trace.wait_for(start=start, what="bus", member="GetNameOwner")

    def phases(self) -> dict[str, Phase]:
        """Everything, once the service is gone."""
        calls = system_calls.read(self._calls.read_text().splitlines())
        lines = self._world.trace.lines()
        return {
            name: Phase(
                [call for call in calls if place.begin <= call.time <= place.end],
                lines[place.first_line : place.last_line],
                place.allocations,
            )
            for name, place in self._intervals.items()
        }


def wait_started(world: World) -> None:
    """Waits until the start is over: the event loop runs, every CPLD is registered."""
    world.trace.wait_for(what="log", text=LISTENING, timeout=60)
    world.trace.wait_for(
        lambda line: str(line.get("text")).startswith(REGISTERED), timeout=60, what="log"
    )
    wait_until(lambda: main_thread_rests(world), "the event loop waits")


def main_thread_rests(world: World) -> bool:
    """Whether the main thread sleeps; with no call of its own open, it waits for events."""
    assert world.service is not None
    pid = world.service.pid
    state = Path(f"/proc/{pid}/task/{pid}/stat").read_text().rpartition(")")[2].split()[0]
    return state == "S"
