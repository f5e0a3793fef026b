"""A service under callgrind: how many instructions of its own file it executes."""

from __future__ import annotations

import re
from collections.abc import Iterable
from pathlib import Path

from support.jobs import update
from tavrinsim.world import World

from .watched import wait_started

VALGRIND = Path("/usr/bin/valgrind.bin")
# What of a run is counted apart: the start, and one update of this kind.
UPDATED = "pbb"

# Whose instructions the next lines are about: a file or a function, whose name stands behind its
# number only once. What begins with "c" is about what they call.
_NAME = re.compile(r"(?P<called>c?)(?P<what>ob|fn)=\((?P<number>\d+)\)(?: (?P<name>.*))?")

# How often the event loop wakes up depends on who was faster. All else is the same in every run.
_EVENT_LOOP = re.compile(r"asio|process_discard|rethrow_stored|::run\(\)")


def count(binary: Path) -> dict[str, int]:
    """Of the start and of one update; what libraries execute is not in it."""
    with World(binary) as world:
        words = ["--tool=callgrind", "--callgrind-out-file=/tmp/profile", str(binary)]
        world.start(program=VALGRIND, arguments=words)
        wait_started(world)
        start = of_file(_dump(world, 1), binary.name)
        done = update(world, UPDATED)
        assert (done.result, done.progress[-1]) == (0, (28, 100)), done.steps
        return {"start": start, UPDATED: of_file(_dump(world, 2), binary.name)}


def of_file(dump: Iterable[str], file: str) -> int:
    """Instructions of one file in a dump's lines, but for those of its event loop."""
    names: dict[tuple[str, str], str] = {}
    now = {"ob": "", "fn": ""}
    total = 0
    after_call = False
    for line in dump:
        if match := _NAME.match(line):
            name = names.setdefault((match["what"], match["number"]), match["name"])
            if not match["called"]:
                now[match["what"]] = name
        elif line.startswith("calls="):
            after_call = True
        elif line[:1].isdigit() or line[:1] in ("+", "-", "*"):
            # The line behind a call tells what the called one took.
            own = Path(now["ob"]).name == file and not _EVENT_LOOP.search(now["fn"])
            total += int(line.split()[1]) if own and not after_call else 0
            after_call = False
    return total


def _dump(world: World, number: int) -> list[str]:
    """What there was since the dump before this one, which is the first or later."""
    assert world.service is not None
    done = world.view.run(["vgdb", f"--pid={world.service.pid}", "dump"])
    if done.returncode != 0:
        raise RuntimeError(f"no dump of the profile: {done.stderr}")
    return world.root.inside(f"/tmp/profile.{number}").read_text().splitlines()
