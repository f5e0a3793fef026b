"""What a start and an update of each kind cost, beside the least that they can."""

from __future__ import annotations

from collections.abc import Mapping

from ..bench import Bench
from ..figures import Section
from . import instructions, least
from .least import Least
from .phase_costs import INCIDENTAL, PhaseCosts, costs_of
from .system_calls import PURPOSES
from .watched_run import START, watch

# The percentages of the simulated library: 0, 10 and so on to 100.
STEPS = 11
# A lock bit is read, written and read again; of a FLOP, the version is read before.
TRANSFERS = {"pbb": 2 * 3, "pdb": 2 * 3, "flop": 2 * 4}

COUNTED = {
    "transfers": "I2C transfers",
    "connections": "connections to the bus",
    "sent": "messages sent",
    "received": "messages received",
    "records": "records of the log file",
    "platform_calls": "calls of the platform's libraries",
}

# Why there are more than the least.
REMARKS = {
    "log file": "the stream asks for its place twice more",
    "connections": "sd-bus asks for and sets the socket's buffers, asks who the bus is",
    "messages": "sd-bus reads a message's head and its rest apart",
    "event loop": "its timer and its waker, readiness asked for anew after each message",
    "threads": "their stacks and signal masks",
    "payload and key": "the C and C++ libraries ask for places and sizes",
}

# Of 18,000 at the start it takes 15,000 to set itself up; of 6,400 in an update, 5,600 for the check.
ALLOCATIONS = "most of them libcrypto's"


def measure(bench: Bench) -> list[Section]:
    """One run under `strace`, one under callgrind: every run counts the same."""
    sections = {
        phase: _section(phase, costs) for phase, costs in costs_of(watch(bench.binary)).items()
    }
    for phase, number in instructions.count(bench.binary).items():
        sections[phase].add("instructions of the service's file", "instructions", [number])
    return list(sections.values())


def _section(phase: str, costs: PhaseCosts) -> Section:
    if phase == START:
        section, fewest = Section("Costs of the start"), least.of_start()
    else:
        section = Section(f"Costs of an update, {phase.upper()}")
        fewest = least.of_update(STEPS, TRANSFERS[phase])
    _compare(section, costs, fewest)
    _compare_system_calls(section, costs, fewest.system_calls)
    section.add("allocations", "blocks", [costs.allocations], remark=ALLOCATIONS)
    return section


def _compare(section: Section, costs: PhaseCosts, fewest: Least) -> None:
    """What the service alone decides on: the goal is the least."""
    for name, words in COUNTED.items():
        section.add(words, "count", [getattr(costs, name)], getattr(fewest, name))


def _compare_system_calls(
    section: Section, costs: PhaseCosts, fewest: Mapping[str, int]
) -> None:
    """What the libraries have a say in: no goal, but the least, and the reason for more."""
    remark = f"at least {sum(fewest.values())}"
    section.add("system calls", "calls", [costs.own_calls], remark=remark)
    for purpose in PURPOSES:
        number = costs.system_calls.get(purpose, 0)
        if number:
            kind = "besides" if purpose in INCIDENTAL else "of these"
            remark = _remark(purpose, number, fewest)
            section.add(f"{kind}, {purpose}", "calls", [number], remark=remark)


def _remark(purpose: str, number: int, fewest: Mapping[str, int]) -> str:
    if purpose not in fewest:
        return ""
    words = f"at least {fewest[purpose]}"
    return f"{words}: {REMARKS[purpose]}" if number > fewest[purpose] else words
