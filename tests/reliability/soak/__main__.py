"""Thousands of updates and days of signals, many services side by side. The programming library needs no
time; the pauses of the service are as always. Fails when an update goes wrong, a registration is missing,
or a service holds more at the end than after its tenth update: a descriptor, a thread, one block of memory
or a byte in one, or 512 KiB of private memory once the C library has given back what is unused. In a
sanitizer's build its own look for leaks takes the place of the counts of memory."""

from __future__ import annotations

import argparse
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from reliability import run
from rich.console import Console
from support import sanitizers

from .life import EARLY, MINUTES, REGISTRATIONS, TOLERATED_KIB, Life, live


def main() -> int:
    """Runs the lives and says what came of them."""
    options = _options()
    begin = time.monotonic()
    lives = _lives(options)
    findings = _findings(options.binary, lives, time.monotonic() - begin)
    return findings.finish(Console(), options.binary)


def _options() -> argparse.Namespace:
    parser = run.parser("soak", __doc__, worlds=16)
    parser.add_argument("--updates", type=int, default=2000, help="in all (%(default)s)")
    no_day = "without the signals of one day that each service gets between its updates"
    parser.add_argument("--no-day", dest="day", action="store_false", help=no_day)
    options = parser.parse_args()
    if options.updates < options.worlds * (EARLY + 1):
        parser.error(f"each of the {options.worlds} controllers needs {EARLY + 1} updates")
    return options


def _lives(options: argparse.Namespace) -> list[Life]:
    shares = [
        options.updates // options.worlds + (number < options.updates % options.worlds)
        for number in range(options.worlds)
    ]
    with run.bar("updates") as progress, ThreadPoolExecutor(options.worlds) as pool:
        task = progress.add_task("", total=options.updates)
        lock = threading.Lock()

        def tick() -> None:
            with lock:
                progress.advance(task)

        runs = [pool.submit(live, options.binary, share, options.day, tick) for share in shares]
        return [one.result() for one in runs]


def _findings(binary: Path, lives: list[Life], seconds: float) -> run.Findings:
    grown = sorted(life.grown_kib for life in lives)
    figures = {
        "controllers side by side": len(lives),
        "updates": sum(life.updates for life in lives),
        "days of signals": sum(life.passes > 0 for life in lives),
        "power-state changes": sum(MINUTES for life in lives if life.passes),
        "registrations asked for": sum(REGISTRATIONS for life in lives if life.passes),
        f"private memory after update {EARLY}, KiB": max(life.early_kib for life in lives),
        "private memory at the end, KiB": max(life.late_kib for life in lives),
        "growth, median, KiB": grown[len(grown) // 2],
        f"growth, largest, KiB (tolerated: {TOLERATED_KIB})": grown[-1],
        "minutes": seconds / 60,
    }
    if not sanitizers.built_into(binary):
        figures |= {
            "blocks of memory more, at most (tolerated: 0)": max(
                life.more_blocks for life in lives
            ),
            "bytes in blocks more, at most (tolerated: 0)": max(
                life.more_bytes for life in lives
            ),
        }
    violations = [
        f"controller {number}: {violation}"
        for number, life in enumerate(lives, start=1)
        for violation in life.violations
    ]
    return run.Findings("Soak", "soak", figures, violations)


if __name__ == "__main__":
    sys.exit(main())
