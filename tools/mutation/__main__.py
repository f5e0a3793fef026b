"""See tools/mutate."""

from __future__ import annotations

import argparse
import json
import random
import sys
from collections import Counter
from collections.abc import Iterator, Sequence
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from queue import SimpleQueue

from rich.console import Console
from rich.progress import Progress

from .change import Change, DoesNotApply, Patch, read_patches
from .finder import find_changes
from .sandbox import Sandbox
from .trial import Outcome, Verdict, first_failure, judge

ROOT = Path(__file__).resolve().parents[2]
WORK = ROOT / "build-mutate"
SANDBOXES = 2
LEAST_RATE = 0.95
STYLES = {Outcome.NOTICED: "green", Outcome.SURVIVED: "bold red"}

console = Console(highlight=False, soft_wrap=True)


class Workshop:
    """Several sandboxes at work side by side."""

    def __init__(self) -> None:
        self._free: SimpleQueue[Sandbox] = SimpleQueue()
        self._pool = ThreadPoolExecutor(SANDBOXES)
        sandboxes = [Sandbox(WORK / str(number)) for number in range(1, SANDBOXES + 1)]
        list(self._pool.map(lambda sandbox: sandbox.prepare(ROOT), sandboxes))
        for sandbox in sandboxes:
            self._free.put(sandbox)
        self.build = sandboxes[0].build
        self.tree = sandboxes[0].tree

    def failure_without_change(self) -> str | None:
        """A test that fails without any change would notice every one."""
        sandbox = self._free.get()
        try:
            return first_failure(sandbox, "main")
        finally:
            self._free.put(sandbox)

    def judge(self, changes: Sequence[Change | Patch]) -> Iterator[Verdict]:
        """Tries changes; in the order of files, so that few objects are built twice."""
        ordered = sorted(changes, key=lambda change: change.file)
        yield from self._pool.map(self._judge, ordered)

    def _judge(self, change: Change | Patch) -> Verdict:
        sandbox = self._free.get()
        try:
            return judge(sandbox, change)
        finally:
            self._free.put(sandbox)


def main() -> int:
    """Runs the tool; the exit status is that of the command."""
    arguments = _arguments()
    if arguments.hand_made:
        read_patches(ROOT)  # tells of one that does not apply, before anything is built
    console.print(f"Building {SANDBOXES} copies of the tree in {WORK.name}/")
    workshop = Workshop()
    changes = _changes(workshop, arguments)
    if arguments.list:
        for change in changes[: arguments.count]:
            console.print(str(change), markup=False)
        return 0
    if failed := workshop.failure_without_change():
        console.print(f"Without any change this test fails: {failed}", style="bold red")
        return 1
    verdicts = _judge_enough(workshop, changes, arguments.count)
    rate = _report(verdicts)
    if arguments.hand_made:
        # None of them is there by chance, so none may be left out of the count either.
        noticed = sum(verdict.outcome is Outcome.NOTICED for verdict in verdicts)
        return 0 if noticed == len(changes) else 1
    return 0 if rate >= LEAST_RATE else 1


def _changes(workshop: Workshop, arguments: argparse.Namespace) -> list[Change | Patch]:
    """What is to be judged, in that order."""
    found: list[Change | Patch] = []
    if arguments.hand_made:
        found += read_patches(workshop.tree)
        arguments.count = len(found)
    else:
        found += find_changes(workshop.tree, workshop.build)
    wanted = [change for change in found if any(text in str(change) for text in arguments.only)]
    console.print(f"{len(found)} changes are possible, {len(wanted)} of them are looked at")
    if not arguments.hand_made:
        # The order decides which are judged; one seed always gives the same.
        console.print(f"Seed {arguments.seed}")
        random.Random(arguments.seed).shuffle(wanted)
    return wanted


def _arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="tools/mutate", description=__doc__)
    parser.add_argument("--count", type=int, default=150)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", nargs="+", default=[""], metavar="TEXT")
    parser.add_argument("--hand-made", action="store_true")
    parser.add_argument("--list", action="store_true")
    return parser.parse_args()


def _judge_enough(workshop: Workshop, changes: list[Change | Patch], count: int) -> list[Verdict]:
    """Verdicts about `count` changes that are changes: what does not count is replaced."""
    verdicts: list[Verdict] = []
    with Progress(console=console, transient=True) as progress:
        task = progress.add_task("Changes", total=min(count, len(changes)))
        while changes and (missing := count - sum(verdict.counts for verdict in verdicts)):
            batch, changes = changes[:missing], changes[missing:]
            for verdict in workshop.judge(batch):
                verdicts.append(verdict)
                progress.advance(task, verdict.counts)
                _tell(verdict)
    return verdicts


def _tell(verdict: Verdict) -> None:
    style = STYLES.get(verdict.outcome, "dim")
    console.print(f"{verdict.outcome.value:>14}  {verdict.change}", style=style, markup=False)
    if verdict.why:
        console.print(f"{'':>14}  {verdict.why}", style="dim", markup=False)


def _report(verdicts: list[Verdict]) -> float:
    """Tells of the survivors. Returns the rate of those that a test noticed."""
    judged = [verdict for verdict in verdicts if verdict.counts]
    survivors = [verdict for verdict in judged if verdict.outcome is Outcome.SURVIVED]
    (WORK / "report.json").write_text(json.dumps([_as_json(one) for one in verdicts], indent=2))
    for verdict in survivors:
        console.print(f"\n{verdict.change}", style="bold", markup=False)
        console.print(verdict.change.text, markup=False)
    if not judged:
        console.print("No change could be judged")
        return 0
    rate = 1 - len(survivors) / len(judged)
    ends = Counter(verdict.outcome for verdict in verdicts)
    console.print(
        f"\n{len(judged)} changes, {ends[Outcome.NOTICED]} noticed, "
        f"{len(survivors)} survived: {rate:.1%}"
    )
    console.print(
        f"Not counted: {ends[Outcome.EQUIVALENT]} that mean the same, "
        f"{ends[Outcome.SAME_CODE]} that give the same code, "
        f"{ends[Outcome.REFUSED]} that do not build"
    )
    return rate


def _as_json(verdict: Verdict) -> dict[str, str]:
    return {
        "change": str(verdict.change),
        "code": verdict.change.text,
        "outcome": verdict.outcome.value,
        "why": verdict.why,
    }


if __name__ == "__main__":
    try:
        sys.exit(main())
    except DoesNotApply as error:
        console.print(str(error), style="bold red", markup=False)
        sys.exit(1)
