"""The worker's part of an update."""

from __future__ import annotations

from collections.abc import Sequence
from pathlib import Path

from support.jobs import NORMAL_COURSE
from tavrinsim.job import Job
from tavrinsim.names import split_fqdd

from . import reports
from .reports import Lines

TAG = "[FW_update:THREAD]"


def begun(job: Job) -> Lines:
    """The worker hands the payload to the programming library."""
    kind, number = split_fqdd(job.fqdd)
    payload = Path(job.directory) / "firmware.payload"
    return [
        f"T {TAG} : Thread function: Entering\n",
        f"T {TAG} : Calling library for {job.fqdd}\n",
        f"call cpldfwupdate.construct({kind.node}, {number - 1}, {payload}, 352)",
    ]


def progress(job: Job, percents: Sequence[int]) -> Lines:
    """The library's progress, each step of it reported."""
    return [line for percent in percents for line in _step(job, percent)]


def _step(job: Job, percent: int) -> Lines:
    return [
        f"call cpldfwupdate.progress({percent})",
        f"T [StatusUpdate_CB] : UpdateStatus : InProgress, UpdatePercentage : {percent}\n",
        *reports.sent(job, reports.RUNNING, percent),
        "T [StatusUpdate_CB] : Exiting\n",
    ]


def programmed(
    job: Job,
    percents: Sequence[int] = NORMAL_COURSE,
    codes: tuple[int, int, int] = (0, 0, 0),
) -> Lines:
    """The library's whole run; the port is closed next. `codes`: i2cdriver, dup, upd."""
    return [
        *begun(job),
        *progress(job, percents),
        f"call cpldfwupdate.finish() = {_record(codes)}",
        f"T {TAG} : CPLD update Finished.....\n",
    ]


def succeeded(job: Job) -> Lines:
    """What follows the closing of the port after a good run."""
    node = split_fqdd(job.fqdd)[0].node
    return [
        f"call cpldfwupdate.get_error_code() = {_record((0, 0, 0))}",
        f"E {TAG} : No Error codes received from CPLD library. Successfully updated {node}\n",
        *reports.sent(job, reports.SUCCEEDED, 100),
        "call cpldfwupdate.destroy()",
    ]


def failed(job: Job, codes: tuple[int, int, int]) -> Lines:
    """What follows the closing of the port after a run with error codes."""
    i2cdriver, dup, upd = codes
    return [
        f"call cpldfwupdate.get_error_code() = {_record(codes)}",
        f"E {TAG} : ***Error codes*** received from CPLD library: "
        f"upd:{upd} dup:{dup} i2cdriver:{i2cdriver}\n",
        *given_up(job),
        "call cpldfwupdate.destroy()",
    ]


def given_up(job: Job) -> Lines:
    """A failure told to the log and to the coordinator."""
    node = split_fqdd(job.fqdd)[0].node
    return [
        f"E {TAG} : Failed to update {node}, Exiting\n",
        *reports.sent(job, reports.FAILED),
    ]


def threw(text: str) -> Lines:
    """An exception left the library."""
    return [
        f"call cpldfwupdate.throw({text})",
        f"E {TAG} : Exception: {text}\n",
    ]


def broken(job: Job) -> Lines:
    """The library throws before it does anything, see `jobs.break_library`."""
    return [*begun(job), *threw("no clock")]


def port_not_closed(job: Job) -> Lines:
    """The port's closing failed; the outcome does not hang on it."""
    return [f"E {TAG} : Failed to disable HARDIP on {split_fqdd(job.fqdd)[0].node}\n"]


def _record(codes: tuple[int, int, int]) -> dict[str, int]:
    return dict(zip(("i2cdriver", "dup", "upd"), codes))
