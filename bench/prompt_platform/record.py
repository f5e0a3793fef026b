"""What the platform that takes no time keeps of a run (record.cpp), read back."""

from __future__ import annotations

import struct
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

CAPACITY = 65535
HEADER = struct.Struct("<QQq104x")
MOMENT = struct.Struct("<qq112s")


@dataclass(frozen=True)
class Moment:
    """One moment: the monotonic clock in nanoseconds, the thread, and what happened."""

    time: int
    thread: int
    text: str


class Record:
    """The record of one process. It is empty when it is made."""

    def __init__(self, file: Path) -> None:
        self.file = file
        with file.open("wb") as empty:
            empty.truncate(HEADER.size + CAPACITY * MOMENT.size)

    @property
    def variables(self) -> dict[str, str]:
        """What makes a process keep this record."""
        return {"BENCH_RECORD": str(self.file)}

    @property
    def transfers(self) -> tuple[int, int]:
        """The bits of all transfers, and the nanoseconds that they took."""
        return self._header()[1:]

    def moments(self, start: int = 0) -> list[Moment]:
        """All moments from `start` on, in order. Only while no thread writes one."""
        return list(self._read(start, self.count))

    @property
    def count(self) -> int:
        """How many moments there are."""
        count = self._header()[0]
        if count >= CAPACITY:
            raise RuntimeError(f"more happened than {self.file} can hold")
        return count

    def _header(self) -> tuple[int, int, int]:
        with self.file.open("rb") as file:
            count, bits, nanoseconds = HEADER.unpack(file.read(HEADER.size))
        return count, bits, nanoseconds

    def _read(self, start: int, end: int) -> Iterator[Moment]:
        with self.file.open("rb") as file:
            file.seek(HEADER.size + start * MOMENT.size)
            contents = file.read((end - start) * MOMENT.size)
        for time, thread, text in MOMENT.iter_unpack(contents):
            yield Moment(time, thread, text.split(b"\0")[0].decode(errors="replace"))
