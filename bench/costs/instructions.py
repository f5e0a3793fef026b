"""A service under callgrind: how many instructions of its own file it executes."""

from __future__ import annotations

import re
from pathlib import Path

from jobs import update
from tavrinsim import names
from tavrinsim.world import World

from .callgrind import VALGRIND, Profile
from .watched_run import START, wait_started

# What of a run is counted apart: the start, and one update of this kind.
UPDATED = names.PBB.name

# How often the event loop wakes up depends on who was faster. All else is the same in every
# run.
_EVENT_LOOP = re.compile(r"asio|process_discard|rethrow_stored|::run\(\)")


def profiles(binary: Path) -> dict[str, Profile]:
    """The start and one update, apart."""
    with World(binary) as world:
        words = ["--tool=callgrind", "--callgrind-out-file=/tmp/profile", str(binary)]
        world.start(program=VALGRIND, arguments=words)
        wait_started(world)
        start = _dump(world, 1)
        done = update(world, UPDATED)
        assert (done.result, done.progress[-1]) == (0, (28, 100)), done.steps
        return {START: start, UPDATED: _dump(world, 2)}


def count(binary: Path) -> dict[str, int]:
    """Instructions of the start and of one update; what libraries execute is not in it."""
    return {phase: of_file(profile, binary.name) for phase, profile in profiles(binary).items()}


def of_file(profile: Profile, name: str) -> int:
    """Instructions of one file, but for those of its event loop."""
    return sum(
        number
        for function, number in profile.instructions.items()
        if function.file == name and not _EVENT_LOOP.search(function.name)
    )


def _dump(world: World, number: int) -> Profile:
    """What there was since the dump before this one, which is the first or later."""
    assert world.service is not None
    done = world.view.run(["vgdb", f"--pid={world.service.pid}", "dump"])
    if done.returncode != 0:
        raise RuntimeError(f"no dump of the profile: {done.stderr}")
    dump = world.root.inside(f"/tmp/profile.{number}")
    return Profile.read(dump.read_text().splitlines())
