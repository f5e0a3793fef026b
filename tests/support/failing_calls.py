"""The library `failing_calls` in a running service: which call is to fail, what memory is held."""

from __future__ import annotations

import ctypes
import mmap
from dataclasses import dataclass
from enum import IntEnum
from pathlib import Path

# Effects that are no error numbers.
HALF = -1
END = -2


class CallClass(IntEnum):
    """The classes of calls that the library can make fail."""

    MEMORY = 1
    FILES = 2
    BUS = 3
    SOCKETS = 4
    SYSTEM = 5


class Scope(IntEnum):
    """Whose calls count."""

    ALL = 0
    MAIN = 1
    OTHERS = 2


@dataclass(frozen=True)
class Failure:
    """Calls that fail: how, of whom, and whether all later ones do too."""

    which: CallClass
    scope: Scope
    effect: int
    for_good: bool = False


class Control(ctypes.Structure):
    """What the library and the test tell each other; laid out as in the library's `Control`.

    `count` are the calls of the class since it was armed, `failed` those that were made to fail,
    `call` the name of the first of them and `place` where in the executable it was called from, as
    `addr2line` takes it. `blocks` and `bytes` are the memory that the process holds, as the
    allocator hands it out. `waits` is how often the service has begun to wait for the signal that
    asks for registrations; with `trim` it has the C library give unused memory back the next time.
    """

    _fields_ = [
        *((name, ctypes.c_int64) for name in ("armed", "scope", "number", "effect", "for_good")),
        *((name, ctypes.c_int64) for name in ("count", "failed", "blocks", "waits", "place")),
        ("call", ctypes.c_char * 64),
        *((name, ctypes.c_int64) for name in ("bytes", "trim")),
    ]


class FailingCalls:
    """Steers the library in one service, which gets the file's path as $FAILING_CALLS."""

    def __init__(self, path: Path) -> None:
        self.path = path
        path.write_bytes(bytes(ctypes.sizeof(Control)))
        with open(path, "r+b") as file:
            self.now = Control.from_buffer(mmap.mmap(file.fileno(), ctypes.sizeof(Control)))

    def environment(self) -> dict[str, str]:
        """What the service gets to find the file."""
        return {"FAILING_CALLS": str(self.path)}

    def arm(self, failure: Failure, number: int) -> None:
        """Makes the `number`-th call from now on fail, counted from 1; 0 only counts."""
        self.disarm()
        now = self.now
        now.place, now.call, now.count, now.failed = 0, b"", 0, 0
        now.scope, now.number, now.effect = failure.scope, number, failure.effect
        now.for_good = failure.for_good
        now.armed = failure.which  # last: from here on the service looks

    def disarm(self) -> None:
        """Lets every call be as it is; the counters stay."""
        self.now.armed = 0

    def start_anew(self) -> None:
        """For a service that has just ended: the next one holds nothing."""
        self.now.blocks, self.now.bytes, self.now.waits = 0, 0, 0
