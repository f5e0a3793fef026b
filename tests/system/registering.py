"""The registration thread of a service, followed through its log lines."""

from __future__ import annotations

import re

from sequence import sequence
from tavrinsim.world import World

FIRST_LINE = "[regSignalThreadHandler] Opening system bus\n"


def thread_lines(world: World) -> list[str]:
    """All that the thread logged, without the times its calls took."""
    thread = world.trace.wait_for(what="log", text=FIRST_LINE)["tid"]
    lines = sequence(world, tid=thread)
    return [re.sub(r"completed in \d+ ms", "completed in N ms", line) for line in lines]


def wait_for_calls(world: World, count: int, timeout: float = 20) -> None:
    """Waits until the thread has logged the outcome of so many calls."""

    def is_outcome(line: dict[str, object]) -> bool:
        text = str(line.get("text"))
        return "Registration successful" in text or "DBusError=" in text

    start = 0
    for _ in range(count):
        line = world.trace.wait_for(is_outcome, timeout, start)
        start = world.trace.lines().index(line, start) + 1


def registered_paths(world: World) -> list[str]:
    """The object paths of the registrations that reached the coordinator."""
    return [registration.object_path for registration in world.coordinator.registrations]
