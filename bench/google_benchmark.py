"""Runs programs that measure themselves, with Google's benchmark library."""

from __future__ import annotations

import json
from pathlib import Path

from tavrinsim.world import World

# Every repetition's time by the benchmark's name, in the benchmark's own unit.
Times = dict[str, list[float]]


def run(
    world: World, program: Path, *arguments: str, measured: str, **options: object
) -> Times:
    """Runs a program in the controller's view, its benchmarks' repetitions by turns.

    `measured` is the time to take, "real_time" or "cpu_time"; `options` are the library's own.
    What stands behind the first parts of a benchmark's name (its number of iterations) is left
    out.
    """
    options |= {"format": "json", "enable_random_interleaving": "true"}
    words = [f"--benchmark_{name}={value}" for name, value in options.items()]
    done = world.view.run([str(program), *arguments, *words], timeout=120)
    if done.returncode != 0:
        raise RuntimeError(f"{program} failed: {done.stderr}")
    times: Times = {}
    results = json.loads(done.stdout)["benchmarks"]
    for result in sorted(results, key=lambda result: int(result.get("repetition_index", 0))):
        if result.get("error_occurred"):
            raise RuntimeError(f"{result['name']}: {result['error_message']}")
        if result["run_type"] == "iteration":
            name = result["run_name"].partition("/iterations:")[0]
            times.setdefault(name, []).append(result[measured])
    return times
