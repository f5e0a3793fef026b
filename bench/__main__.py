"""The command: each subject in one run on one machine."""

from __future__ import annotations

import argparse
import sys
import time
from pathlib import Path

from rich.console import Console
from tavrinsim.world import BINARY

from . import bus, footprint, record, report, signature, start, update
from .bench import Bench

SUBJECTS = {
    "signature": signature,
    "bus": bus,
    "start": start,
    "update": update,
    "record": record,
    "footprint": footprint,
}

# Of a file that the tables go to.
WIDTH = 140


def main() -> int:
    """Measures and shows; fails where something takes more than it may."""
    options = _options()
    names = options.subjects or list(SUBJECTS)
    console = Console(width=None if sys.stdout.isatty() else WIDTH, highlight=False)
    bench = Bench(options.binary.resolve())
    bench.build(*sorted({name for subject in names for name in SUBJECTS[subject].PROGRAMS}))
    figures = {}
    for name in names:
        begin = time.monotonic()
        figures[name] = SUBJECTS[name].measure(bench)
        console.print(f"{name}: {time.monotonic() - begin:.0f} s")
    report.show(console, figures)
    report.write(bench.binary.parent, figures)
    failed = [figure for rows in figures.values() for figure in rows if figure.failed]
    console.print(f"{len(failed)} figures above what they may be")
    console.print(f"all values: {bench.binary.parent}/bench.json; as a table: bench.md")
    return 1 if failed else 0


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="tools/bench")
    parser.add_argument("subjects", nargs="*", metavar="SUBJECT")
    parser.add_argument("--binary", type=Path, default=BINARY, help="the service")
    options = parser.parse_args()
    if unknown := set(options.subjects) - set(SUBJECTS):
        parser.error(f"no such subject: {', '.join(unknown)} (there are {', '.join(SUBJECTS)})")
    return options


if __name__ == "__main__":
    sys.exit(main())
