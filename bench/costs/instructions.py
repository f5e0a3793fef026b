"""How many instructions of its own file a service executes, as callgrind counts them."""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator
from pathlib import Path

from jobs import update
from tavrinsim import names
from tavrinsim.world import World

from .watched_run import START, wait_started

VALGRIND = Path("/usr/bin/valgrind.bin")

# What of a run is counted apart: the start, and one update of this kind.
UPDATED = names.PBB.name

# Which file's or which function's the next lines are; the name stands behind the number only once.
# What begins with "c" is about what they call.
_NAME = re.compile(r"(?P<called>c?)(?P<what>ob|fn)=\((?P<number>\d+)\)(?: (?P<name>.*))?")

# How often the event loop wakes up depends on who was faster. All else is the same in every run.
_EVENT_LOOP = re.compile(r"asio|process_discard|rethrow_stored|::run\(\)")


def count(binary: Path) -> dict[str, int]:
    """Instructions of the start and of one update; what libraries execute is not in it."""
    with World(binary) as world:
        words = ["--tool=callgrind", "--callgrind-out-file=/tmp/instructions", str(binary)]
        world.start(program=VALGRIND, arguments=words)
        wait_started(world)
        counted = {START: _dump(world, 1, binary)}
        done = update(world, UPDATED)
        assert (done.result, done.progress[-1]) == (0, (28, 100)), done.steps
        counted[UPDATED] = _dump(world, 2, binary)
        return counted


def _dump(world: World, number: int, binary: Path) -> int:
    """Instructions since the dump before this one, which is the first or later."""
    assert world.service is not None
    done = world.view.run(["vgdb", f"--pid={world.service.pid}", "dump"])
    if done.returncode != 0:
        raise RuntimeError(f"no dump of the instructions: {done.stderr}")
    return of_file(world.root.inside(f"/tmp/instructions.{number}"), binary.name)


def of_file(dump: Path, name: str) -> int:
    """Instructions of one file among all in a dump, but for those of its event loop."""
    return sum(
        number
        for file, function, number in _executed(dump.read_text().splitlines())
        if Path(file).name == name and not _EVENT_LOOP.search(function)
    )


def _executed(lines: Iterable[str]) -> Iterator[tuple[str, str, int]]:
    """File, function and number of instructions, of one line of source at a time."""
    names: dict[tuple[str, str], str] = {}
    now = {"ob": "", "fn": ""}
    called = False
    for line in lines:
        if match := _NAME.match(line):
            name = names.setdefault((match["what"], match["number"]), match["name"])
            if not match["called"]:
                now[match["what"]] = name
        elif line.startswith("calls="):
            called = True
        elif line[:1].isdigit() or line[:1] in ("+", "-", "*"):
            # The line behind a call tells what the called one took.
            if not called:
                yield now["ob"], now["fn"], int(line.split()[1])
            called = False
