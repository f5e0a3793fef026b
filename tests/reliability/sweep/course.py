"""What an operation was seen to do, faulty or not."""

from __future__ import annotations

import signal
from contextlib import suppress
from dataclasses import dataclass, field
from typing import Any

from tavrinsim.job import Job, Report
from tavrinsim.service import ServiceError
from tavrinsim.world import World

Line = dict[str, Any]

BUS_LIBRARY = "libsystemd"

# How long a service that has left the bus takes to end, in seconds, at most; on a busy machine, too.
END_PATIENCE = 60.0

# The last words of a process that ends by itself, and those before them.
EXITING = "[main]: Exiting process ..."
REASONS = (
    "[main] : I/OException: ",
    "[main] : DBus Exception: ",
    "[main] : System Exception: ",
    "[main] : General Exception: ",
    "[main]: io.run() exited unexpectedly",
)


@dataclass
class Course:
    """An operation that is over. `result` is a method's answer: a number, an error's name, or
    None where no answer came; `status` the process's exit status where it has ended; `where` the
    call that the fault struck; `lost_by` a library that gave up by itself over it."""

    job: Job | None = None
    result: int | str | None = None
    status: int | None = None
    unsettled: str = ""
    where: str = ""
    lost_by: str = ""
    reports: list[Report] = field(default_factory=list)
    lines: list[Line] = field(default_factory=list)

    @property
    def ended(self) -> bool:
        """Whether the process is gone."""
        return self.status is not None

    @property
    def logs(self) -> list[str]:
        """The platform log."""
        return [line["text"] for line in self.lines if line["what"] == "log"]

    @property
    def errors(self) -> list[str]:
        """The error log."""
        return [
            line["text"] for line in self.lines if line["what"] == "log" and line["level"] == 1
        ]

    @property
    def accepted(self) -> bool:
        """Whether a worker has the job, whether or not the caller was told."""
        return self.result == 0 or any(
            "Thread created for update" in text for text in self.logs
        )

    def close(self, world: World, ending: bool) -> None:
        """Collects what the world knows of the operation at its end.

        A service that is `ending`, since it has left the bus, gets the time to do so.
        """
        if self.job is not None:
            self.reports = world.coordinator.reports_of(self.job.transaction)
        self.lines = list(world.trace.lines())
        assert world.service is not None
        if not world.running or EXITING in self.logs or ending:
            with suppress(ServiceError):  # then it runs on, and the checks will see it
                self.status = world.service.wait(END_PATIENCE)
                self.lines = list(world.trace.lines())
        if self.status == -signal.SIGABRT and _bus_library_gave_up(world):
            self.lost_by = BUS_LIBRARY


def _bus_library_gave_up(world: World) -> bool:
    """Whether a failed assertion of the bus library has ended the process."""
    last = world.output.read_text(errors="replace").rstrip().rpartition("\n")[2]
    return last.startswith("Assertion ") and " failed at src/libsystemd/" in last
