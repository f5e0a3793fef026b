"""The same updates with and without readers: what the service does for them must not differ."""

from __future__ import annotations

from dataclasses import dataclass, field
from difflib import unified_diff

from support.jobs import put_back, run_job
from support.resources import Resources
from tavrinsim import names
from tavrinsim.world import World

from .readers import CLIENTS, Waits, reading

# All of a job that the log shows is the same in each of its runs.
TRANSACTION = 4711


@dataclass
class Comparison:
    """What the updates did alone and under load, in the lines of `sequence`."""

    alone: list[str] = field(default_factory=list)
    loaded: list[str] = field(default_factory=list)
    waits: Waits = field(default_factory=Waits)
    grown: list[str] = field(default_factory=list)

    def violations(self) -> list[str]:
        """What differs, what grew, and what the readers complain of."""
        changed = list(unified_diff(self.alone, self.loaded, "alone", "under load", n=2))
        words = ["".join(["the updates differ:", *(f"\n  {line}" for line in changed)])]
        return (words if changed else []) + self.grown + self.waits.violations()


def compare(world: World, clients: int = CLIENTS) -> Comparison:
    """Updates one CPLD of each kind, first alone, then while everything is read."""
    assert world.service is not None
    payloads = {kind: str(world.payload(kind, "2.3.4")) for kind in names.KINDS}
    result = Comparison(alone=_updates(world, payloads))
    before = Resources.of(world.service.pid)
    with reading(world, clients) as result.waits:
        result.loaded = _updates(world, payloads)
    result.grown = Resources.of(world.service.pid).grown_since(before)
    return result


def _updates(world: World, payloads: dict[str, str]) -> list[str]:
    steps = []
    for name, kind in names.KINDS.items():
        put_back(world)
        job = world.job(kind.fqdd(1), payloads[name], transaction=TRANSACTION)
        done = run_job(world, job)
        version = world.board.device(kind).version
        steps += [f"job of {job.fqdd}", *done.steps, f"result {done.result}, runs {version}"]
    return steps
