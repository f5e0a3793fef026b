"""A signal about the host's power state, and what follows it."""

from __future__ import annotations

from . import hold
from .reports import Lines

CALLBACK = "[internalPowerStateSignalCallback]"


def read(state: str | None = None) -> Lines:
    """A signal that names a state, or none."""
    lines = [f"T {CALLBACK} : Reading Power Properties\n"]
    return lines if state is None else [*lines, f"T {CALLBACK} : Host State:{state}\n"]


def released(state: str) -> Lines:
    """A signal that released the line."""
    success = f"T {CALLBACK} : Holds5 bit cleared successfully\n"
    return [*read(state), *hold.whole(), success]
