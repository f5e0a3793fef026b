"""Updates under readers, under a storm of calls, and under everything at once. Fails when an update does
anything else than alone, when a reader waits too long or in vain, when two updates overlap, when a
refused call leaves more than its line in the log, or when anything grows."""

from __future__ import annotations

import argparse
import sys
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

from reliability import run
from rich.console import Console
from support import sanitizers
from support.jobs import update_each
from support.resources import Resources
from tavrinsim.setting import Setting
from tavrinsim.world import World

from .crowd import CALLERS, Crowd
from .mixed import compare, mix, storm
from .readers import CLIENTS, LONGEST_MS, P99_MS, Waits

Act = Callable[[World, argparse.Namespace, run.Findings], None]


def main() -> int:
    """Runs the three acts and says what came of them."""
    options = _options()
    console = Console()
    findings = run.Findings("Load", "load")
    begin = time.monotonic()
    acts: tuple[Act, ...] = (_under_readers, _under_a_storm, _under_everything)
    for act in acts:
        with console.status(act.__doc__ or ""), _controller(options.binary, findings) as world:
            act(world, options, findings)
    findings.figures["minutes"] = (time.monotonic() - begin) / 60
    return findings.finish(console, options.binary)


def _options() -> argparse.Namespace:
    parser = run.parser("load", __doc__)
    updates = "updates under the storm, and again under everything (%(default)s)"
    parser.add_argument("--updates", type=int, default=20, help=updates)
    readers = "clients that read everything without a pause (%(default)s)"
    parser.add_argument("--readers", type=int, default=CLIENTS, help=readers)
    callers = "callers who ask for updates all at once, again and again (%(default)s)"
    parser.add_argument("--callers", type=int, default=CALLERS, help=callers)
    return parser.parse_args()


def _under_readers(world: World, options: argparse.Namespace, findings: run.Findings) -> None:
    """Updates of each kind, alone and while everything is read."""
    done = compare(world, options.readers)
    findings.figures |= {
        "steps of three updates, alone": len(done.alone),
        f"the same under {options.readers} readers": len(done.loaded),
        **_waits("readers", done.waits),
    }
    findings.violations += done.violations()


def _under_a_storm(world: World, options: argparse.Namespace, findings: run.Findings) -> None:
    """Updates under a storm of calls."""
    crowd = _settled_crowd(world, options)
    before = _resources(world)
    storm(world, crowd, options.updates)
    accepted = len(crowd.accepted())
    findings.figures |= {
        f"storm of {options.callers} callers: calls": len(crowd.calls),
        "storm: became jobs": accepted,
        "storm: refused": len(crowd.calls) - accepted,
    }
    findings.violations += crowd.violations() + _resources(world).grown_since(before)


def _under_everything(world: World, options: argparse.Namespace, findings: run.Findings) -> None:
    """Updates, storms, registrations, signals, reads and writes at the same time."""
    crowd = _settled_crowd(world, options)
    before = _resources(world)
    mixture = mix(world, crowd, options.updates)
    findings.figures |= {
        "everything at once: calls": mixture.calls,
        "everything at once: became jobs": mixture.updates,
        "everything at once: registration passes": mixture.passes,
        "everything at once: signals": mixture.signals,
        "everything at once: writes": mixture.writes,
        **_waits("everything at once", mixture.waits),
    }
    findings.violations += mixture.violations + _resources(world).grown_since(before)


def _settled_crowd(world: World, options: argparse.Namespace) -> Crowd:
    """The callers, when each CPLD has been updated once and has registered."""
    world.board.faults.programming(percents=[0, 50, 100], step_delay_ms=0)
    update_each(world)
    world.wait_registered()
    world.trace.forget()
    return Crowd(world, options.callers)


def _resources(world: World) -> Resources:
    assert world.service is not None
    return Resources.of(world.service.pid)


def _waits(title: str, waits: Waits) -> dict[str, Any]:
    return {
        f"{title}: reads": waits.calls,
        f"{title}: failed reads": waits.failures,
        f"{title}: median wait, ms": waits.median,
        f"{title}: 99 % waited at most, ms (allowed: {P99_MS})": waits.p99,
        f"{title}: longest wait, ms (allowed: {LONGEST_MS})": waits.longest,
    }


@contextmanager
def _controller(binary: Path, findings: run.Findings) -> Iterator[World]:
    """A running service; a sanitizer's reports about it are violations."""
    with World(binary, Setting(monitored=False)) as world:
        world.start()
        world.wait_published()
        yield world
        world.let_service_end()
        findings.violations += sanitizers.reports(world.output)


if __name__ == "__main__":
    sys.exit(main())
