"""One simulated controller of the sweep, with a service that takes fault after fault."""

from __future__ import annotations

import time
from collections.abc import Callable, Sequence
from contextlib import suppress
from pathlib import Path

from dbus_next import Variant
from support.failing_calls import FailingCalls
from support.resources import Resources, threads
from tavrinsim import names
from tavrinsim.connection import BusError
from tavrinsim.job import Job, Report
from tavrinsim.setting import Setting
from tavrinsim.world import World

from .course import Course

LISTENING = (
    "[Subscribe_FruReadComplete_status] : Registered signal handler for frureadcomplete\n"
)

# One CPLD of each kind. The FLOP's firmware is so old that its port asks for the platform, and
# the host waits for its power-on, so that a start releases the hold line.
SETTING = Setting(
    counts={"pbb": 1, "pdb": 1, "flop": 1},
    versions={"flop": "0.0.3"},
    platform_id=5,
    power_state="S5OnPending",
    monitored=False,
)
VERSIONS = {"pbb": ("1.2.3", "1.2.4"), "pdb": ("2.3.4", "2.3.5"), "flop": ("0.0.4", "0.0.5")}

# A neighbour that never answers costs this and not 25 s.
IMPATIENT = {"SYSTEMD_BUS_TIMEOUT": "5s"}

# Nobody looks at the pauses of so many updates.
QUICK = {"C_LIBRARY": "short pauses"}

# Longer than the longest operation, in which every report goes unanswered.
PATIENCE = 60.0
ANSWER_PATIENCE = 20.0
# Longer than a trim of the log file takes.
TRIM_PATIENCE = 5.0


