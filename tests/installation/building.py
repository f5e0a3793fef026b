"""Configuring the project in a folder of one's own."""

from __future__ import annotations

import subprocess
from configparser import ConfigParser
from dataclasses import dataclass
from pathlib import Path

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


def compiler(cross_file: Path | None) -> str:
    """What compiles for the machine of the build."""
    if cross_file is None:
        return "g++"
    described = ConfigParser()
    described.read(cross_file)
    return described["binaries"]["cpp"].strip("'")
