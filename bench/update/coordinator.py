"""The prompt coordinator in the place of the simulated one."""

from __future__ import annotations

import os
import subprocess
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path

from tavrinsim import names
from tavrinsim.job import SUCCEEDED
from tavrinsim.world import World


@dataclass(frozen=True)
class Message:
    """A message as the coordinator saw it: when in nanoseconds, what, its numbers."""

    time: int
    what: str
    numbers: tuple[int, ...]


class PromptCoordinator:
    """Drives prompt_coordinator, which answers everything at once."""

    def __init__(self, process: subprocess.Popen[str]) -> None:
        self._process = process
        self._transaction = 0

    def wait_registered(self, count: int) -> None:
        """Waits until this many components have registered."""
        for _ in range(count):
            self._next("registration")

    def update(self, kind: names.Kind, directory: Path) -> list[Message]:
        """One job for the first CPLD of a kind; its messages up to its success."""
        self._transaction += 1
        words = [kind.object_path(1), kind.fqdd(1), self._transaction]
        assert self._process.stdin is not None
        print(*words, kind.component_id, directory, file=self._process.stdin, flush=True)
        messages = [self._next("begin")]
        while messages[-1].numbers != (SUCCEEDED, 100):
            messages.append(self._next())
        return messages

    def _next(self, wanted: str | None = None) -> Message:
        """The next message, or the next of a kind; some reports are nobody's job's."""
        assert self._process.stdout is not None
        for line in self._process.stdout:
            time, what, *numbers = line.split()
            if wanted in (None, what):
                return Message(int(time), what, tuple(map(int, numbers)))
        raise RuntimeError("the coordinator has ended")


@contextmanager
def prompt_coordinator(program: Path, world: World) -> Iterator[PromptCoordinator]:
    """The program on the world's bus, from which the simulated coordinator is gone."""
    world.coordinator.stop()
    process = subprocess.Popen(
        [program],
        env=os.environ | world.bus.environment(),
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    )
    with process:
        assert process.stdout is not None
        if process.stdout.readline() != "ready\n":
            raise RuntimeError("there is no coordinator on the bus")
        yield PromptCoordinator(process)