class Station:
    """A world, the service in it, and jobs whose payloads are made once.

    `baseline` and `blocks` are what a service holds that has nothing to do, `log_size` what its
    log file held before the present operation.
    """

    def __init__(self, binary: Path) -> None:
        self.world = World(binary, SETTING)
        self.calls = FailingCalls(self.world.folder / "failing-calls")
        self.baseline: Resources | None = None
        self.blocks = 0
        self.log_size = 0
        doubles = binary.parent / "tests" / "system" / "doubles"
        self._preload = [
            doubles / f"lib{name}.so" for name in ("failing_calls", "c_library")
        ]
        self._payloads = {
            (kind, turn): self.world.payload(kind, VERSIONS[kind][turn])
            for kind in VERSIONS
            for turn in (0, 1)
        }
        # Three reports of progress stand for any number.
        self.world.board.faults.programming(percents=[0, 50, 100], step_delay_ms=0)
        self.world.coordinator.on_report = self._unmark

    def close(self) -> None:
        """Ends the world."""
        self.world.close()

    # -- the service -------------------------------------------------------------------

    def start(self) -> None:
        """Starts the service afresh, whatever became of the last one."""
        if self.world.running:
            self.world.kill()
        self.baseline = None
        self.calls.start_anew()
        self.world.trace.forget()
        self.world.coordinator.registrations.clear()
        self.world.start(
            preload=self._preload, environment={**self.calls.environment(), **IMPATIENT, **QUICK}
        )

    def settle_start(self) -> Course:
        """Waits until a start has come to rest."""
        course = Course()
        try:
            self._wait(lambda: LISTENING in self.world.trace.logs())
            self._answer()
            # The registration thread, where there is one, waits for signals when it has registered.
            self._wait(lambda: self.threads <= 1 or self.calls.now.waits > 0)
        except TimeoutError:
            course.unsettled = f"the start has not come to rest after {PATIENCE} s"
        return course

    def is_published(self, kind: str) -> bool:
        """Whether the update object of this kind's CPLD is on the bus."""
        try:
            objects = self.world.client.managed_objects()
        except BusError:
            return False
        return names.COMP_UPDATE in objects.get(names.KINDS[kind].object_path(1), {})

    @property
    def threads(self) -> int:
        """How many threads the service has."""
        with suppress(FileNotFoundError):
            assert self.world.service is not None
            return len(threads(self.world.service.pid))
        return 0

    def holdings(self) -> Resources:
        """What the service holds of the machine now."""
        assert self.world.service is not None
        return Resources.of(self.world.service.pid)

    # -- jobs --------------------------------------------------------------------------

    def update(self, kind: str, turn: int) -> Course:
        """One update, from the job's first property to the end of its worker; to be finished."""
        fqdd = names.KINDS[kind].fqdd(1)
        course = Course(self.world.job(fqdd, self._payloads[kind, turn]))
        idle = self.threads
        assert course.job is not None
        course.result = self._send(course.job)
        try:
            self._wait(lambda: self.threads <= idle)
        except TimeoutError:
            course.unsettled = f"the worker is still there after {PATIENCE} s"
        self._answer()
        return course

    def finish(self, course: Course) -> Course:
        """Closes the account of an operation; no fault is in force any more."""
        course.close(self.world, ending=not self._answer())
        return course

    def _send(self, job: Job) -> int | str | None:
        """As the coordinator would, but from a connection that no fault takes away."""
        path = job.object_path()
        try:
            for name, value in job.properties().items():
                self._call(path, names.PROPERTIES, "Set", "ssv", names.COMP_UPDATE, name, value)
            arguments = ("su", job.fqdd, job.transaction)
            return int(self._call(path, names.COMP_UPDATE, "CompFirmwareUpdate", *arguments))
        except BusError as error:
            return error.name
        except TimeoutError:
            return None

    def _call(self, path: str, interface: str, member: str, *arguments: object) -> int:
        client = self.world.client
        call = (names.SERVICE, path, interface, member, *arguments)
        values = client.call(*call, timeout=ANSWER_PATIENCE)  # type: ignore[arg-type]
        return int(values[0]) if values else 0

    async def _unmark(self, report: Report) -> None:
        """Takes the update's mark away in its middle: at its end it must be there again."""
        if report.percent == 50:
            with suppress(BusError):
                await self.world.coordinator.connection.call(
                    names.SERVICE,
                    names.split_fqdd(report.fqdd)[0].object_path(1),
                    names.PROPERTIES,
                    "Set",
                    "ssv",
                    (names.TAVRIN_INVENTORY, "PSUScanBlock", Variant("b", False)),
                    ANSWER_PATIENCE,
                )

    def is_marked(self, kind: str) -> bool:
        """Whether the CPLD's mark is set."""
        path = names.KINDS[kind].object_path(1)
        return bool(self.world.client.get(path, names.TAVRIN_INVENTORY, "PSUScanBlock").value)

    def log_holds(self, size: int) -> bool:
        """Whether the log file has as many bytes, if not at once: a thread may be trimming it."""
        deadline = time.monotonic() + TRIM_PATIENCE
        while self.world.log_file.stat().st_size < size:
            if time.monotonic() > deadline:
                return False
            time.sleep(0.005)
        return True

    # -- waiting -----------------------------------------------------------------------

    def _answer(self) -> bool:
        """Returns when the service has handled what it had to, or will not answer; whether it did."""
        client, service = self.world.client, self.world.service
        assert service is not None
        connections = client.connections_of(service.pid)
        if not connections:
            return False
        oldest = min(connections, key=lambda name: int(name.rpartition(".")[2]))
        question = (oldest, names.ANCHOR, names.INTROSPECTABLE, "Introspect")
        # Twice: a descriptor that became ready before may be handled after the first.
        return all(self._is_answered(question) for _ in range(2))

    def _is_answered(self, question: Sequence[str]) -> bool:
        """Another connection of the same process, which may outlive the main one, has no such object."""
        try:
            self.world.client.call(*question, timeout=ANSWER_PATIENCE)
        except (BusError, TimeoutError):
            return False
        return True

    def _wait(self, condition: Callable[[], bool]) -> None:
        """Waits for what announces itself nowhere, or for the end of the process."""
        deadline = time.monotonic() + PATIENCE
        while self.world.running and not condition():
            if time.monotonic() > deadline:
                raise TimeoutError
            time.sleep(0.005)
