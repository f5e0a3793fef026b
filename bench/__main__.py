"""The command: every subject in one run on one machine."""

from __future__ import annotations

import argparse
import sys
import time
from pathlib import Path

from rich.console import Console
from tavrinsim.world import BINARY

from . import bus, costs, document, log_file, plots, report, signature, start, update
from .bench import Bench

SUBJECTS = {
    "signature": signature,
    "bus": bus,
    "start": start,
    "update": update,
    "log": log_file,
    "costs": costs,
}

# Of a file that the tables go to.
WIDTH = 140


def main() -> int:
    """Measures, shows, draws; fails where a goal is missed and nobody knows why."""
    options = _options()
    console = Console(width=None if sys.stdout.isatty() else WIDTH)
    bench = Bench(options.binary.resolve(), options.output.resolve(), console)
    sections = []
    for name in options.subjects or SUBJECTS:
        begin = time.monotonic()
        sections += SUBJECTS[name].measure(bench)
        console.print(f"{name}: {time.monotonic() - begin:.0f} s", highlight=False)
    report.show(console, sections)
    report.write(bench.output / "bench.json", sections)
    plots.draw(bench.output / "plots", sections)
    if options.document:
        document.fill(bench.output, sections)
    report.show_misses(console, sections)
    missed = [figure for _, figure in report.misses(sections)]
    unexplained = [figure for figure in missed if not figure.reason]
    console.print(
        f"{len(missed)} goals missed, {len(unexplained)} of them without a known reason"
    )
    console.print(f"figures and plots are in {bench.output}", highlight=False)
    return 1 if unexplained else 0


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="tools/bench", description=__doc__)
    parser.add_argument(
        "subjects", nargs="*", metavar="SUBJECT", help=f"of {', '.join(SUBJECTS)}; default: all"
    )
    parser.add_argument("--binary", type=Path, default=BINARY, help="the service")
    parser.add_argument("--output", type=Path, default=Path("build-release"))
    parser.add_argument(
        "--document", action="store_true", help="also put the figures into docs/performance.md"
    )
    options = parser.parse_args()
    if unknown := set(options.subjects) - set(SUBJECTS):
        parser.error(f"no such subject: {', '.join(unknown)} (there are {', '.join(SUBJECTS)})")
    return options


if __name__ == "__main__":
    sys.exit(main())
