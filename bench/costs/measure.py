"""What a start and an update of each kind cost, beside the least that they can."""

from __future__ import annotations

from collections.abc import Mapping

from ..bench import Bench
from ..figures import Section
from . import allocations, bare_calls, instructions, least
from .callgrind import Profile
from .comparison import compare_decided, compare_system_calls
from .phase_costs import PhaseCosts, costs_of
from .watched_run import START, watch

# The percentages of the simulated library: 0, 10 and so on to 100; before and after it is a
# report.
STEPS = 11
REPORTS = 1 + STEPS + 1
# A lock bit is read, written and read again; of a FLOP, the version is read before.
TRANSFERS = {"pbb": 2 * 3, "pdb": 2 * 3, "flop": 2 * 4}


def measure(bench: Bench) -> list[Section]:
    """One run under `strace`, one under callgrind, as bare calls are: runs hardly differ."""
    phases = costs_of(watch(bench.binary)).items()
    sections = {phase: _section(phase, costs) for phase, costs in phases}
    bare = {
        START: bare_calls.of_start(bench),
        instructions.UPDATED: bare_calls.of_update(bench, REPORTS),
    }
    for phase, profile in instructions.profiles(bench.binary).items():
        _add_allocations(sections[phase], profile, bench.binary.name, bare[phase])
        number = instructions.of_file(profile, bench.binary.name)
        sections[phase].add("instructions of the service's file", "instructions", [number])
    return list(sections.values())


def _section(phase: str, costs: PhaseCosts) -> Section:
    if phase == START:
        section, fewest = Section("Costs of the start"), least.of_start()
        chosen = least.chosen_at_start()
    else:
        section, chosen = Section(f"Costs of an update, {phase.upper()}"), {}
        fewest = least.of_update(STEPS, TRANSFERS[phase])
    compare_decided(section, costs, fewest, chosen)
    compare_system_calls(section, phase, costs, fewest)
    section.add("allocations", "blocks", [costs.allocations])
    return section


def _add_allocations(
    section: Section, profile: Profile, service: str, bare: Mapping[str, str]
) -> None:
    """Who asks for them, and what bare calls of the same libraries ask for."""
    for library, number in allocations.by_library(profile).items():
        who = "the service's file" if library == service else library
        remark = bare.get(library, "")
        section.add(f"of these, {who}", "blocks", [number], remark=remark)
