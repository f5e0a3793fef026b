"""What a service's start and updates cost, as numbers that hardly differ from run to run.

    count(binary)                       all of them, by name
    python3 -m bench.costs.counts --record [--binary PATH]
                                        writes them down, as those that later ones are compared
                                        with
"""

from __future__ import annotations

import argparse
import json
import platform
from collections.abc import Mapping
from pathlib import Path

from tavrinsim.world import BINARY

from . import instructions
from .phase_costs import PhaseCosts, costs_of
from .system_calls import Purpose
from .watched_run import watch

RECORDED = Path(__file__).with_name("recorded.json")

# Purposes of system calls that the service decides on: one more for each record, say, would be
# lost in the sum.
OWN = (
    Purpose.LOG_FILE,
    Purpose.CPLDS,
    Purpose.PAYLOAD,
    Purpose.MESSAGES,
    Purpose.CONNECTIONS,
)

# How far from what was written down a count may be.
TOLERATED = 0.05


def count(binary: Path) -> dict[str, int]:
    """All counts of a service, in 20 s."""
    counts: dict[str, int] = {}
    for phase, costs in costs_of(watch(binary)).items():
        counts |= {f"{phase}: {name}": number for name, number in repeatable(costs).items()}
    for phase, number in instructions.count(binary).items():
        counts[f"{phase}: instructions"] = number
    return counts


def repeatable(costs: PhaseCosts) -> dict[str, int]:
    """Those counts of a phase that do not depend on who was faster."""
    purposes = {
        f"system calls, {purpose}": number
        for purpose, number in costs.system_calls.items()
        if purpose in OWN
    }
    return {
        **purposes,
        "system calls": costs.own_calls,
        "transfers": costs.transfers,
        "connections": costs.connections,
        "messages": costs.sent + costs.received,
        "records": costs.records,
        "platform calls": costs.platform_calls,
        "allocations": costs.allocations,
    }


def machine() -> str:
    """What the libraries' part depends on: the processor's kind and the distribution."""
    release = platform.freedesktop_os_release()
    return f"{platform.machine()} {release['ID'].capitalize()} {release.get('VERSION_ID', '')}"


def recorded() -> dict[str, int]:
    """The counts written down for such a machine; empty where there are none."""
    known: dict[str, dict[str, int]] = json.loads(RECORDED.read_text())
    return known.get(machine(), {})


def changes(counts: Mapping[str, int], before: Mapping[str, int]) -> list[str]:
    """What is more than 5 % from what it was, in words; less is to be written down as well."""
    return [
        f"{name}: {counts.get(name)}, was {before.get(name)}"
        for name in sorted({*before, *counts})
        if _differ(counts.get(name), before.get(name))
    ]


def _differ(now: int | None, before: int | None) -> bool:
    return now is None or before is None or abs(now - before) > TOLERATED * before


def main() -> None:
    """Shows the counts, and writes them down where that is asked for."""
    parser = argparse.ArgumentParser(prog="python3 -m bench.costs.counts")
    parser.add_argument("--record", action="store_true", help="write them down")
    parser.add_argument("--binary", type=Path, default=BINARY, help="the service")
    options = parser.parse_args()
    counts = count(options.binary.resolve())
    if options.record:
        known = json.loads(RECORDED.read_text()) if RECORDED.exists() else {}
        known[machine()] = counts
        RECORDED.write_text(json.dumps(known, indent=1, sort_keys=True) + "\n")
    print(json.dumps(counts, indent=1))


if __name__ == "__main__":
    main()
