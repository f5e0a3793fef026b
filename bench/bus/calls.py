"""The calls that are measured, and the client that makes them."""

from __future__ import annotations

import subprocess
from dataclasses import dataclass

from tavrinsim.world import World

from ..bench import Bench


@dataclass(frozen=True)
class Call:
    """A call by the client's name for it and in words.

    `timed` calls make a block whose median is taken, `counted` calls what is counted at once.
    """

    name: str
    words: str
    timed: int = 300
    counted: int = 50


def make_calls(
    bench: Bench, world: World, call: Call, blocks: int, number: int, pause: int = 0
) -> int:
    """Makes `blocks` times `number` calls; the least median latency of a block in nanoseconds.

    `pause` is before each call, in microseconds.
    """
    words = [str(bench.program("bus/bus_calls")), world.bus.address, call.name]
    done = subprocess.run(
        [*words, *map(str, (blocks, number, pause))],
        text=True,
        capture_output=True,
        check=False,
    )
    if done.returncode != 0:
        raise RuntimeError(f"{call.name}: {done.stderr}")
    return int(done.stdout)
