"""A service that ends by a signal right before a chosen one of its effects on the world."""

from __future__ import annotations

import re
import signal
from pathlib import Path

from tavrinsim.world import World

# The first line of the service about a job; effects are counted from it on.
FIRST_LINE = "PayloadPath - %s"

_EFFECT = re.compile(r"^effect (\d+) (\w+)$", re.MULTILINE)


def start(world: World, double: Path, before: int = 0, number: int = signal.SIGKILL) -> None:
    """Starts the service and waits for its objects.

    `double` is the library that ends it, before the effect `before` by the signal `number`.
    Effects are counted from the first job on; none has the number 0.
    """
    variables = {"COUNTS_FROM": FIRST_LINE, "ENDS_BEFORE": before, "ENDS_BY": int(number)}
    world.output.unlink(missing_ok=True)
    world.start(preload=[double], environment={k: str(v) for k, v in variables.items()})
    world.wait_published()


def effects(world: World) -> list[str]:
    """The calls that had an effect since counting began, in order."""
    return [call for _, call in _EFFECT.findall(world.output.read_text(errors="replace"))]
