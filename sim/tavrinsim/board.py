"""The simulated board: its CPLDs, what the libraries say of it, and the control file they share."""

from __future__ import annotations

import json
import mmap
import os
import struct
import threading
from collections.abc import Mapping
from pathlib import Path
from typing import Any

from .device import Device
from .faults import NODE_TYPES, Faults
from .image import Version
from .names import KINDS, Kind, split_fqdd
from .trace import Trace

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


Versions = Mapping[str, "str | Version | list[str | Version]"]

# The libraries in the order in which they go in front of everything else.
LIBRARIES = ("libsimi2c.so", "libsimplatform.so")


class Board:
    """A board in a directory of its own. All of it may change while a service runs."""

    def __init__(
        self, directory: str | Path, counts: Mapping[str, int], platform_id: int
    ) -> None:
        self.directory = Path(directory).resolve()
        (self.directory / "gates").mkdir(parents=True)
        self.lock = threading.RLock()
        self._platform_id = platform_id
        self.trace = Trace(self.directory / "trace.jsonl")
        self.control = Control(self.directory / "control")
        self.faults = Faults(self)
        self._software: dict[str, dict[str, Any]] = {}
        self.devices = [
            Device(self.directory / f"{name}{index}.state", KINDS[name], index, self)
            for name in KINDS
            for index in range(counts[name])
        ]

    @classmethod
    def create(
        cls,
        directory: str | Path,
        pbb: int = 2,
        pdb: int = 1,
        flop: int = 1,
        platform_id: int = 6,
        versions: Versions | None = None,
    ) -> "Board":
        """A new board, in a directory that must not exist or be empty.

        `versions` holds, by "pbb", "pdb" and "flop", one version for all devices of the
        kind or a list of one for each; 1.0.0 where nothing is given.
        """
        board = cls(directory, {"pbb": pbb, "pdb": pdb, "flop": flop}, platform_id)
        for device in board.devices:
            device.reset(_version_for(device, versions or {}))
            device.close()
        board.control.set_number(HOLD_LINE, 1)
        board.write()
        return board

    def close(self) -> None:
        """Lets go of all files; the directory stays as it is."""
        for device in self.devices:
            device.close()
        self.control.close()
        self.trace.close()

    def device(self, kind: str | Kind, index: int = 0) -> Device:
        """The device of a kind ("pbb", "pdb", "flop"), counted from 0."""
        name = kind if isinstance(kind, str) else kind.name
        return next(d for d in self.devices if (d.kind.name, d.index) == (name, index))

    def device_of(self, fqdd: str) -> Device:
        """The device that a coordinator calls `fqdd`."""
        kind, number = split_fqdd(fqdd)
        return self.device(kind, number - 1)

    @property
    def platform_id(self) -> int:
        """The platform's number; on 4 and 5 old FLOP firmware has its port elsewhere."""
        return self._platform_id

    @platform_id.setter
    def platform_id(self, number: int) -> None:
        self._platform_id = number
        self.write()

    @property
    def hold_line(self) -> int:
        """The power-on hold line: 1 on a new board."""
        return self.control.number(HOLD_LINE)

    @hold_line.setter
    def hold_line(self, value: int) -> None:
        self.control.set_number(HOLD_LINE, value)

    def software(self, kind: Kind, **answers: str | bool | int) -> None:
        """What the software inventory knows of a kind.

        `current`, `previous` and `sha256` texts, `changed` and `change_value`; what is not
        given stays empty, false and 0.
        """
        self._software[str(kind.component_id)] = answers
        self.write()

    def environment(self, libraries: str | Path | None = None) -> dict[str, str]:
        """The variables that put a process onto this board.

        `libraries` is the folder of the two libraries; otherwise $SIM_LIBDIR, otherwise
        "build/sim" beside this package's folder.
        """
        default = Path(__file__).resolve().parents[2] / "build" / "sim"
        folder = Path(libraries or os.environ.get("SIM_LIBDIR") or default)
        paths = [folder / name for name in LIBRARIES]
        for path in paths:
            if not path.exists():
                raise FileNotFoundError(f"{path} is missing: build the project first")
        return {
            "SIM_BOARD": str(self.directory),
            "LD_PRELOAD": ":".join(map(str, paths)),
        }

    def write(self) -> None:
        """Puts the present description in force; called by everything that changes it."""
        with self.lock:
            draft = self.directory / "board.json.new"
            draft.write_text(json.dumps(self._describe(), ensure_ascii=False))
            draft.replace(self.directory / "board.json")
            generation = self.control.number(GENERATION)
            self.control.set_number(GENERATION, generation + 1)

    def _describe(self) -> dict[str, Any]:
        return {
            "platform_id": self.platform_id,
            "devices": [device.describe() for device in self.devices],
            "sysinfo": {
                str(code): {
                    "paths": [d.path for d in self.devices if d.kind.name == name]
                }
                for name, code in NODE_TYPES.items()
            },
            "software": self._software,
            "faults": self.faults.describe(),
        }


def _version_for(device: Device, versions: Versions) -> str | Version:
    given = versions.get(device.kind.name, "1.0.0")
    return given[device.index] if isinstance(given, list) else given
