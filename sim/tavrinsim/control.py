"""The control file: numbers that Python and the libraries change while the world runs."""

from __future__ import annotations

import mmap
import struct
from pathlib import Path

COUNTERS = 65536
FIRST_COUNTER = 8
SIZE = (FIRST_COUNTER + COUNTERS) * 8
GENERATION = 0
HOLD_LINE = 1


class Control:
    """Maps the control file of a board, which is created on first use."""

    def __init__(self, path: Path) -> None:
        with open(path, "ab") as file:
            file.truncate(SIZE)
        with open(path, "r+b") as file:
            self._map = mmap.mmap(file.fileno(), SIZE)

    def close(self) -> None:
        """Lets go of the file, which stays as it is."""
        self._map.close()

    def number(self, index: int) -> int:
        """One 64-bit number."""
        (number,) = struct.unpack_from("=Q", self._map, index * 8)
        return int(number)

    def set_number(self, index: int, value: int) -> None:
        """Changes one number; a single aligned store, which no reader sees half done."""
        struct.pack_into("=Q", self._map, index * 8, value)

    def hits(self, fault_id: int) -> int:
        """How many events the fault has counted."""
        return self.number(FIRST_COUNTER + fault_id)
