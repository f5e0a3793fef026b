"""Reports to the coordinator."""

from __future__ import annotations

from tavrinsim.coordinator import Job

Lines = list[str]

RUNNING, SUCCEEDED, FAILED = 4, 28, 18


def sent(job: Job, status: int, percent: int = 0) -> Lines:
    """One report that reached the coordinator."""
    return [
        *tried(job, status, percent),
        f"> cmnfwupd_fw_update_status({job.fqdd}, {status}, {job.transaction}, {percent & 0xFFFF})",
    ]


def tried(job: Job, status: int, percent: int = 0) -> Lines:
    """One report that did not get there."""
    return [
        "T Updating the progress to cmnfwupd\n",
        f"T ActivationProgress {percent} in percent, status {status}, FQDD {job.fqdd}\n",
    ]


def failure(code: int, text: str, error: str, message: str) -> Lines:
    """The coordinator did not take a report."""
    tag = "E [reportUpdateStatus]:"
    return [
        f"{tag} Failed to report ActivationProgress: rc={code} ({text})\n",
        f"{tag} DBusError={error} ({message})\n",
    ]


def no_bus() -> Lines:
    """A report found no system bus."""
    return [
        "E [reportUpdateStatus]: Failed to connect to system bus: No such file or directory\n"
    ]
