"""What passes between the coordinator and the service: jobs, registrations, reports."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

from dbus_next import Variant

from . import names

# The statuses of a report.
IN_PROGRESS = 4
SUCCEEDED = 28
FAILED = 18


@dataclass(frozen=True)
class Registration:
    """A component's registration. `time` is CLOCK_MONOTONIC in seconds."""

    time: float
    sender: str
    service: str
    object_path: str
    interface: str


@dataclass(frozen=True)
class Report:
    """A status report of a job. `time` is CLOCK_MONOTONIC in seconds."""

    time: float
    sender: str
    fqdd: str
    status: int
    transaction: int
    percent: int

    @property
    def final(self) -> bool:
        """Whether the job ended with this report."""
        return self.status in (SUCCEEDED, FAILED)


@dataclass(frozen=True)
class Job:
    """An update to be asked for.

    What is left None follows from the FQDD: component number and object path. The
    three properties are always written to `path`, and the method is called there.
    """

    fqdd: str
    directory: Path | str
    transaction: int
    component_id: int | None = None
    job_id: str = "JID_1"
    path: str | None = None

    def object_path(self) -> str:
        """Where the job goes."""
        if self.path is not None:
            return self.path
        kind, number = names.split_fqdd(self.fqdd)
        return kind.object_path(number)

    def properties(self) -> dict[str, Variant]:
        """What the coordinator writes before the call."""
        component = self.component_id
        if component is None:
            component = names.split_fqdd(self.fqdd)[0].component_id
        return {
            "Jobid": Variant("s", self.job_id),
            "Component_id": Variant("u", component),
            "Resource_URI": Variant("s", str(self.directory)),
        }
