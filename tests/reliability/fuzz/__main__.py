"""The command: as many targets side by side as there are processors, each for its time."""

from __future__ import annotations

import argparse
import json
import os
import sys
import time
from pathlib import Path

from rich.console import Console
from rich.live import Live
from rich.table import Table

from .target import ROOT, Run, Target, targets

BETWEEN_LOOKS = 1.0


def main() -> int:
    """Runs the targets, or merges what they have found."""
    options = _options()
    for target in options.targets:
        target.found.mkdir(parents=True, exist_ok=True)
        target.crashes.mkdir(parents=True, exist_ok=True)
    console = Console()
    if options.merge:
        _merge(options.targets, console)
        return 0
    runs = _run(options.targets, options.seconds, console)
    return _finish(runs, console, options.build / "fuzz.json")


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="tools/fuzz")
    parser.add_argument("--build", type=Path, default=ROOT / "build-fuzz")
    parser.add_argument("--merge", action="store_true")
    parser.add_argument("arguments", nargs="*")
    options = parser.parse_args()
    names = list(options.arguments)
    if not options.merge:
        if not names or not names[0].isdigit():
            parser.error("say for how many seconds each target shall run")
        options.seconds = int(names.pop(0))
    known = {target.name: target for target in targets(options.build)}
    for name in names:
        if name not in known:
            parser.error(f"no target {name}; there are {', '.join(known)}")
    options.targets = [known[name] for name in names or known]
    return options


def _run(chosen: list[Target], seconds: int, console: Console) -> list[Run]:
    """Runs all, some at a time; shows them meanwhile."""
    waiting = list(chosen)
    runs: list[Run] = []
    try:
        with Live(console=console, transient=True) as live:
            while waiting or not all([run.ended() for run in runs]):
                active = sum(not run.ended() for run in runs)
                while waiting and active < (os.cpu_count() or 1):
                    runs.append(Run(waiting.pop(0), seconds))
                    active += 1
                live.update(_table(runs))
                time.sleep(BETWEEN_LOOKS)
    except KeyboardInterrupt:
        for run in runs:
            run.stop()
    return runs


def _table(runs: list[Run]) -> Table:
    table = Table(title="Fuzzing", title_justify="left")
    for name in (
        "target",
        "seconds",
        "executions",
        "per second",
        "edges",
        "inputs",
        "failures",
    ):
        table.add_column(name, justify="left" if name == "target" else "right", no_wrap=True)
    for run in runs:
        table.add_row(run.target.name, *(f"{value:,}" for value in _figures(run).values()))
    return table


def _figures(run: Run) -> dict[str, int]:
    run.ended()
    return {
        "seconds": round(run.seconds),
        "executions": run.executions,
        "per second": round(run.executions / max(run.seconds, 1)),
        "edges": run.edges,
        "inputs": sum(
            1 for folder in (run.target.found, run.target.seeds) for _ in folder.iterdir()
        ),
        "failures": len(run.new_crashes),
    }


def _finish(runs: list[Run], console: Console, file: Path) -> int:
    """Shows what came of the runs and writes it to the file; the exit status of the command."""
    console.print(_table(runs))
    violations = [violation for run in runs for violation in run.violations]
    for violation in violations:
        console.print(f"[red]wrong:[/red] {violation}", highlight=False, soft_wrap=True)
    contents = {
        "figures": {run.target.name: _figures(run) for run in runs},
        "violations": violations,
    }
    file.write_text(json.dumps(contents, indent=1) + "\n")
    console.print(f"{len(violations)} violations; the figures are in {file}")
    return 1 if violations else 0


def _merge(chosen: list[Target], console: Console) -> None:
    added = [input for target in chosen for input in target.merge()]
    for path in added:
        console.print(path.relative_to(ROOT), highlight=False, soft_wrap=True)
    console.print(f"{len(added)} inputs added; give them names that say what they show")


if __name__ == "__main__":
    sys.exit(main())
