"""The instructions that a call takes in the service's process, counted by callgrind."""

from __future__ import annotations

import re
import subprocess
from collections.abc import Iterator, Mapping
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path

from tavrinsim.world import World

from ..bench import Bench
from .calls import Call, make_calls
from .served import PATIENCE, minimal_command, our_command, started

VALGRIND = "/usr/bin/valgrind"

# In microseconds: a call that comes while the service still looks whether there is another one
# saves it a part of the looking, now and then.
PAUSE = 500

# They hardly vary; two show it.
COUNTS = 2


@dataclass(frozen=True)
class Counted:
    """A service under callgrind, which does not count before it is asked."""

    bench: Bench
    world: World

    @classmethod
    @contextmanager
    def ours(cls, bench: Bench, counts: Mapping[str, int]) -> Iterator[Counted]:
        """The service, at rest after its registration with the coordinator."""
        with started(bench, counts, our_command(bench), _profiler) as world:
            world.wait_registered(PATIENCE)
            yield cls(bench, world)

    @classmethod
    @contextmanager
    def minimal(cls, bench: Bench, counts: Mapping[str, int]) -> Iterator[Counted]:
        """What it is measured beside."""
        with started(bench, counts, minimal_command(bench, counts), _profiler) as world:
            yield cls(bench, world)

    def count(self, call: Call) -> list[float]:
        """Instructions of one call, COUNTS times.

        Each is the difference of two runs, so that what the asking itself costs drops out.
        Before them, buffers and the log file get to the size that they keep.
        """
        self._control("--instr=on")
        self._count_run(call, call.counted)
        runs = [self._count_run(call, call.counted * (1 + i)) for i in range(1 + COUNTS)]
        return [(longer - shorter) / call.counted for shorter, longer in zip(runs, runs[1:])]

    def _count_run(self, call: Call, number: int) -> int:
        make_calls(self.bench, self.world, call, 1, number, PAUSE)
        self._control("--dump")
        profiles = list(self.world.folder.glob("profile.*"))
        if not profiles:
            raise RuntimeError(f"{call.name}: callgrind has written nothing")
        total = sum(_total(profile) for profile in profiles)
        for profile in profiles:
            profile.unlink()
        return total

    def _control(self, order: str) -> None:
        assert self.world.service is not None
        command = ["callgrind_control", _meeting_point(self.world), order]
        command.append(str(self.world.service.pid))
        done = subprocess.run(command, text=True, capture_output=True, check=True)
        if "OK" not in done.stdout:
            raise RuntimeError(f"callgrind_control {order}: {done.stdout}{done.stderr}")


def _profiler(world: World) -> list[str]:
    """What goes in front of a service's command line."""
    profile = f"--callgrind-out-file={world.folder}/profile"
    return [VALGRIND, "--tool=callgrind", "--instr-atstart=no", profile, _meeting_point(world)]


def _meeting_point(world: World) -> str:
    """Where the profiler takes orders: a folder that is seen from inside and from outside."""
    return f"--vgdb-prefix={world.folder}/vgdb"


def _total(profile: Path) -> int:
    found = re.search(r"^totals: (\d+)", profile.read_text(), re.M)
    if found is None:
        raise RuntimeError(f"{profile} has no totals")
    return int(found[1])
