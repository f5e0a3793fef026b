"""The counts of one phase beside the least."""

from __future__ import annotations

from collections.abc import Mapping

from ..figures import Section
from . import reasons
from .least import Least
from .phase_costs import INCIDENTAL, PhaseCosts
from .system_calls import Purpose

COUNTED = {
    "transfers": "I2C transfers",
    "connections": "connections to the bus",
    "sent": "messages sent",
    "received": "messages received",
    "records": "records of the log file",
    "platform_calls": "calls of the platform's libraries",
}


def compare_decided(
    section: Section, costs: PhaseCosts, fewest: Least, chosen: Mapping[str, int]
) -> None:
    """What the service alone decides on: the least, and what it does beyond that on purpose.

    Raises where there is less: not even the best can have that, so it was not seen.
    """
    for name, words in COUNTED.items():
        number, least, more = getattr(costs, name), getattr(fewest, name), chosen.get(name, 0)
        if number < least:
            raise RuntimeError(f"{section.title}: {number} {words} were seen, not {least}")
        section.add(words, "count", [number], least + more, _choice(least, more))


def _choice(least: int, more: int) -> str:
    if not more:
        return ""
    return f"at least {least}; more on purpose: the platform's number is asked for apart"


def compare_system_calls(section: Section, phase: str, costs: PhaseCosts, least: Least) -> None:
    """What the libraries have a say in: no goal, but the least, and the reason for more."""
    fewest = least.system_calls
    remark = f"at least {sum(fewest.values())}"
    section.add("system calls", "calls", [costs.own_calls], remark=remark)
    for purpose in Purpose:
        number = costs.system_calls.get(purpose, 0)
        if number:
            kind = "besides" if purpose in INCIDENTAL else "of these"
            remark = _remark(phase, purpose, number, fewest.get(purpose, 0))
            section.add(f"{kind}, {purpose}", "calls", [number], remark=remark)


def _remark(phase: str, purpose: Purpose, number: int, least: int) -> str:
    if purpose in INCIDENTAL:
        return reasons.reason(phase, purpose)
    if number < least:
        raise RuntimeError(f"{phase}: {number} system calls were seen, {purpose}, not {least}")
    words = f"at least {least}"
    return f"{words}: {reasons.reason(phase, purpose)}" if number > least else words
