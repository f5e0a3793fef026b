"""Configuring the project in a folder of one's own."""

from __future__ import annotations

import subprocess
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


@dataclass(frozen=True)
class Build:
    """A build folder that is still to be configured, and one more place for the linker to look."""

    folder: Path
    libraries: Path

    def configure(self, *options: str) -> subprocess.CompletedProcess[str]:
        """Configures it with the options, or fails to."""
        search = f"-Dcpp_link_args=-L{self.libraries}"
        words = ["meson", "setup", str(self.folder), str(ROOT), "-Dtests=false", search]
        return subprocess.run([*words, *options], text=True, capture_output=True)
