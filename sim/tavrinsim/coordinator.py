"""The firmware-update coordinator: registers components, sends jobs, hears reports."""

from __future__ import annotations

import itertools
from collections.abc import Awaitable, Callable, Iterator
from concurrent.futures import Future
from pathlib import Path
from typing import Any

from . import names
from .answers import INVALID_ARGS, Answer, Failure, Reply
from .job import Job, Registration, Report
from .loop import LoopThread
from .peer import Call, Peer

REGISTER = "cmnfwupd_client_register"
STATUS = "cmnfwupd_fw_update_status"

# Called on the loop for each report, before it is answered; may be a coroutine.
ReportHandler = Callable[[Report], Awaitable[None] | None]


class Coordinator(Peer):
    """Works asynchronously: a report is served while an update call is still open.

    `registrations` and `reports` hold what came in, in order. `on_report` is called on
    the loop's thread before a report is answered, and may send the next job with
    `update_async`.
    """

    def __init__(self, loop: LoopThread, address: str) -> None:
        super().__init__(loop, address, names.COORDINATOR)
        self.registrations: list[Registration] = []
        self.reports: list[Report] = []
        self.on_report: ReportHandler | None = None
        self._transactions = itertools.count(1)
        self.serve(names.COORDINATOR_PATH, names.COORDINATOR_INTERFACE, REGISTER, STATUS)

    # -- jobs --------------------------------------------------------------------------

    def job(self, fqdd: str, directory: Path | str, **fields: Any) -> Job:
        """A job with the next transaction number, unless `fields` give one."""
        fields.setdefault("transaction", next(self._transactions))
        return Job(fqdd, directory, **fields)

    def update(self, job: Job, timeout: float = 30) -> int:
        """Sends a job; the method's result, or BusError for an error reply."""
        return self._loop.run(self.update_async(job), timeout)

    def begin_update(self, job: Job) -> Future[int]:
        """As `update`, without waiting for the method's result."""
        return self._loop.begin(self.update_async(job))

    async def update_async(self, job: Job) -> int:
        """As `update`, for use on the loop's thread."""
        path = job.object_path()
        for name, value in job.properties().items():
            await self._call(
                path, names.PROPERTIES, "Set", "ssv", names.COMP_UPDATE, name, value
            )
        return await self.request_async(path, job.fqdd, job.transaction)

    def request(self, path: str, fqdd: str, transaction: int) -> int:
        """Only calls the update method, whatever the object's properties are."""
        return self._loop.run(self.request_async(path, fqdd, transaction))

    async def request_async(self, path: str, fqdd: str, transaction: int) -> int:
        """As `request`, for use on the loop's thread."""
        arguments = (names.COMP_UPDATE, "CompFirmwareUpdate", "su", fqdd, transaction)
        return int((await self._call(path, *arguments))[0])

    def ask_for_registrations(self) -> None:
        """Broadcasts that every component has to register anew."""
        self.signal(names.COORDINATOR_PATH, names.COORDINATOR_INTERFACE, "cmnupdateregsignal")

    # -- what came in ------------------------------------------------------------------

    def wait_registered(self, count: int, timeout: float = 30) -> list[Registration]:
        """Waits for `count` registrations in all."""
        self.wait_for(lambda: len(self.registrations) >= count, timeout)
        return list(self.registrations)

    def reports_of(self, transaction: int) -> list[Report]:
        """The reports of one job so far."""
        return [r for r in list(self.reports) if r.transaction == transaction]

    def wait_report(self, condition: Callable[[Report], bool], timeout: float = 30) -> Report:
        """Waits for the first report, old or new, that fits."""
        self.wait_for(lambda: any(condition(r) for r in self.reports), timeout)
        return next(r for r in self.reports if condition(r))

    def follow(self, transaction: int, timeout: float = 60) -> Iterator[Report]:
        """A job's reports as they come in, the final one last.

        TimeoutError when `timeout` seconds pass without a further one.
        """
        seen = 0
        while True:
            self.wait_for(lambda: len(self.reports_of(transaction)) > seen, timeout)
            for report in self.reports_of(transaction)[seen:]:
                seen += 1
                yield report
                if report.final:
                    return

    def wait_outcome(self, transaction: int, timeout: float = 60) -> Report:
        """Waits for a job's final report."""
        return self.wait_report(lambda r: r.transaction == transaction and r.final, timeout)

    # -- the peer's side ---------------------------------------------------------------

    def arrived(self, call: Call) -> None:
        """See `Peer.arrived`."""
        if call.member == REGISTER and call.signature == "sss":
            self.registrations.append(Registration(call.time, call.sender, *call.body))
        if call.member == STATUS and call.signature == "syuq":
            self.reports.append(Report(call.time, call.sender, *call.body))

    async def normal(self, call: Call) -> Answer:
        """See `Peer.normal`."""
        expected = {REGISTER: "sss", STATUS: "syuq"}[call.member]
        if call.signature != expected:
            return Failure(INVALID_ARGS, f"{call.member} takes {expected}")
        if call.member == STATUS and self.on_report is not None:
            pending = self.on_report(Report(call.time, call.sender, *call.body))
            if pending is not None:
                await pending
        return Reply()

    async def _call(
        self, path: str, interface: str, member: str, signature: str, *body: object
    ) -> list[Any]:
        reply = await self.connection.call(
            names.SERVICE, path, interface, member, signature, body
        )
        return list(reply.body)
