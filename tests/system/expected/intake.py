"""A job on its way in, up to the opening of the programming port."""

from __future__ import annotations

from pathlib import Path

from tavrinsim.coordinator import Job
from tavrinsim.names import KINDS, split_fqdd

from . import reports
from .reports import Lines

FLOP, PBB, PDB = 112102, 114678, 114747
NAMES = {kind.component_id: kind.name for kind in KINDS.values()}

# Key files by what the header asks for; PBB and PDB share theirs.
I2CPLD_KEYS = {
    "xrev": "/etc/shared_keys/i2cpld/K4/xrev.pub",
    "arev": "/etc/shared_keys/i2cpld/K4/arev.pub",
    "default": "/etc/shared_keys/i2cpld/K4/default.pub",
}
FLOP_KEYS = {
    "xrev": "/etc/shared_keys/flop/K4/Xrev/flop.pub",
    "arev": "/etc/shared_keys/flop/K4/Arev/flop.pub",
    "default": "/etc/shared_keys/flop/K4/flop.pub",
}


def component_of(job: Job) -> int:
    """The number that the coordinator wrote."""
    return int(job.properties()["Component_id"].value)


def entered() -> Lines:
    """A call came in."""
    return ["T Entering flop_update_handler\n"]


def taken(job: Job) -> Lines:
    """A call came in and its job was read."""
    component = component_of(job)
    return [
        *entered(),
        f"T PayloadPath - {job.directory}",
        "T  CPLD Update Request Data\n",
        f"T  Job ID {job.job_id}",
        f"T  Transaction ID {job.transaction}",
        f"T  FQDD {job.fqdd}",
        f"T  Comp ID {component}",
        f"T Transaction ID {job.transaction}\n",
        f"T [TavrinUpdateStart] : CompID: {component}, PayloadPath: {job.directory}, "
        f"fqdd: {job.fqdd}\n",
    ]


def device_found(job: Job, count: int) -> Lines:
    """The job's device exists."""
    node = split_fqdd(job.fqdd)[0].node
    return [*taken(job), f"T [TavrinUpdateStart]:count={count} str= device_name={node}"]


def payload_found(job: Job, count: int, name: str = "firmware.payload") -> Lines:
    """The job's directory holds a payload; its signature is going to be checked."""
    index = split_fqdd(job.fqdd)[1] - 1
    return [
        *device_found(job, count),
        "T [TavrinUpdateStart] : Proceeding update with file type is: payload "
        f"and device_index={index}\n",
        f"T [verifySignature] : PayloadPath: {Path(job.directory) / name}\n",
    ]


def key_chosen(component: int, revision: str = "default") -> Lines:
    """The header asked for one of the component's keys."""
    name = NAMES[component]
    key = f"default {name}" if revision == "default" else f"{name} {revision}"
    return [
        f"T [pub_key_setter] : Processing {name.upper()} component\n",
        f"T [pub_key_setter] : Processing {key} public key\n",
        f"T [pub_key_setter] : Selected public key file: {key_path(component, revision)}\n",
    ]


def key_path(component: int, revision: str = "default") -> str:
    """The file of a public key."""
    return (FLOP_KEYS if component == FLOP else I2CPLD_KEYS)[revision]


def payload_verified(
    job: Job, count: int, revision: str = "default", name: str = "firmware.payload"
) -> Lines:
    """The payload's signature is good."""
    return [
        *payload_found(job, count, name),
        *key_chosen(component_of(job), revision),
        "T [verifySignature] : Signature verification is successful\n",
    ]


def started(job: Job, count: int, revision: str = "default") -> Lines:
    """All checks passed; the port is opened next."""
    node = split_fqdd(job.fqdd)[0].node
    return [
        *payload_verified(job, count, revision),
        *reports.sent(job, reports.RUNNING),
        f"T [TavrinUpdateStart] : Starting update on {node} with Current CPLD Version: \n",
    ]


def refused(job: Job, message: str) -> Lines:
    """A refusal that the coordinator hears of."""
    return [f"E {message}\n", *reports.sent(job, reports.FAILED)]


def port_not_opened(job: Job) -> Lines:
    """The end of a job whose port does not open."""
    node = split_fqdd(job.fqdd)[0].node
    return refused(
        job, f"[TavrinUpdateStart] : Unable to start update. Failed to enable HARDIP on {node}"
    )


def worker_started(job: Job) -> Lines:
    """The main thread's last lines about a job."""
    node = split_fqdd(job.fqdd)[0].node
    return [
        f"T [TavrinUpdateStart] : HARDIP enabled on {node}\n",
        "T [TavrinUpdateStart] : Thread created for update\n",
    ]
