"""Configuring the project in a folder of one's own, and the file that it makes."""

from __future__ import annotations

import json
import os
import re
import subprocess
from configparser import ConfigParser
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


ROOT = Path(__file__).resolve().parents[2]


@dataclass(frozen=True)
class Build:
    """A build folder that is still to be configured, and one more place for the linker to look.

    `cross_file` says for which machine, where it is not for this one.
    """

    folder: Path
    libraries: Path
    cross_file: Path | None

    def configure(self, *options: str) -> subprocess.CompletedProcess[str]:
        """Configures it with the options, or fails to."""
        search = f"-Dcpp_link_args=-L{self.libraries}"
        words = ["meson", "setup", str(self.folder), str(ROOT), "-Dtests=false", search]
        cross = ["--cross-file", str(self.cross_file)] if self.cross_file else []
        return subprocess.run([*words, *cross, *options], text=True, capture_output=True)

    def command_of(self, source: str) -> str:
        """The command that compiles a source of the project."""
        commands = json.loads((self.folder / "compile_commands.json").read_text())
        (command,) = [each["command"] for each in commands if each["file"].endswith(f"/{source}")]
        return command

    def make_service(self, *, from_the_start: bool = False) -> Executable:
        """Compiles the service over the simulated platform, as an image has it over its own."""
        done = self.configure("-Dplatform=real", "-Dplatform_libs=simplatform")
        assert done.returncode == 0, done.stdout
        environment = {**os.environ, **({"CCACHE_DISABLE": "1"} if from_the_start else {})}
        words = ["ninja", "-C", str(self.folder), "tavrinupdate"]
        made = subprocess.run(words, env=environment, text=True, capture_output=True)
        assert made.returncode == 0, made.stdout
        return Executable(self.folder, compiler(self.cross_file))


def compiler(cross_file: Path | None) -> str:
    """What compiles for the machine of the build."""
    if cross_file is None:
        return "g++"
    described = ConfigParser()
    described.read(cross_file)
    return described["binaries"]["cpp"].strip("'")
