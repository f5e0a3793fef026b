"""What one phase of a service cost, in numbers."""

from __future__ import annotations

from collections import Counter
from collections.abc import Mapping
from dataclasses import dataclass

from tavrinsim import names

from .system_calls import Purpose
from .watched_run import Phase, TraceLine

# Level and module of the lines that are records of the log file, too.
RECORD = {"level": 1, "module": 352}

# What is shown and compared with nothing: the libraries of the machine decide on the first, who
# was faster on the second, and on the third where the C library finds room for a thread.
INCIDENTAL = (Purpose.PROCESS_START, Purpose.WAITING, Purpose.MEMORY)

# The simulated programming library's own words about its run; no one calls it with them.
TOLD_BY_LIBRARY = ("cpldfwupdate.progress", "cpldfwupdate.finish")


@dataclass(frozen=True)
class PhaseCosts:
    """Counts of one phase.

    `system_calls` are by purpose. A transfer is one of them, though the simulated bus needs
    none for it. `connections` are those to the bus that were opened, `platform_calls` the
    service's calls of the platform's libraries but for the platform log's.
    """

    system_calls: Mapping[Purpose, int]
    transfers: int
    connections: int
    sent: int
    received: int
    records: int
    platform_calls: int
    allocations: int

    @property
    def own_calls(self) -> int:
        """System calls that follow from what the service does, not from the machine's mood."""
        return sum(n for purpose, n in self.system_calls.items() if purpose not in INCIDENTAL)


def costs_of(phases: Mapping[str, Phase]) -> dict[str, PhaseCosts]:
    """The costs of every phase of one run."""
    own = {
        line["sender"]
        for phase in phases.values()
        for line in phase.traced("bus")
        if line["member"] == "Hello"
    }
    return {name: _costs(phase, own) for name, phase in phases.items()}


def _costs(phase: Phase, own: set[str]) -> PhaseCosts:
    messages = phase.traced("bus")
    transfers = len(phase.traced("transfer"))
    calls = Counter(call.purpose for call in phase.calls)
    calls[Purpose.CPLDS] += transfers
    return PhaseCosts(
        system_calls=calls,
        transfers=transfers,
        connections=sum(line["member"] == "Hello" for line in messages),
        sent=sum(line["sender"] in own for line in messages),
        received=sum(_reaches(line, own) for line in messages),
        records=sum(RECORD.items() <= line.items() for line in phase.traced("log")),
        platform_calls=sum(
            line["name"] not in TOLD_BY_LIBRARY for line in phase.traced("call")
        ),
        allocations=phase.allocations,
    )


def _reaches(line: TraceLine, own: set[str]) -> bool:
    """Whether the service gets the message; of a lost name one is told who has gone."""
    return line["destination"] in own | {names.SERVICE} and line["member"] != "NameLost"
