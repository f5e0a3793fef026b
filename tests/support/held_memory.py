"""The memory that a service holds when it has nothing to do, to the block and to the byte."""

from __future__ import annotations

from collections.abc import Iterator
from contextlib import contextmanager, suppress
from dataclasses import dataclass
from pathlib import Path

from support import sanitizers
from support.failing_calls import FailingCalls
from support.jobs import wait_until
from support.resources import Resources
from tavrinsim.setting import Setting
from tavrinsim.world import World

# The C library keeps the stacks of threads that have ended for later ones, each with a block. How
# many there are is chance: a worker may begin while the one before it is still ending.
NO_STACKS_KEPT = {"GLIBC_TUNABLES": "glibc.pthread.stack_cache_size=0"}


@dataclass(frozen=True)
class Held:
    """Blocks of memory that were handed out and not given back, and the bytes in them."""

    blocks: int
    size: int

    def grown_since(self, before: Held, tolerated_bytes: int = 0) -> list[str]:
        """What there is more of than before, in words."""
        blocks, size = self.blocks - before.blocks, self.size - before.size
        words = [f"{blocks} more block(s) of memory"] if blocks > 0 else []
        return words + ([f"{size} more byte(s) of memory"] if size > tolerated_bytes else [])


@dataclass(frozen=True)
class Look:
    """What a service held when nothing was going on."""

    resources: Resources
    memory: Held

    def grown_since(self, before: Look, tolerated_bytes: int = 0) -> list[str]:
        """What there is more of than before, in words; private memory is the caller's to judge."""
        resources = self.resources.grown_since(before.resources)
        return resources + self.memory.grown_since(before.memory, tolerated_bytes)


def gives_memory_back(world: World) -> bool:
    """Whether the private memory of a world's service shrinks when the service frees some.

    A sanitizer remembers what was freed, a traced program has no heap that could shrink, and an
    emulator keeps what it has translated.
    """
    hidden = world.view.traces or world.emulated
    return not sanitizers.built_into(world.binary) and not hidden


class HeldMemory:
    """Counts what the service of one world holds.

    Nothing is counted in a sanitizer's build: that has an allocator of its own, which looks for
    leaks itself at the service's end.
    """

    def __init__(self, world: World) -> None:
        self._world = world
        self._counted = not sanitizers.built_into(world.binary)
        self._calls = FailingCalls(world.folder / "failing-calls")

    def start_service(self) -> None:
        """Starts the service of the world, counted from its first allocation on."""
        if not self._counted:
            self._world.start()
            return
        doubles = self._world.binary.parent / "tests" / "system" / "doubles"
        self._world.start(
            preload=[doubles / "libfailing_calls.so"],
            environment={**self._calls.environment(), **NO_STACKS_KEPT},
        )

    def at_rest(self, before: Held | None = None) -> Held:
        """What it holds; to be asked when all jobs and registrations asked for are over.

        What is on its way out of the service counts, so it gets the time to leave: until no more
        is left than `before`, where that is known.
        """
        if self._counted:
            self._trim()
        if before is not None:
            enough = before.blocks
            with suppress(AssertionError):  # what is left then is told by the caller
                wait_until(lambda: self._now().blocks <= enough, "none left", timeout=5)
        return self._now()

    def _trim(self) -> None:
        """Takes away what is not in use, so that private memory means something as well.

        The thread of the registrations does it, when it next looks for a signal: once a second at
        least, and not before the last pass is over, which goes on a moment after its last answer.
        """
        self._calls.now.trim = 1
        wait_until(lambda: self._calls.now.trim == 0, "the registration thread waits")

    def _now(self) -> Held:
        return Held(self._calls.now.blocks, self._calls.now.bytes)


@contextmanager
def counted_controller(binary: Path) -> Iterator[tuple[World, HeldMemory]]:
    """A running service whose memory is counted, and whose programming library needs no time."""
    with World(binary, Setting(monitored=False)) as world:
        world.board.faults.programming(percents=[100], step_delay_ms=0)
        memory = HeldMemory(world)
        memory.start_service()
        world.wait_published()
        yield world, memory
