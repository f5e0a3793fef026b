"""What can go wrong on the board, by name; in force from the call on, also in a running service.

Every fault says when it acts: `after` matching events have passed, on the next `times` of them
(None: for good). Where several faults act on one event, the newest has the last word.
"""

from __future__ import annotations

import errno as errors
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, Literal

from .fault import Fault, FaultTable, Gate
from .names import Kind

if TYPE_CHECKING:
    from .device import Device

Operation = Literal["read", "write"]

# Codes under which the platform description lists the devices of each kind.
NODE_TYPES = {"flop": 26, "pbb": 62, "pdb": 44}


class Faults(FaultTable):
    """The faults of a board; `after` and `times` may be given to every method."""

    # The platform-description parser

    def parser(
        self,
        kind: Kind,
        status: int | None = None,
        count: int | None = None,
        paths: Sequence[str] | None = None,
        **when: Any,
    ) -> Fault:
        """Another status, instance count or list of paths than the board has."""
        match = {"node_type": NODE_TYPES[kind.name]}
        return self.add(
            "sysinfo", match, {"status": status, "count": count, "paths": paths}, **when
        )

    # The I2C bus; without a device, all of them are meant

    def open(
        self,
        device: "Device | None" = None,
        errno: int | None = None,
        delay_ms: int | None = None,
        gate: Gate | None = None,
        **when: Any,
    ) -> Fault:
        """Opening the device's path fails with `errno`, or is held up."""
        effect = {"errno": errno, **_held_up(delay_ms, gate)}
        return self.add("open", _at_device(device), effect, **when)

    def transfer(
        self,
        device: "Device | None" = None,
        errno: int | None = None,
        register: int | None = None,
        operation: Operation | None = None,
        delay_ms: int | None = None,
        gate: Gate | None = None,
        reaches_device: bool | None = None,
        **when: Any,
    ) -> Fault:
        """A transfer fails with `errno`, or is held up.

        With `reaches_device` the device has obeyed before the transfer fails.
        """
        match = {**_at_device(device), "register": register, "operation": operation}
        effect = {
            "errno": errno,
            "reaches_device": reaches_device,
            **_held_up(delay_ms, gate),
        }
        return self.add("transfer", match, effect, **when)

    def refuse_empty_reads(
        self,
        device: "Device | None" = None,
        errno: int = errors.EOPNOTSUPP,
        **when: Any,
    ) -> Fault:
        """The adapter refuses transfers that hold a read of no bytes, as some do."""
        return self.add(
            "transfer",
            {**_at_device(device), "empty_read": True},
            {"errno": errno},
            **when,
        )

    def stuck(
        self, device: "Device", register: int | None = None, mask: int = 1, **when: Any
    ) -> Fault:
        """Writes leave the bits of `mask` as they are (default: the port bit)."""
        match = _at_register(device, register, "write")
        return self.add("register", match, {"stuck": mask}, **when)

    def misread(
        self,
        device: "Device",
        register: int | None = None,
        set: int = 0,
        clear: int = 0,
        **when: Any,
    ) -> Fault:
        """Reads show bits set or cleared that are not (default: of the port register)."""
        match = _at_register(device, register, "read")
        return self.add("register", match, {"set": set, "clear": clear}, **when)

    # The hardware abstraction

    def hal_config(
        self,
        missing: bool | None = None,
        interrupt: bool | None = None,
        unregister_status: int | None = None,
        **when: Any,
    ) -> Fault:
        """The line's configuration is missing, or comes with an interrupt callback."""
        effect = {
            "null": missing,
            "interrupt": interrupt,
            "unregister_status": unregister_status,
        }
        return self.add("hal_config", {}, effect, **when)

    def hal_writes(self, *outcomes: tuple[int, int]) -> list[Fault]:
        """The next writes end with these (status, errno) pairs, one after the other."""
        return [
            self.add(
                "hal_write", {}, {"status": status, "errno": errno}, after=i, times=1
            )
            for i, (status, errno) in enumerate(outcomes)
        ]

    # The software inventory

    def versions(self, kind: Kind, status: int, **when: Any) -> Fault:
        """The version query fails; `board.software()` sets what a good one answers."""
        match = {"component": kind.component_id}
        return self.add("sipl_versions", match, {"status": status}, **when)

    def allocation(self, **when: Any) -> Fault:
        """The inventory library has no memory."""
        return self.add("sm_alloc", {}, {"null": True}, **when)

    # The programming library

    def programming(
        self,
        device: "Device | None" = None,
        percents: Sequence[int] | None = None,
        step_delay_ms: int | None = None,
        codes: tuple[int, int, int] | None = None,
        fail_at: int | None = None,
        throw_at_once: bool | None = None,
        throw_at: int | None = None,
        exception_text: str | None = None,
        pause_at: int | None = None,
        gate: Gate | None = None,
        other_thread: bool | None = None,
        **when: Any,
    ) -> Fault:
        """Another course of a programming run; its steps are the percentages it reports.

        `codes` (i2cdriver, dup, upd) are what it ends with, at once at step `fail_at` or
        after the last one; `pause_at` waits at `gate` before that step; steps count from 0.
        """
        match = {"component": device.kind.node, "index": device.index} if device else {}
        effect = {
            "percents": percents,
            "step_delay_ms": step_delay_ms,
            "codes": codes,
            "fail_at": fail_at,
            "throw_at_once": throw_at_once,
            "throw_at": throw_at,
            "exception_text": exception_text,
            "pause_at": pause_at,
            "pause_gate": gate.name if gate else None,
            "other_thread": other_thread,
        }
        return self.add("programming", match, effect, **when)


def _at_device(device: "Device | None") -> dict[str, Any]:
    return {"device": device.name if device else None}


def _at_register(
    device: "Device", register: int | None, operation: Operation
) -> dict[str, Any]:
    number = device.port_register if register is None else register
    return {**_at_device(device), "register": number, "operation": operation}


def _held_up(delay_ms: int | None, gate: Gate | None) -> dict[str, Any]:
    return {"delay_ms": delay_ms, "gate": gate.name if gate else None}
