"""One record of the log file and one trim, beside the same by bare system calls."""

from __future__ import annotations

from pathlib import Path

from tavrinsim.world import World

from .. import google_benchmark
from ..bench import Bench
from ..figures import ROUNDS, Section, ratios

MOST_CALLS_OF_RECORD = 5
LEAST = {
    "record": "at least 4: open the file, ask for its size, write, close",
    "trim": "at least 7 besides: open, place, read, close; open empty, write, close",
}

# So many, of 100 characters each, stay far below the limit of the file's size.
RECORDS = 50
LIMIT = 9216


def measure(bench: Bench) -> list[Section]:
    """System calls, which are the same each time, and processor time."""
    section = Section("Log file")
    with World(bench.binary) as world:
        calls = _calls_of_records(world, bench.program("log_file/write_records"))
        for name, most in (("record", MOST_CALLS_OF_RECORD), ("trim", None)):
            section.add(f"system calls of a {name}", "calls", [calls[name]], most, LEAST[name])
        times = _times(world, bench.program("log_file/log_file_bench"))
    for name, title in (("record", "a record"), ("trim", "a record that trims")):
        ours, bare = times[f"{name}/service"], times[f"{name}/bare"]
        section.add(
            f"{title}, to the bare system calls", "ratio", ratios(list(zip(ours, bare)))
        )
        section.add(f"{title}, processor time", "µs", ours)
    return [section]


def _calls_of_records(world: World, program: Path) -> dict[str, float]:
    """System calls of each record, and those that a trim adds."""
    world.log_file.write_bytes(b"")
    plain = _count(world, program, RECORDS) - _start(world, program)
    # Any record brings this file to its limit.
    world.log_file.write_bytes(bytes(LIMIT - 1))
    trimming = _count(world, program, 1) - _start(world, program)
    record = plain / RECORDS
    return {"record": record, "trim": trimming - record}


def _start(world: World, program: Path) -> int:
    """What the program takes without any record."""
    return _count(world, program, 0)


def _count(world: World, program: Path, records: int) -> int:
    """System calls of the whole program."""
    done = world.view.run(
        ["strace", "-f", "-qq", "-o", "/tmp/calls", str(program), str(records)]
    )
    if done.returncode != 0:
        raise RuntimeError(f"{program} failed: {done.stderr}")
    return len(world.root.inside("/tmp/calls").read_text().splitlines())


def _times(world: World, program: Path) -> google_benchmark.Times:
    """Time in µs of every repetition, by the benchmark's name."""
    times = google_benchmark.run(world, program, measured="real_time", repetitions=ROUNDS)
    return {name: [time / 1000 for time in all_times] for name, all_times in times.items()}
