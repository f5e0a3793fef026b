"""Bare reports, which are sent in the controller's view and kept by the same recorder."""

from __future__ import annotations

import subprocess
import time
from collections.abc import Iterator
from contextlib import contextmanager

from tavrinsim.world import World

from ..bench import Bench
from ..prompt_platform.record import Moment, Record

# In seconds.
REST = 1.0


class BareReports:
    """Drives bare_report, which goes on between the rounds as the service does."""

    def __init__(self, process: subprocess.Popen[str], record: Record) -> None:
        self._process = process
        self._record = record

    def send(self, count: int) -> list[Moment]:
        """Sends some reports, one right after the other; what was seen of them.

        An update's reports come after a rest, when the processor has other things in its
        caches.
        """
        assert self._process.stdin is not None and self._process.stdout is not None
        start = self._record.count
        time.sleep(REST)
        print(count, file=self._process.stdin, flush=True)
        if self._process.stdout.readline() != "done\n":
            raise RuntimeError("no bare report could be sent")
        return self._record.moments(start)


@contextmanager
def bare_reports(bench: Bench, world: World) -> Iterator[BareReports]:
    """The program in the world's view and on its bus."""
    record = Record(world.folder / "bare-record")
    variables = record.variables | world.bus.environment()
    variables["LD_PRELOAD"] = str(bench.program("prompt_platform/libprompt_platform.so"))
    words = ["/usr/bin/env", *(f"{name}={value}" for name, value in variables.items())]
    words += [str(bench.program("update/bare_report")), "PBBCPLD.Embedded.1", "1"]
    process = subprocess.Popen(
        world.view.command(words),
        env=world.view.environment(),
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    )
    with process:
        yield BareReports(process, record)
