"""One record of the log file and one trim, beside the same bytes written by bare system calls."""

from __future__ import annotations

import json
from collections import Counter
from pathlib import Path

from tavrinsim.world import World

from ..bench import Bench
from ..figures import ROUNDS, Section, ratios

# A record is at least four: open the file, ask for its size, write, close. A trim is at least seven
# more: open, look for where to begin, read and close, open it empty, write, close.
MOST_CALLS_OF_RECORD = 6

# As in write_records.cpp; so many stay far below the limit of the file's size.
RECORDS = 50
RECORD_BYTES = 100
LIMIT = 9216

Times = dict[str, list[float]]


def measure(bench: Bench) -> list[Section]:
    """System calls, which are the same each time, and processor time."""
    section = Section("Log file")
    with World(bench.binary) as world:
        calls = _calls_of_records(world, bench.program("log_file/write_records"))
        section.add(
            "system calls of a record", "calls", [calls["record"]], MOST_CALLS_OF_RECORD
        )
        section.add("system calls of a trim", "calls", [calls["trim"]])
        times = _run_benchmark(world, bench.program("log_file/log_file_bench"))
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
    plain = sum(_count(world, program, RECORDS).values()) - _start(world, program)
    # Any record brings this file to its limit.
    world.log_file.write_bytes(bytes(LIMIT - 1))
    trimming = sum(_count(world, program, 1).values()) - _start(world, program)
    record = plain / RECORDS
    return {"record": record, "trim": trimming - record}


def _start(world: World, program: Path) -> int:
    """What the program takes without any record."""
    return sum(_count(world, program, 0).values())


def _count(world: World, program: Path, records: int) -> Counter[str]:
    """System calls by name, of the whole program."""
    done = world.view.run(
        ["strace", "-f", "-qq", "-o", "/tmp/calls", str(program), str(records)]
    )
    if done.returncode != 0:
        raise RuntimeError(f"{program} failed: {done.stderr}")
    lines = world.root.inside("/tmp/calls").read_text().splitlines()
    return Counter(line.split()[1].partition("(")[0] for line in lines)


def _run_benchmark(world: World, program: Path) -> Times:
    """Time in µs of every repetition, by the benchmark's name; repetitions by turns."""
    options = {
        "format": "json",
        "repetitions": ROUNDS,
        "enable_random_interleaving": "true",
    }
    words = [f"--benchmark_{name}={value}" for name, value in options.items()]
    done = world.view.run([str(program), *words], timeout=120)
    if done.returncode != 0:
        raise RuntimeError(f"{program} failed: {done.stderr}")
    times: Times = {}
    results = json.loads(done.stdout)["benchmarks"]
    for result in sorted(results, key=lambda result: int(result.get("repetition_index", 0))):
        if result["run_type"] == "iteration":
            name = result["run_name"].partition("/iterations:")[0]
            times.setdefault(name, []).append(result["real_time"] / 1000)
    return times
