"""The registration of the CPLDs with the coordinator, as its thread logs it."""

from __future__ import annotations

from tavrinsim.names import FLOP, PBB, PDB, Kind

from .reports import Lines

TAG = "[cpld_update_register_handler]"

# What the thread subscribes to; on one line, so that grep finds it.
# fmt: off
REGISTRATION_RULE = "type='signal',interface='com.vexa.bevon.cmnfwupd.fw_management',member='cmnupdateregsignal',path='/com/vexa/bevon/cmnfwupd'"
# fmt: on

# A board with 2 PBB, 1 PDB and 1 FLOP, in the order of registration.
ALL = [(PBB, 1), (PBB, 2), (PDB, 1), (FLOP, 1)]


def listening() -> Lines:
    """The thread is there, and hears the coordinator's signal."""
    return [
        "T [regSignalThreadHandler] Opening system bus\n",
        "T [regSignalThreadHandler]: System bus opened successfully\n",
        "T [regSignalThreadHandler]: Subscribed to dbus signal successfully\n",
    ]


def asked_again() -> Lines:
    """The coordinator's signal came."""
    return ["T [CmnUpdateRegSignalHandler]: Received signal and re-registering all CPLDs\n"]


def calling(kind: Kind, number: int) -> str:
    """The line before a call."""
    path = kind.object_path(number)
    return f"T {TAG}: Method Call to RE-Update for {kind.node} Obj_path={path}\n"


def registered(kind: Kind, number: int) -> Lines:
    """A call that succeeded; `N` stands for the milliseconds it took."""
    done = f"Registration successful for {kind.node}. rc=1, completed in N ms"
    return [calling(kind, number), f"T {TAG}: {done}\n"]


def failed(kind: Kind, number: int, code: int, name: str, text: str) -> Lines:
    """A call that failed; the last line has no end."""
    path = kind.object_path(number)
    return [
        calling(kind, number),
        f"E {TAG}: Registration Method call failed, rc={code} for {kind.node}\n",
        f"E {TAG}:obj_path={path} DBusError={name} ({text})",
    ]


def whole_pass(*without: Kind) -> Lines:
    """A pass in which every call succeeded."""
    kinds = [entry for entry in ALL if entry[0] not in without]
    return [line for entry in kinds for line in registered(*entry)]


def failed_pass(code: int, name: str, text: str, good: int = 0) -> Lines:
    """A pass whose call number `good` was the first to fail: none is made after it."""
    refused = -22
    lines = [line for entry in ALL[:good] for line in registered(*entry)]
    codes = [code] + [refused] * (len(ALL) - good - 1)
    for (kind, number), rc in zip(ALL[good:], codes):
        lines += failed(kind, number, rc, name, text)
    return lines
