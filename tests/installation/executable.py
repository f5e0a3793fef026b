"""The service's file as the loader sees it: what `readelf` and `objdump` tell of it."""

from __future__ import annotations

import re
import subprocess
from dataclasses import dataclass
from pathlib import Path

# What a function that may be called through a pointer begins with, and the mark of an object whose
# functions all do.
LANDING_PADS = {"X86-64": ("endbr64",), "AArch64": ("paciasp", "bti")}
PROTECTED = {"X86-64": "x86 feature: IBT, SHSTK", "AArch64": "AArch64 feature: BTI, PAC"}


@dataclass(frozen=True)
class Symbol:
    """A name that the loader knows."""

    name: str
    kind: str
    binding: str
    is_defined: bool


@dataclass(frozen=True)
class Executable:
    """The service in a build folder, and the compiler for the machine that it is for."""

    folder: Path
    compiler: str

    @property
    def path(self) -> Path:
        """Where it is."""
        return self.folder / "tavrinupdate"

    @property
    def machine(self) -> str:
        """What it runs on: "X86-64", "AArch64" or another one."""
        (found,) = re.findall(r"Machine: +(?:.* )?(\S+)$", self.told("-h"), re.MULTILINE)
        return found

    def told(self, *options: str, of: Path | None = None) -> str:
        """What `readelf` tells of it, or of another file of the build."""
        return self._tool("readelf", "--wide", *options, str(of or self.path))

    def segments(self, kind: str) -> list[str]:
        """The rights of its segments of a kind: of "R", "W" and "E" those that are given."""
        row = rf"^ +{kind} +(?:0x\w+ +){{5}}([RWE ]+?) +0x"
        found = re.findall(row, self.told("-l"), re.MULTILINE)
        return [rights.replace(" ", "") for rights in found]

    def symbols(self) -> list[Symbol]:
        """The names that it takes from libraries, and those that it offers to them."""
        rows = [line.split() for line in self.told("--dyn-syms").splitlines()]
        return [
            Symbol(row[7].partition("@")[0], row[3], row[4], row[6] != "UND")
            for row in rows
            if len(row) > 7 and row[0][:-1].isdigit()
        ]

    def wanted(self) -> set[str]:
        """The names that it takes from libraries."""
        return {symbol.name for symbol in self.symbols() if not symbol.is_defined}

    def first_instruction(self, function: str) -> str:
        """What a function begins with."""
        options = (f"--disassemble={function}", "--no-show-raw-insn")
        shown = self._tool("objdump", *options, str(self.path))
        return re.findall(rf"<{function}>:\n +\w+:\s+(\w+)", shown)[0]

    def unprotected_objects(self) -> list[Path]:
        """The objects of the build without the mark of control-flow protection."""
        mark = PROTECTED[self.machine]
        objects = sorted(self.folder.rglob("*.o"))
        assert objects, "nothing was compiled"
        return [path for path in objects if mark not in self.told("-n", of=path)]

    def _tool(self, name: str, *words: str) -> str:
        ask = [self.compiler, f"-print-prog-name={name}"]
        program = subprocess.run(ask, text=True, capture_output=True, check=True).stdout.strip()
        return subprocess.run([program, *words], text=True, capture_output=True, check=True).stdout
