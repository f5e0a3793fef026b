"""One simulated CPLD as Python sees it: registers, version, programming port, image."""

from __future__ import annotations

import fcntl
import mmap
import os
import struct
from collections.abc import Iterator
from contextlib import contextmanager
from functools import cached_property
from pathlib import Path
from typing import TYPE_CHECKING, BinaryIO

from .image import KIND_CODES, Version, version_of
from .names import Kind

if TYPE_CHECKING:
    from .board import Board

I2C_ADDRESS = 0x63

# Layout of the state file, shared with board/device_state.hpp.
STATE_MAGIC = b"SIMDEV1\0"
REGISTERS = slice(8, 264)
IMAGE_STATE, PROGRAMMED, LOADS = 264, 268, 272
MEMORY = slice(512, 512 + 65536)

STATE_BYTE, RUN_BYTE = 0, 1
IMAGE_STATES = ("valid", "writing", "interrupted", "complete")

_FLOCK = struct.Struct("hhqqi4x")


class Device:
    """Reads and changes the device's own state, whatever the service does meanwhile."""

    def __init__(self, path: Path, kind: Kind, index: int, board: "Board") -> None:
        self.kind = kind
        self.index = index
        self.name = f"{kind.node}[{index}]"
        self.fqdd = kind.fqdd(index + 1)
        self.path = f"/dev/i2c-sim-{kind.name}{index}"
        self.state_file = path
        self._board = board
        if not path.exists():
            path.write_bytes(STATE_MAGIC + bytes(MEMORY.stop - len(STATE_MAGIC)))

    # Opened where it is looked at: a board of hundreds would take all the descriptors there are.

    @cached_property
    def _file(self) -> BinaryIO:
        return self.state_file.open("r+b")

    @cached_property
    def _map(self) -> mmap.mmap:
        return mmap.mmap(self._file.fileno(), MEMORY.stop)

    @cached_property
    def _registers(self) -> memoryview:
        return memoryview(self._map)[REGISTERS]

    def close(self) -> None:
        """Lets go of the state file, which stays as it is, until the next look at it."""
        if "_registers" in self.__dict__:
            self.__dict__.pop("_registers").release()
        for name in ("_map", "_file"):
            if name in self.__dict__:
                self.__dict__.pop(name).close()

    def reset(self, version: str | Version) -> None:
        """Brings the device into the state in which a board leaves the factory."""
        with self._locked():
            self._map[REGISTERS] = bytes(256)
            self._map[IMAGE_STATE : MEMORY.start] = bytes(MEMORY.start - IMAGE_STATE)
            self._map[MEMORY] = b"\xff" * 65536
        self.version = ".".join(map(str, version_of(version)))
        self.port_open = False

    @property
    def registers(self) -> memoryview:
        """All 256 registers; reading and assigning work at once."""
        return self._registers

    @property
    def version(self) -> str:
        """The version that the version registers show."""
        first, second = self._registers[self._version_register :][:2]
        if self.kind.name == "flop":
            return f"{second >> 4}.{first >> 4}.{first & 15}"
        return f"{first & 15}.{first >> 4}.{second & 15}"

    @version.setter
    def version(self, text: str) -> None:
        major, minor, maintenance = version_of(text)
        at = self._version_register
        with self._locked():
            if self.kind.name == "flop":
                self._registers[at] = minor << 4 | maintenance
                self._registers[at + 1] = major << 4 | self._registers[at + 1] & 15
            else:
                self._registers[at] = minor << 4 | major
                self._registers[at + 1] = self._registers[at + 1] & 0xF0 | maintenance

    @property
    def port_register(self) -> int:
        """Number of the register that opens and closes the programming port."""
        if self.kind.name != "flop":
            return 0x04
        major, minor, maintenance = version_of(self.version)
        is_old = (major, minor) == (0, 0) and maintenance <= 5
        return 0x03 if is_old and self._board.platform_id in (4, 5) else 0x08

    @property
    def port_open(self) -> bool:
        """Whether the programming port is open (PBB and PDB: unlocked, FLOP: enabled)."""
        bit = bool(self._registers[self.port_register] & 1)
        return bit if self.kind.name == "flop" else not bit

    @port_open.setter
    def port_open(self, is_open: bool) -> None:
        bit = is_open if self.kind.name == "flop" else not is_open
        register = self.port_register
        self._registers[register] = self._registers[register] & 0xFE | bit

    @property
    def image_state(self) -> str:
        """ "valid", "writing", "complete" (loaded once the port closes) or "interrupted".

        A run that was killed leaves "interrupted" behind: its lock went with its process.
        """
        state = IMAGE_STATES[self._number(IMAGE_STATE)]
        if state == "writing" and not self._is_run_alive():
            return "interrupted"
        return state

    @property
    def programmed_bytes(self) -> int:
        """Bytes that the present or last programming run wrote."""
        return self._number(PROGRAMMED)

    @property
    def loads(self) -> int:
        """How often the device loaded a new image."""
        return self._number(LOADS)

    @property
    def memory(self) -> bytes:
        """The configuration memory; what was never written reads as 0xff."""
        return bytes(self._map[MEMORY])

    def describe(self) -> dict[str, object]:
        """The device's entry in the board description."""
        return {
            "name": self.name,
            "component": self.kind.node,
            "index": self.index,
            "kind": KIND_CODES[self.kind.name],
            "path": self.path,
            "state": self.state_file.name,
            "address": I2C_ADDRESS,
        }

    @property
    def _version_register(self) -> int:
        return 0x0C if self.kind.name == "flop" else 0x00

    def _number(self, offset: int) -> int:
        (number,) = struct.unpack_from("=I", self._map, offset)
        return int(number)

    def _is_run_alive(self) -> bool:
        query = _FLOCK.pack(fcntl.F_WRLCK, os.SEEK_SET, RUN_BYTE, 1, 0)
        answer = fcntl.fcntl(self._file.fileno(), fcntl.F_OFD_GETLK, query)
        return bool(_FLOCK.unpack(answer)[0] != fcntl.F_UNLCK)

    @contextmanager
    def _locked(self) -> Iterator[None]:
        lock = _FLOCK.pack(fcntl.F_WRLCK, os.SEEK_SET, STATE_BYTE, 1, 0)
        unlock = _FLOCK.pack(fcntl.F_UNLCK, os.SEEK_SET, STATE_BYTE, 1, 0)
        fcntl.fcntl(self._file.fileno(), fcntl.F_OFD_SETLKW, lock)
        try:
            yield
        finally:
            fcntl.fcntl(self._file.fileno(), fcntl.F_OFD_SETLK, unlock)
