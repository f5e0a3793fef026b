"""All faults of the sweep, by the class of operations that they strike."""

from __future__ import annotations

from collections.abc import Iterator
from errno import (
    EACCES,
    EAGAIN,
    ECONNREFUSED,
    ECONNRESET,
    EIO,
    EMFILE,
    ENOENT,
    ENOMEM,
    ENOSPC,
    ENXIO,
    EREMOTEIO,
    ETIMEDOUT,
    errorcode,
)
from typing import Any

from support.failing_calls import END, HALF, CallClass, Failure, Scope
from tavrinsim.answers import Departure, Failure as ErrorReply, Silence

from .faults import AnswerFault, BoardFault, CallFault, Fault, ProgrammingFault

TRANSFER_ERRORS = (EIO, ENXIO, EREMOTEIO, ETIMEDOUT, EAGAIN)
FILE_EFFECTS = (ENOENT, EACCES, EIO, ENOSPC, EMFILE, HALF, END)
BUS_ERRORS = (ENOMEM,)
SOCKET_EFFECTS = (ECONNREFUSED, ECONNRESET, END)
SYSTEM_ERRORS = (EAGAIN, EMFILE)

# What a call of the platform's libraries does instead of its work, and where. A parser that counts
# more devices than it lists is none of them: the service has to abort over it.
PLATFORM_EFFECTS: tuple[tuple[str, str, dict[str, Any]], ...] = (
    ("the parser fails", "sysinfo", {"status": 22}),
    ("no hold line", "hal_config", {"null": True}),
    (
        "a callback of the hold line stays",
        "hal_config",
        {"interrupt": True, "unregister_status": 3},
    ),
    ("the hold line is not written", "hal_write", {"status": -5, "errno": EIO}),
    ("no versions in the inventory", "sipl_versions", {"status": -4}),
    ("a version that has changed", "sipl_changed", {"changed": True, "change_value": 7}),
    ("no memory in the inventory", "sm_alloc", {"null": True}),
    ("programming throws at once", "programming", {"throw_at_once": True}),
)

# How long a fault lasts. Three times is what all attempts of one transfer take.
TIMES = {"once": 1, "three times": 3, "for good": None}

_EFFECT_NAMES = {HALF: "half a transfer", END: "end of file"}
_SCOPE_NAMES = {Scope.MAIN: "main thread", Scope.OTHERS: "other threads"}


def i2c() -> Iterator[Fault]:
    """Opening an I2C device, and every transfer."""
    for at in ("open", "transfer"):
        for error in TRANSFER_ERRORS:
            for words, times in TIMES.items():
                if at == "transfer" or words != "three times":
                    name = f"{at} {errorcode[error]} {words}"
                    yield BoardFault("i2c", name, at, {"errno": error}, times)


def platform() -> Iterator[Fault]:
    """The calls of the platform's libraries."""
    for name, at, effect in PLATFORM_EFFECTS:
        for words in ("once", "for good"):
            yield BoardFault("platform", f"{name} {words}", at, effect, TIMES[words])
    yield ProgrammingFault("platform", "programming throws", "throw_at")
    yield ProgrammingFault("platform", "programming ends with codes", "fail_at", (1, 2, 3))


def answers() -> Iterator[Fault]:
    """What the neighbours on the bus answer."""
    for words, for_good in (("once", False), ("for good", True)):
        yield AnswerFault("answers", f"error reply {words}", _error_reply, for_good)
        yield AnswerFault("answers", f"no reply {words}", Silence, for_good)
    yield AnswerFault("answers", "gone from the bus", Departure)


def files() -> Iterator[Fault]:
    """What is done to payloads, key files and the log file."""
    return _calls("files", CallClass.FILES, FILE_EFFECTS)


def bus() -> Iterator[Fault]:
    """The service's own calls of the bus library."""
    return _calls("bus", CallClass.BUS, BUS_ERRORS)


def sockets() -> Iterator[Fault]:
    """What the bus library does to reach the bus."""
    return _calls("sockets", CallClass.SOCKETS, SOCKET_EFFECTS)


def system() -> Iterator[Fault]:
    """Threads, event descriptors, the event loop's instance."""
    return _calls("system", CallClass.SYSTEM, SYSTEM_ERRORS, (False,))


def memory() -> Iterator[Fault]:
    """Every allocation."""
    for scope, words in _SCOPE_NAMES.items():
        yield CallFault(
            "memory", f"none once, {words}", Failure(CallClass.MEMORY, scope, ENOMEM)
        )


# The order in which they run: the quickest first.
GROUPS = {
    group.__name__: group
    for group in (i2c, platform, system, bus, sockets, files, memory, answers)
}


def faults(groups: list[str]) -> list[Fault]:
    """All faults of these classes."""
    return [fault for name in groups for fault in GROUPS[name]()]


def sample() -> list[Fault]:
    """A fault of each class, for a short run."""
    wanted = {
        "i2c": ("transfer EIO for good",),
        "platform": ("programming throws", "the parser fails once"),
        "system": ("EMFILE once, main thread",),
        "bus": ("ENOMEM once, main thread",),
        "sockets": ("ECONNREFUSED once, main thread",),
        "files": ("EIO once, main thread",),
        "memory": ("none once, main thread", "none once, other threads"),
        "answers": ("error reply once",),
    }
    return [fault for fault in faults(list(GROUPS)) if fault.name in wanted[fault.group]]


def _calls(
    group: str,
    which: CallClass,
    effects: tuple[int, ...],
    lasting: tuple[bool, ...] = (False, True),
) -> Iterator[Fault]:
    for scope, whose in _SCOPE_NAMES.items():
        for effect in effects:
            for for_good in lasting:
                what = _EFFECT_NAMES.get(effect) or errorcode[effect]
                name = f"{what} {'for good' if for_good else 'once'}, {whose}"
                yield CallFault(group, name, Failure(which, scope, effect, for_good))


def _error_reply() -> ErrorReply:
    return ErrorReply("org.example.Error.Broken", "out of order")
