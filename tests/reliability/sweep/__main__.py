"""Makes each fallible operation of a start and of an update of each kind fail, one after the other, and
looks each time what the service makes of it, and of the next update. Tells how many events each
operation has, how many were made to fail and what was wrong after that; fails on any violation. Figures
are in sweep.json, the faults that ended the process in sweep-details.json."""

from __future__ import annotations

import argparse
import json
import re
import subprocess
import sys
import time
from dataclasses import asdict

from reliability import run
from rich.console import Console
from rich.progress import Progress, SpinnerColumn, TimeElapsedColumn
from rich.table import Table

from . import catalogue, runner
from .course import BUS_LIBRARY
from .operations import Injection, operations
from .runner import Plan

# Where no terminal shows the progress, one line for so many faults does.
MILESTONE = 500

# In the quick form, so many numbers of each sweep.
QUICK_SPREAD = 3


def main() -> int:
    """Runs the sweep; the exit status is that of the command."""
    options = _options()
    binary = options.binary.resolve()
    console = Console(soft_wrap=True)
    names = (tuple(options.scenario), tuple(catalogue.faults(options.only)))
    plan = Plan(binary, *names, QUICK_SPREAD if options.quick else None)
    begin = time.monotonic()
    injections = _run(plan, options.worlds, console)
    console.print(_table(injections))
    details = [asdict(one) for one in injections if one.violations or one.ended]
    (binary.parent / "sweep-details.json").write_text(json.dumps(details, indent=1) + "\n")
    seconds = time.monotonic() - begin
    return _summary(injections, plan, seconds).finish(console, binary)


def _options() -> argparse.Namespace:
    parser = run.parser("sweep", __doc__, worlds=12)
    known = list(operations())
    quick = "of each sweep only the first event, the last and one between"
    parser.add_argument("--quick", action="store_true", help=quick)
    groups = list(catalogue.GROUPS)
    only = {"choices": groups, "default": groups, "help": ", ".join(groups)}
    parser.add_argument("--only", nargs="+", metavar="CLASS", **only)
    scenario = {"choices": known, "default": known, "help": ", ".join(known)}
    parser.add_argument("--scenario", nargs="+", metavar="NAME", **scenario)
    return parser.parse_args()


def _run(plan: Plan, worlds: int, console: Console) -> list[Injection]:
    injections = []
    columns = (
        SpinnerColumn(),
        "{task.completed} faults",
        TimeElapsedColumn(),
        "{task.description}",
    )
    with Progress(*columns, console=console, transient=True) as progress:
        task = progress.add_task("worlds are being built")
        for injection in runner.run(plan, worlds):
            injections.append(injection)
            progress.update(task, advance=1, description=str(injection))
            if not console.is_terminal and len(injections) % MILESTONE == 0:
                console.print(f"{len(injections):,} faults; {injection}", highlight=False)
            for words in injection.violations:
                line = f"[red]wrong:[/red] {injection}: {words}{_function(injection, plan)}"
                console.print(line, highlight=False)
    return injections


def _function(injection: Injection, plan: Plan) -> str:
    """The function of the service that the fault struck, where that can be told."""
    place = re.search(r" at (0x[1-9a-f][0-9a-f]*)$", injection.where)
    if place is None:
        return ""
    command = ["addr2line", "-Cfs", "-e", str(plan.binary), place[1]]
    told = subprocess.run(command, capture_output=True, text=True, check=False).stdout.split(
        "\n"
    )
    return f" (in {told[0]}, {told[1]})" if len(told) > 1 else ""


def _table(injections: list[Injection]) -> Table:
    """Figures by operation and class of faults."""
    columns = ("operation", "class", "faults", "events", "injected", "ended", "violations")
    table = Table(*columns, title="What was struck", title_justify="left")
    for key in dict.fromkeys((one.operation, one.group) for one in injections):
        here = [one for one in injections if (one.operation, one.group) == key]
        struck = [one for one in here if one.acted]
        figures = (
            len({one.fault for one in here}),
            max((one.number for one in struck), default=0),
            len(struck),
            sum(one.ended for one in struck),
            sum(len(one.violations) for one in here),
        )
        table.add_row(*key, *(f"{figure:,}" for figure in figures))
    return table


def _summary(injections: list[Injection], plan: Plan, seconds: float) -> run.Findings:
    struck = [one for one in injections if one.acted]
    violations = [f"{one}: {words}" for one in injections for words in one.violations]
    if plan.spread is None:
        missing = runner.numbers_left_out(injections)
        violations += [f"not every number was tried: {sweep}" for sweep in missing]
    if not struck:
        violations.append("no fault struck anything")
    figures = {
        "operations": len({one.operation for one in injections}),
        "sweeps": len({(one.operation, one.group, one.fault) for one in injections}),
        "faults injected": len(struck),
        "of these the process ended, and said so": sum(one.ended for one in struck),
        "of these libsystemd failed an assertion of its own": _lost(struck, BUS_LIBRARY),
        "violations": len(violations),
        "minutes": seconds / 60,
    }
    return run.Findings("Fault sweep", "sweep", figures, violations)


def _lost(injections: list[Injection], library: str) -> int:
    return sum(one.lost_by == library for one in injections)


if __name__ == "__main__":
    sys.exit(main())
