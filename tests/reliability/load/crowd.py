"""Callers who all ask for updates at once, and what became of each call."""

from __future__ import annotations

import asyncio
import itertools
from concurrent.futures import Future
from dataclasses import dataclass
from typing import Any

from tavrinsim import names
from tavrinsim.device import Device
from tavrinsim.job import IN_PROGRESS, SUCCEEDED
from tavrinsim.trace import Line
from tavrinsim.world import World

CALLERS = 32
VERSION = "2.3.4"


@dataclass(frozen=True)
class Call:
    """One caller's request; `reply` holds the method's result some day."""

    fqdd: str
    transaction: int
    reply: Future[list[Any]]

    @property
    def accepted(self) -> bool:
        """Whether it became a job; waits for the reply."""
        return bool(self.reply.result(60)[0] == 0)


class Crowd:
    """Callers with a bus connection each. Every object holds a valid job for its own CPLD."""

    def __init__(self, world: World, callers: int = CALLERS) -> None:
        self.calls: list[Call] = []
        self._world = world
        self._clients = [world.another_client() for _ in range(callers)]
        self._transactions = itertools.count(1_000_000)
        for device in world.board.devices:
            self._prepare(device)

    def shout(self) -> list[Call]:
        """One call of each caller, of all objects in turn, all of them before any reply."""
        devices = itertools.cycle(self._world.board.devices)
        calls = [self._begin(*pair) for pair in zip(self._clients, devices)]
        self.calls += calls
        return calls

    async def shout_async(self) -> list[Call]:
        """As `shout`, with all the replies, on the loop's thread."""
        calls = self.shout()
        await asyncio.gather(*(asyncio.wrap_future(call.reply) for call in calls))
        return calls

    def accepted(self) -> list[Call]:
        """The calls of all time that became jobs."""
        return [call for call in self.calls if call.accepted]

    def violations(self) -> list[str]:
        """What became of the calls and should not have; all jobs are over."""
        world, words = self._world, []
        for call in self.calls:
            told = world.coordinator.reports_of(call.transaction)
            course = [(report.fqdd, report.status) for report in told]
            if course != (self._whole_course(call) if call.accepted else []):
                kind = "accepted" if call.accepted else "refused"
                words.append(f"{kind} call {call.transaction} of {call.fqdd}: {course}")
        return words + self._wrong_runs() + self._wrong_refusals()

    def _prepare(self, device: Device) -> None:
        job = self._world.job(device.fqdd, self._world.payload(device.kind.name, VERSION))
        for name, value in job.properties().items():
            self._world.client.set(job.object_path(), names.COMP_UPDATE, name, value)

    def _begin(self, client: Any, device: Device) -> Call:
        transaction = next(self._transactions)
        path = device.kind.object_path(device.index + 1)
        arguments = ("CompFirmwareUpdate", "su", device.fqdd, transaction)
        reply = client.begin_call(names.SERVICE, path, names.COMP_UPDATE, *arguments)
        return Call(device.fqdd, transaction, reply)

    def _whole_course(self, call: Call) -> list[tuple[str, int]]:
        """Reports of a job: started, each step of the programming library, succeeded."""
        running = (call.fqdd, IN_PROGRESS)
        return [running, *[running] * self._steps(call), (call.fqdd, SUCCEEDED)]

    def _steps(self, call: Call) -> int:
        percents = [r.percent for r in self._world.coordinator.reports_of(call.transaction)]
        return len(percents) - 2 if percents == sorted(percents) else 0

    def _wrong_runs(self) -> list[str]:
        """One worker after the other, each with one run of the programming library for its job."""
        seen = [event for line in self._world.trace.lines() if (event := _event(line))]
        expected = [
            event
            for call in self._in_order()
            for event in _course(self._world.board.device_of(call.fqdd))
        ]
        return [] if seen == expected else [f"workers did {seen}, expected {expected}"]

    def _in_order(self) -> list[Call]:
        """The jobs in the order in which they began."""
        begun = [r.transaction for r in self._world.coordinator.reports if r.percent == 0]
        return sorted(self.accepted(), key=lambda call: begun.index(call.transaction))

    def _wrong_refusals(self) -> list[str]:
        """One line of the error log for each call that found the service busy, nothing else."""
        refused = len(self.calls) - len(self.accepted())
        lines = self._world.trace.logs(level=1)
        told = sum("Another update is running" in line for line in lines)
        return [] if told == refused else [f"{refused} refusals, {told} lines about them"]


# The lines of a worker's log that tell its course.
_LINES = {
    "Thread function: Entering": "begins",
    "CPLD update Finished.....": "closes the port",
    "Successfully updated": "is over",
}


def _course(device: Device) -> list[str]:
    """What a worker does for one device."""
    programs = f"programs {device.name}"
    return ["begins", programs, "has programmed", "closes the port", "is over"]


def _event(line: Line) -> str | None:
    """What a trace line says of a worker's course."""
    if line["what"] == "log" and line["text"].startswith("[FW_update:"):
        return next((word for text, word in _LINES.items() if text in line["text"]), None)
    if line["what"] == "call" and line["name"] == "cpldfwupdate.construct":
        return f"programs {line['args']['component']}[{line['args']['index']}]"
    if line["what"] == "call" and line["name"] == "cpldfwupdate.finish":
        return "has programmed"
    return None
