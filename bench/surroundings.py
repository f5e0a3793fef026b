"""What was measured where: without it, a figure says nothing to anybody else."""

from __future__ import annotations

import os
import platform
import re
import subprocess
from pathlib import Path

PACKAGES = ("libc6", "libssl3", "libstdc++6", "libsystemd0")


def surroundings() -> dict[str, str]:
    """The machine, the versions of the libraries that most of the work is done by, the commit."""
    described = {
        "processor": f"{os.cpu_count()} x {_processor()}",
        "kernel": platform.release(),
        "distribution": platform.freedesktop_os_release()["PRETTY_NAME"],
        "commit": _output(
            "git", "-C", str(Path(__file__).parent), "describe", "--always", "--dirty"
        ),
    }
    # Another architecture's version may be installed beside it.
    versions = {
        name: _output("dpkg-query", "--show", "--showformat=${Version}\\n", name).split()[0]
        for name in PACKAGES
    }
    return described | versions


def _processor() -> str:
    found = re.search(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(), re.M)
    return found[1] if found else platform.machine()


def _output(*words: str) -> str:
    done = subprocess.run(words, text=True, capture_output=True, check=False)
    return done.stdout.strip() or "unknown"
