"""Configuring the project in a folder of one's own."""

from __future__ import annotations

import json
import os
import subprocess
from configparser import ConfigParser
from dataclasses import dataclass
from pathlib import Path

from executable import Executable

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
