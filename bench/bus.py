"""Calls of the service, beside an answer that libsystemd gives in it without the service's code.

The anchor is the service's own `Peer.Ping`: the same client, connection, bus daemon and process,
and not a line of the service behind it. What it takes to a call that the bus daemon answers itself
shows what a service behind the daemon costs, its event loop included.

Two refusals of an update: a number that no instance can have is answered by an error, which the
binding can do by throwing only; a name that no kind has by the result 1, with a record in the log
file, as most refusals are.
"""

from __future__ import annotations

import os
import subprocess
from collections import defaultdict

from tavrinsim.world import World

from .bench import PROMPT_PLATFORM, Bench, one_processor, prompt_world
from .report import ROUNDS, Figure, ratios, scaled

PROGRAMS = (PROMPT_PLATFORM, "round_trips")

# CPLDs of each of the three kinds.
FEW, MANY = 1, 255
COUNT, COUNT_OF_OBJECTS = 300, 3
# Of a start with many objects, in seconds.
PATIENCE = 60

# To a Ping, by the client's name for the call.
CALLS = {
    "get": ("Get", 1.3),
    "get_all": ("GetAll of 21 properties", 2.0),
    "set": ("Set", 1.3),
    "error": ("update refused by an error", 2.0),
    "refusal": ("update refused with a record", 2.0),
}
MOST_OF_DAEMON = 2.5
# All objects at once are to cost little more than each of them alone, however many there are.
MOST_OF_SHARE = 1.3

# In nanoseconds, round by round, by call.
Times = dict[str, list[float]]


def measure(bench: Bench) -> list[Figure]:
    """With few objects and with many."""
    with one_processor():
        return [figure for devices in (FEW, MANY) for figure in _measure(bench, devices)]


def _measure(bench: Bench, devices: int) -> list[Figure]:
    objects = 3 * devices
    with prompt_world(bench) as world:
        world.begin(devices)
        if (published := len(world.wait_published(PATIENCE))) != objects:
            raise RuntimeError(f"{published} objects were published, not {objects}")
        world.coordinator.wait_registered(objects, PATIENCE)
        times = _times(bench, world, COUNT)
        times |= _times(bench, world, COUNT_OF_OBJECTS, "objects")
    name, ping = f"{objects} objects", times["ping"]
    figures = [
        Figure(f"{name}, {words}, to a Ping", "", ratios(times[call], ping), most)
        for call, (words, most) in CALLS.items()
    ]
    of_daemon = ratios(ping, times["daemon"])
    share = ratios(scaled(times["objects"], 1 / objects), times["get_all"])
    return [
        Figure(f"{name}, Ping", "ms", scaled(ping, 1e-6)),
        Figure(f"{name}, Ping, to the bus daemon's answer", "", of_daemon, MOST_OF_DAEMON),
        *figures,
        Figure(f"{name}, GetManagedObjects, one's share to a GetAll", "", share, MOST_OF_SHARE),
    ]


def _times(bench: Bench, world: World, count: int, *calls: str) -> Times:
    """Round by round the median of so many calls."""
    words = [bench.program("round_trips"), str(ROUNDS), str(count), *calls]
    done = subprocess.run(
        words,
        env=os.environ | world.bus.environment(),
        stdout=subprocess.PIPE,
        text=True,
        check=True,
    )
    times: Times = defaultdict(list)
    for call, time in map(str.split, done.stdout.splitlines()):
        times[call].append(float(time))
    return times
