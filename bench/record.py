"""One record of the log file, beside the same bytes by bare open, write and close."""

from __future__ import annotations

from tavrinsim.world import World

from .bench import Bench
from .report import ROUNDS, Figure, ratios, scaled

PROGRAMS = ("write_records",)

MOST_OF_RECORD, MOST_OF_TRIM = 2.0, 2.0


def measure(bench: Bench) -> list[Figure]:
    """Processor time: what other programs of the machine do is not in it."""
    with World(bench.binary) as world:
        done = world.view.run([str(bench.program("write_records")), str(ROUNDS)], timeout=120)
    if done.returncode != 0:
        raise RuntimeError(f"no records were written: {done.stderr}")
    rounds = [list(map(float, line.split())) for line in done.stdout.splitlines()]
    record, bare, trim, bare_trim = zip(*rounds, strict=True)
    bare_calls = "to bare system calls"
    return [
        Figure("a record", "µs", scaled(record, 1e-3)),
        Figure(f"a record, {bare_calls}", "", ratios(record, bare), MOST_OF_RECORD),
        Figure("a record that trims", "µs", scaled(trim, 1e-3)),
        Figure(f"a record that trims, {bare_calls}", "", ratios(trim, bare_trim), MOST_OF_TRIM),
    ]
