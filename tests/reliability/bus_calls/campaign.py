"""A service under thousands of calls: what has to hold while they come, and when they are over.

They are made up from its introspection: `shape` is what there is, `values` are boundary and random
values of any type, `calls` right ones and hopelessly wrong ones, and `caller` is a process that makes
them, as root or as an ordinary user.
"""

from __future__ import annotations

import multiprocessing
from collections import Counter
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from support import sanitizers
from support.held_memory import HeldMemory, Look, counted_controller, gives_memory_back
from support.jobs import put_back, threads, update, update_each, wait_until
from support.resources import Resources
from tavrinsim import names
from tavrinsim.job import SUCCEEDED
from tavrinsim.world import World

from .caller import Answers, Order, carry_out
from .shape import Properties, Shape, State, difference

ROOT = "root"

# Private memory that may have come between the middle of a campaign and its end, although no block
# has: what is in use lies in other places, some of it alone in a page. There are some sixty texts
# that were written anew, and as many pages are 240 KiB; the rest is for the workers' stacks and pools.
TOLERATED_KIB = 512


@dataclass
class Result:
    """What came of one user's calls."""

    answers: dict[str, Any] = field(default_factory=dict)
    jobs: int = 0
    grown_kib: int = 0
    more_blocks: int = 0
    more_bytes: int = 0
    violations: list[str] = field(default_factory=list)


class _Ended(Exception):
    """The service has ended in the middle of it."""


class Campaign:
    """Calls of one user to the service of one world, in two halves."""

    def __init__(
        self, world: World, memory: HeldMemory, user: str, tick: Callable[[int], None]
    ) -> None:
        assert world.service is not None
        world.coordinator.reports.clear()
        self.result = Result()
        self._world = world
        self._memory = memory
        self._user = user
        self._tick = tick
        self._made = 0
        self._pid = world.service.pid
        self._idle = threads(world)
        self._properties = Properties(world, Shape.walk(world.client.introspect))
        self._folders = [str(world.payload(kind, "2.3.4")) for kind in names.KINDS]

    def run(self, seed: int, count: int) -> Result:
        """All of it; the violations are in the result."""
        before = self._properties.state()
        self._world.trace.forget()
        try:
            half = self._half(seed, count // 2, before)
            end = self._half(seed + 1, count - count // 2, before, half)
            self._compare(half, end)
            self._update()
        except _Ended:
            self.result.violations.append("the service has ended")
        return self.result

    def _half(self, seed: int, count: int, before: State, earlier: Look | None = None) -> Look:
        """Half of the calls; what the service holds after them, everything put back."""
        self._take(self._call(seed, count))
        self._made += count
        self._wait_for_the_last_worker()
        if self._user == ROOT:
            self._properties.put_back(before)
        else:
            self._check_idle()
        self._check_values(before)
        self._world.trace.forget()
        memory = self._memory.at_rest(earlier.memory if earlier else None)
        return Look(Resources.of(self._pid), memory)

    def _wait_for_the_last_worker(self) -> None:
        world = self._world
        wait_until(lambda: not world.running or threads(world) <= self._idle, "idle again")
        if not world.running:
            raise _Ended

    def _compare(self, half: Look, end: Look) -> None:
        result = self.result
        result.more_blocks = end.memory.blocks - half.memory.blocks
        result.more_bytes = end.memory.size - half.memory.size
        rounding = self._properties.rounding() if self._user == ROOT else 0
        result.violations += end.grown_since(half, rounding)
        result.grown_kib = end.resources.private_kib - half.resources.private_kib
        if result.grown_kib > TOLERATED_KIB and gives_memory_back(self._world):
            result.violations.append(f"{result.grown_kib} KiB more memory")

    def _call(self, seed: int, count: int) -> Answers:
        devices = self._world.board.devices
        order = Order(
            address=self._world.bus.address,
            user=self._user,
            seed=seed,
            count=count,
            places=[(d.kind.object_path(d.index + 1), d.fqdd) for d in devices],
            folders=self._folders,
            numbers=[kind.component_id for kind in names.KINDS.values()],
        )
        # In a process of its own, which becomes the user.
        context = multiprocessing.get_context("spawn")
        ours, theirs = context.Pipe()
        process = context.Process(target=carry_out, args=(order, theirs))
        process.start()
        theirs.close()
        while isinstance(told := ours.recv(), int):
            self._tick(self._made + told)
        process.join()
        assert isinstance(told, Answers)
        return told

    def _take(self, answers: Answers) -> None:
        result = self.result
        for name, value in vars(answers).items():
            if isinstance(value, dict):
                result.answers[name] = dict(
                    Counter(result.answers.get(name, {})) + Counter(value)
                )
            elif isinstance(value, (int, float)):
                result.answers[name] = max(value, result.answers.get(name, 0))
        result.violations += [f"no reply: {call}" for call in answers.unanswered]
        if self._user != ROOT:
            result.violations += [f"let through: {call}" for call in answers.let_through]

    def _check_values(self, before: State) -> None:
        if (now := self._properties.state()) != before:
            self.result.violations.append(f"not as before: {difference(before, now)}")

    def _check_idle(self) -> None:
        done = self._world.trace.logs()
        self.result.violations += [f"the service did something: {line}" for line in done]

    def _update(self) -> None:
        world, result = self._world, self.result
        result.jobs = len([r for r in world.coordinator.reports if r.status == SUCCEEDED])
        put_back(world)
        done = update(world, "pbb")
        if (done.result, done.progress[-1:]) != (0, [(SUCCEEDED, 100)]):
            words = f"no update afterwards: {done.result} {done.progress}"
            result.violations.append(words)


@contextmanager
def _controller(binary: Path) -> Iterator[tuple[World, HeldMemory]]:
    """A service that has done everything once, so that all it ever holds open is open."""
    with counted_controller(binary) as (world, memory):
        update_each(world)
        world.wait_registered()
        yield world, memory


def campaign(
    binary: Path, user: str, seed: int, count: int, tick: Callable[[int], None] = lambda _: None
) -> Result:
    """So many calls as a user, in a controller made for them; `tick` is told how many are made."""
    with _controller(binary) as (world, memory):
        result = Campaign(world, memory, user, tick).run(seed, count)
        world.let_service_end()
        result.violations += sanitizers.reports(world.output)
        output = world.output.read_text(errors="replace")
        result.violations += [f"the service wrote: {output[:500]}"] if output else []
    return result
