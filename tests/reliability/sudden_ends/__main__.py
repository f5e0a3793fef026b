"""Ends the service in the middle of updates, right before one of its effects on the world (a message, a
transfer, a file opened, something written), restarts it, and looks what the restart and the next update
of the same CPLD make of it. Four of five ends are SIGKILL, the fifth is SIGTERM. Fails where a restart
or an update did not find what it must, or where no end fell into one of the steps. Each end is in
sudden-ends-points.json."""

from __future__ import annotations

import argparse
import json
import sys
from collections import Counter
from contextlib import closing
from pathlib import Path

from reliability import run
from rich.console import Console
from rich.table import Table
from support.jobs import HEALTHY
from tavrinsim.names import KINDS

from .steps import STEPS, every, spread
from .trial import Finding
from .worlds import Worlds


def main() -> int:
    """Runs the sudden ends and says what came of them."""
    options = _options()
    binary = options.binary.resolve()
    ends = _ends(binary, options)
    _write(ends, binary.parent / "sudden-ends-points.json")
    console = Console()
    console.print(_table(ends))
    return _summary(ends).finish(console, binary)


def _options() -> argparse.Namespace:
    parser = run.parser("sudden-ends", __doc__, worlds=12)
    points_help = "so many ends, spread evenly over an update of each kind (every one there is)"
    parser.add_argument("--points", type=int, help=points_help)
    options = parser.parse_args()
    if options.points is not None and options.points < 2 * len(KINDS):
        parser.error(f"at least {2 * len(KINDS)} points: the first and the last of each kind")
    return options


def _ends(binary: Path, options: argparse.Namespace) -> list[Finding]:
    with closing(Worlds(binary, options.worlds)) as worlds, run.bar("sudden ends") as progress:
        effects = worlds.count_effects()
        chosen = every(effects)
        if options.points is not None:
            chosen = list(spread(effects, options.points // len(KINDS)))
        task = progress.add_task("", total=len(chosen))
        return worlds.run(chosen, lambda: progress.advance(task))


def _table(ends: list[Finding]) -> Table:
    kinds_told = [kind.upper() for kind in KINDS]
    table = Table("ended in step", *kinds_told, "left", "last report", "next update")
    for place, step in enumerate(STEPS):
        here = [finding for finding in ends if finding.step == place]
        kinds = Counter(finding.point.kind for finding in here)
        next_updates = Counter(finding.next_update for finding in here)
        told = "\n".join(f"{count}: {words}" for words, count in next_updates.items())
        counts = (str(kinds[kind]) for kind in KINDS)
        table.add_row(step.name, *counts, str(step.leaves), _last_reports(here), told)
    return table


def _last_reports(ends: list[Finding]) -> str:
    """The earliest and the latest of the last reports that the coordinator got, for a person."""
    counts = sorted({end.reports for end in ends})
    told = ["{} with {} %".format(*HEALTHY[count - 1]) if count else "none" for count in counts]
    return ", to ".join(dict.fromkeys([*told[:1], *told[-1:]]))


def _summary(ends: list[Finding]) -> run.Findings:
    signals = Counter(finding.point.number.name for finding in ends)
    violations = [
        f"{end.point} ({end.call}): {words}" for end in ends for words in end.violations
    ]
    figures = {
        "sudden ends": len(ends),
        **{f"by {name}": count for name, count in signals.items()},
        "in the middle of a trim, which empties the log file": sum(e.log_emptied for e in ends),
    }
    missed = [f"no service ended in step {name}" for name in _missed(ends)]
    return run.Findings("Sudden ends", "sudden-ends", figures, violations + missed)


def _missed(ends: list[Finding]) -> list[str]:
    """The steps that no service ended in: then too few points were taken."""
    met = {(finding.point.kind, finding.step) for finding in ends}
    places = [(kind, place) for kind in KINDS for place in range(len(STEPS))]
    return [
        f"'{STEPS[place].name}' of {kind}" for kind, place in places if (kind, place) not in met
    ]


def _write(ends: list[Finding], file: Path) -> None:
    file.write_text(json.dumps([finding.described() for finding in ends], indent=1) + "\n")


if __name__ == "__main__":
    sys.exit(main())
