"""The service's process inside the private view."""

from __future__ import annotations

import contextlib
import json
import os
import signal
import subprocess
import threading
from collections.abc import Mapping, Sequence
from concurrent.futures import Future
from pathlib import Path
from typing import IO

from .loop import LoopThread
from .view import View

LAUNCHER = Path(__file__).with_name("launch.py")


class ServiceError(RuntimeError):
    """The process could not be started or did not behave as asked."""


class ServiceProcess:
    """One run of a program in the view, from start to exit status.

    `pid` is the real one, `output` the file that holds its standard output and error.
    Started and waited for from any thread; it ends with the world at the latest.
    """

    def __init__(
        self,
        loop: LoopThread,
        view: View,
        argv: Sequence[str],
        environment: Mapping[str, str],
        output: Path,
    ) -> None:
        self.output = output
        self._status: Future[int] = Future()
        self._view = self._start(loop, view, argv, environment)
        assert self._view.stdout is not None
        self.pid = self._read_pid(self._view.stdout)
        self._handle = _process_handle(self.pid)
        threading.Thread(target=self._watch, args=[self._view.stdout], daemon=True).start()

    @property
    def running(self) -> bool:
        """Whether the process has not ended yet."""
        return not self._status.done()

    def send(self, number: int) -> None:
        """Sends a signal to the service itself; nothing happens after its end."""
        if self._handle is None or not self.running:
            return
        with contextlib.suppress(ProcessLookupError):  # it ended a moment ago
            signal.pidfd_send_signal(self._handle, number)

    def wait(self, timeout: float = 20) -> int:
        """Exit status, negative for a signal; ServiceError when it still runs."""
        try:
            return self._status.result(timeout)
        except TimeoutError:
            raise ServiceError(f"still running after {timeout} s") from None

    def end(self, number: int = signal.SIGTERM, timeout: float = 20) -> int:
        """Sends a signal and waits for the end."""
        self.send(number)
        return self.wait(timeout)

    def abandon(self) -> None:
        """Kills whatever is left, and returns when it is gone; safe after the end."""
        self.end(signal.SIGKILL)
        if self._handle is not None:
            os.close(self._handle)
            self._handle = None

    def _start(
        self,
        loop: LoopThread,
        view: View,
        argv: Sequence[str],
        environment: Mapping[str, str],
    ) -> subprocess.Popen[str]:
        order = json.dumps({"argv": list(argv), "environment": dict(environment)})
        command = view.command(["/usr/bin/python3", "-IS", str(LAUNCHER), order])
        with self.output.open("ab") as output:
            return loop.call(
                lambda: subprocess.Popen(
                    ["setpriv", "--pdeathsig", "KILL", *command],
                    env=view.environment(),
                    stdin=subprocess.DEVNULL,
                    stdout=subprocess.PIPE,
                    stderr=output,
                    text=True,
                    start_new_session=True,  # a Ctrl-C is for the console alone
                )
            )

    def _read_pid(self, report: IO[str]) -> int:
        line = report.readline()
        if not line:
            raise ServiceError(f"not started: {self.output.read_text(errors='replace')}")
        return int(json.loads(line)["pid"])

    def _watch(self, report: IO[str]) -> None:
        line = report.readline()
        self._view.wait()
        if line:
            self._status.set_result(int(json.loads(line)["status"]))
        else:
            self._status.set_result(-signal.SIGKILL)  # the view was taken away whole
        report.close()


def _process_handle(pid: int) -> int | None:
    """A descriptor that names the process for good, unlike its number."""
    try:
        return os.pidfd_open(pid)
    except ProcessLookupError:
        return None  # gone already; its status is on the way
