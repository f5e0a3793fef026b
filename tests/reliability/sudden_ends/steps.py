"""The steps of an update, by what a sudden end in each of them leaves behind."""

from __future__ import annotations

from dataclasses import dataclass

from tavrinsim.device import Device
from tavrinsim.trace import Line, Trace


@dataclass(frozen=True)
class Found:
    """What is left: the CPLD as it stands, and whether the coordinator knows the outcome."""

    port_open: bool
    image: str
    updated: bool
    told: bool

    @classmethod
    def at(cls, device: Device, version: str, told: bool) -> Found:
        """What is left of an update of this device to this version."""
        return cls(device.port_open, device.image_state, device.version == version, told)

    def __str__(self) -> str:
        port = "open" if self.port_open else "closed"
        version = "new" if self.updated else "old"
        outcome = "told" if self.told else "not told"
        return f"port {port}, image {self.image}, {version} version runs, outcome {outcome}"


@dataclass(frozen=True)
class Step:
    """A part of an update. `begins` is the device's event that opens it."""

    name: str
    begins: str | None
    leaves: Found


STEPS = (
    Step("check", None, Found(False, "valid", False, False)),
    Step("port opened", "port-opened", Found(True, "valid", False, False)),
    Step("programming", "erased", Found(True, "interrupted", False, False)),
    Step("programmed", "complete", Found(True, "complete", False, False)),
    Step("port closed", "loaded", Found(False, "valid", True, False)),
    Step("reported", None, Found(False, "valid", True, True)),
)


def step_of(found: Found) -> int | None:
    """The step whose sudden end leaves this, by its place in STEPS."""
    return next((place for place, step in enumerate(STEPS) if step.leaves == found), None)


def latest_step(trace: Trace, device: Device, start: int, told: bool) -> int:
    """The step that the update has come to, as the trace and the coordinator tell it."""
    if told:
        return len(STEPS) - 1
    events = {line["event"] for line in _events(trace, device, start)}
    begun = [place for place, step in enumerate(STEPS) if step.begins in events]
    return max(begun, default=0)


def _events(trace: Trace, device: Device, start: int) -> list[Line]:
    return trace.select(start=start, what="device", device=device.name)
