"""One run of a service under `strace`, with an allocator in front that counts: a start, then an
update of each kind.
"""

from __future__ import annotations

import time
from collections import Counter
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from support.failing_calls import CallClass, FailingCalls, Failure, Scope
from support.jobs import update, wait_until
from tavrinsim import names
from tavrinsim.world import World

from . import system_calls
from .recorded import Counts
from .system_calls import SystemCall

TraceLine = dict[str, Any]

STRACE = Path("/usr/bin/strace")

# The last lines of the start, on the main thread and on the one that registers the CPLDs.
LISTENING = (
    "[Subscribe_FruReadComplete_status] : Registered signal handler for frureadcomplete\n"
)
REGISTERED = "[cpld_update_register_handler]: Registration successful for FLOP. "

# Level and module of the lines that are records of the log file, too.
RECORD = {"level": 1, "module": 352}
# The simulated programming library's own words about its run; no one calls it with them.
TOLD_BY_LIBRARY = ("cpldfwupdate.progress", "cpldfwupdate.finish")

# As the number of the call that is to fail: none is, all are counted.
NONE = 0


@dataclass(frozen=True)
class Phase:
    """A part of the run in what was written down; `begin` and `end` in seconds of the clock."""

    begin: float
    end: float
    trace: list[TraceLine]
    allocations: int

    def traced(self, what: str) -> list[TraceLine]:
        """The lines of one kind of the trace."""
        return [line for line in self.trace if line["what"] == what]


def count(binary: Path) -> dict[str, Counts]:
    """What a service with 2 PBB, 1 PDB and 1 FLOP takes for its start and for each update."""
    with World(binary) as world:
        service = WatchedService(world)
        with service.phase("start"):
            service.start()
        for kind in names.KINDS:
            with service.phase(kind):
                done = update(world, kind)
                assert (done.result, done.progress[-1]) == (0, (28, 100)), done.steps
                wait_until(
                    lambda: _main_thread_rests(world), "the main thread knows of the job's end"
                )
        world.stop()
        return service.counts()


class WatchedService:
    """The service of one world under the watch."""

    def __init__(self, world: World) -> None:
        self._world = world
        self._calls = world.folder / "system-calls"
        self._allocator = FailingCalls(world.folder / "allocator")
        self._allocator.arm(Failure(CallClass.MEMORY, Scope.ALL, 0), NONE)
        self._phases: dict[str, Phase] = {}

    def start(self) -> None:
        """Starts it and waits until every CPLD is registered."""
        world, build = self._world, self._world.binary.parent
        double = build / "tests" / "system" / "doubles" / "libfailing_calls.so"
        if not double.exists():
            raise FileNotFoundError(f"{double} is missing: build the project's tests first")
        libraries = f"{double}:{world.board.environment(build / 'sim')['LD_PRELOAD']}"
        # The tool stays behind: the service has the process that it would have without.
        words = ["-D", "-f", "-qq", "-y", "-ttt", "-o", str(self._calls)]
        words += ["-E", f"LD_PRELOAD={libraries}", str(world.binary)]
        variables = self._allocator.environment() | {"LD_PRELOAD": ""}
        world.start(environment=variables, program=STRACE, arguments=words)
        wait_started(world)

    @contextmanager
    def phase(self, name: str) -> Iterator[None]:
        """All that is done meanwhile is the phase's."""
        trace = self._world.trace
        self._let_trace_catch_up()
        begin, first, before = time.time(), trace.mark(), self._allocator.now.count
        yield
        allocations, end = self._allocator.now.count - before, time.time()
        self._let_trace_catch_up()
        self._phases[name] = Phase(begin, end, trace.lines()[first:], allocations)

    def _let_trace_catch_up(self) -> None:
        """The monitor gets all messages later than those they are for, in order."""
        mark = self._world.trace.mark()
        self._world.client.owner()
        self._world.trace.wait_for(start=mark, what="bus", member="GetNameOwner")

    def counts(self) -> dict[str, Counts]:
        """By phase, once the service is gone."""
        calls = system_calls.read(self._calls.read_text().splitlines())
        own = {
            line["sender"]
            for phase in self._phases.values()
            for line in phase.traced("bus")
            if line["member"] == "Hello"
        }
        return {
            name: _counts(phase, [c for c in calls if phase.begin <= c.time <= phase.end], own)
            for name, phase in self._phases.items()
        }


def _counts(phase: Phase, calls: list[SystemCall], own: set[str]) -> Counts:
    """Of one phase; `own` are the service's connections to the bus."""
    messages, transfers = phase.traced("bus"), len(phase.traced("transfer"))
    purposes = Counter(call.purpose for call in calls)
    # The simulated bus needs no call for it.
    purposes[system_calls.CPLDS] += transfers
    known = set(purposes) - {system_calls.OTHERS, *system_calls.INCIDENTAL}
    return {
        **{f"system calls, {purpose}": purposes[purpose] for purpose in known},
        "system calls": sum(
            number
            for purpose, number in purposes.items()
            if purpose not in system_calls.INCIDENTAL
        ),
        "transfers": transfers,
        "connections": sum(line["member"] == "Hello" for line in messages),
        "messages": sum((line["sender"] in own) + _reaches(line, own) for line in messages),
        "records": sum(RECORD.items() <= line.items() for line in phase.traced("log")),
        "platform calls": sum(
            line["name"] not in TOLD_BY_LIBRARY for line in phase.traced("call")
        ),
        "allocations": phase.allocations,
    }


def _reaches(line: TraceLine, own: set[str]) -> bool:
    """Whether the service gets the message; NameLost reaches nobody, since its owner has gone."""
    return line["destination"] in own | {names.SERVICE} and line["member"] != "NameLost"


def wait_started(world: World) -> None:
    """Waits until the start is over: the event loop runs, every CPLD is registered."""
    world.trace.wait_for(what="log", text=LISTENING, timeout=60)
    world.trace.wait_for(
        lambda line: str(line.get("text")).startswith(REGISTERED), timeout=60, what="log"
    )
    wait_until(lambda: _main_thread_rests(world), "the event loop waits")


def _main_thread_rests(world: World) -> bool:
    """Whether the main thread sleeps; with no call of its own open, it waits for events."""
    assert world.service is not None
    pid = world.service.pid
    state = Path(f"/proc/{pid}/task/{pid}/stat").read_text().rpartition(")")[2].split()[0]
    return state == "S"
