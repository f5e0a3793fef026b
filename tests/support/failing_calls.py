"""The library `failing_calls` in a running service: which call is to fail, what memory is held."""

from __future__ import annotations

import mmap
import struct
from dataclasses import dataclass
from enum import IntEnum
from pathlib import Path

# Layout as in tests/system/doubles/failing_calls.cpp: numbers of 64 bits, around a name.
(
    _ARMED,
    _SCOPE,
    _NUMBER,
    _EFFECT,
    _FOR_GOOD,
    _COUNT,
    _FAILED,
    _BLOCKS,
    _WAITS,
    _PLACE,
    _CALL,
) = range(0, 88, 8)
_CALL_SIZE = 64
_BYTES = _CALL + _CALL_SIZE
_TRIM = _BYTES + 8
_SIZE = _TRIM + 8

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


class FailingCalls:
    """Steers the library in one service, which gets the file's path as $FAILING_CALLS."""

    def __init__(self, path: Path) -> None:
        self.path = path
        path.write_bytes(bytes(_SIZE))
        with open(path, "r+b") as file:
            self._map = mmap.mmap(file.fileno(), _SIZE)

    def environment(self) -> dict[str, str]:
        """What the service gets to find the file."""
        return {"FAILING_CALLS": str(self.path)}

    def arm(self, failure: Failure, number: int) -> None:
        """Makes the `number`-th call from now on fail, counted from 1; 0 only counts."""
        self.disarm()
        self._map[_PLACE:_BYTES] = bytes(_BYTES - _PLACE)
        for place, value in (
            (_SCOPE, failure.scope),
            (_NUMBER, number),
            (_EFFECT, failure.effect),
            (_FOR_GOOD, failure.for_good),
            (_COUNT, 0),
            (_FAILED, 0),
            (_ARMED, failure.which),  # last: from here on the service looks
        ):
            self._set(place, value)

    def disarm(self) -> None:
        """Lets every call be as it is; the counters stay."""
        self._set(_ARMED, 0)

    @property
    def count(self) -> int:
        """Calls of the class since it was armed."""
        return self._get(_COUNT)

    @property
    def failed(self) -> int:
        """How many of them were made to fail."""
        return self._get(_FAILED)

    @property
    def call(self) -> str:
        """Name of the first that was made to fail."""
        return bytes(self._map[_CALL:_BYTES]).split(b"\0")[0].decode()

    @property
    def place(self) -> int:
        """Where in the executable it was called from, as `addr2line` takes it."""
        return self._get(_PLACE)

    @property
    def blocks(self) -> int:
        """Blocks of memory that the process holds."""
        return self._get(_BLOCKS)

    @property
    def size(self) -> int:
        """Bytes in these blocks, as the allocator hands them out."""
        return self._get(_BYTES)

    @property
    def waits(self) -> int:
        """How often the service has begun to wait for the signal that asks for registrations."""
        return self._get(_WAITS)

    @property
    def trimming(self) -> bool:
        """Whether a wish to trim is still to be fulfilled."""
        return self._get(_TRIM) != 0

    def trim(self) -> None:
        """Has the C library give unused memory back when the service next begins to wait."""
        self._set(_TRIM, 1)

    def start_anew(self) -> None:
        """For a service that has just ended: the next one holds nothing."""
        self._set(_BLOCKS, 0)
        self._set(_BYTES, 0)
        self._set(_WAITS, 0)

    def _get(self, place: int) -> int:
        (value,) = struct.unpack_from("=q", self._map, place)
        return int(value)

    def _set(self, place: int, value: int) -> None:
        struct.pack_into("=q", self._map, place, value)
