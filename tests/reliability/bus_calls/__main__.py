"""Calls everything that the service has on the bus, as root and as an ordinary user, with arguments of
every kind: right ones, odd ones, wrong ones. Fails when a call stays without an answer, when the ordinary
user gets through to anything but reading, or when the service has ended, can do no update, or holds more
after the second half of the calls than after the first, with all values put back. Needs root: nobody
else can call as another user."""

from __future__ import annotations

import argparse
import os
import sys
import time
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from typing import Any

from reliability import run
from rich.console import Console
from rich.progress import BarColumn, MofNCompleteColumn, Progress, TextColumn
from support import sanitizers

from .campaign import ROOT, TOLERATED_KIB, Result, campaign

STRANGER = "nobody"


def main() -> int:
    """Runs the campaigns and says what came of them."""
    options = _options()
    begin = time.monotonic()
    results = _results(options)
    counted = not sanitizers.built_into(options.binary)
    findings = run.Findings(f"Bus fuzzer, seed {options.seed}", "bus-calls")
    for user, result in results.items():
        findings.figures |= _figures(user, result, counted)
        findings.violations += [f"{user}: {violation}" for violation in result.violations]
    findings.figures["minutes"] = (time.monotonic() - begin) / 60
    return findings.finish(Console(), options.binary)


def _options() -> argparse.Namespace:
    parser = run.parser("bus-calls", __doc__)
    parser.add_argument("--count", type=int, default=20000, help="of each user (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="the same makes the same calls")
    options = parser.parse_args()
    if os.geteuid() != 0:
        parser.error("only root can call as another user")
    return options


def _results(options: argparse.Namespace) -> dict[str, Result]:
    columns = (TextColumn("{task.description}"), BarColumn(), MofNCompleteColumn(), "calls")
    users = (ROOT, STRANGER)
    with Progress(*columns) as progress, ThreadPoolExecutor(len(users)) as pool:

        def call(user: str) -> Result:
            tick = _ticker(progress, user, options.count)
            return campaign(options.binary, user, options.seed, options.count, tick)

        return dict(zip(users, pool.map(call, users)))


def _ticker(progress: Progress, user: str, count: int) -> Callable[[int], None]:
    bar = progress.add_task(f"as {user}", total=count)
    return lambda done: progress.update(bar, completed=done)


def _figures(user: str, result: Result, counted: bool) -> dict[str, Any]:
    answers = result.answers
    kinds = {name.rpartition(".")[2]: count for name, count in answers["kinds"].items()}
    shape = f"{answers['paths']}, {answers['methods']}, {answers['properties']}"
    figures = {
        "objects, methods, properties": shape,
        **{f"calls: {name}": count for name, count in sorted(answers["members"].items())},
        **{f"answers: {name}": count for name, count in sorted(kinds.items())},
        "slowest answer, ms": answers["slowest"] * 1000,
        "jobs that succeeded": result.jobs,
        f"memory grown, KiB (tolerated: {TOLERATED_KIB})": result.grown_kib,
    }
    if counted:
        figures["blocks of memory more (tolerated: 0)"] = result.more_blocks
        figures["bytes in blocks more"] = result.more_bytes
    return {f"{user}: {name}": value for name, value in figures.items()}


if __name__ == "__main__":
    sys.exit(main())
