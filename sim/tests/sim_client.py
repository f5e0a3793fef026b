"""A small process on the board that makes the calls a service would make (client.cpp)."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

from tavrinsim.machine import emulator

SIM = Path(__file__).resolve().parents[1]
LIBRARIES = Path(os.environ.get("SIM_LIBDIR", SIM.parent / "build" / "sim"))
PROGRAM = LIBRARIES / "tests" / "sim-client"


class Client:
    """The client process; every method waits for its answer."""

    def __init__(self, environment: dict[str, str]) -> None:
        self.process = subprocess.Popen(
            [*emulator(PROGRAM), PROGRAM],
            env={**os.environ, **environment},
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )

    def send(self, *words: object) -> None:
        """Starts a call."""
        print(*words, file=self.process.stdin, flush=True)

    def answer(self) -> str:
        """What the call started last returned."""
        return self.process.stdout.readline().rstrip("\n")

    def call(self, *words: object) -> str:
        """Makes a call and returns what it returned."""
        self.send(*words)
        return self.answer()

    def kill(self) -> None:
        """Ends the process the hard way."""
        self.process.kill()
        self.process.wait()

    def finish(self) -> str:
        """Ends the process the friendly way and returns its standard error."""
        errors = self.process.communicate(timeout=10)[1]
        assert self.process.returncode == 0, errors
        return errors
