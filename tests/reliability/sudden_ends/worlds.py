"""Controllers side by side, each of which goes through one sudden end after the other."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from concurrent.futures import ThreadPoolExecutor
from contextlib import ExitStack, contextmanager
from pathlib import Path
from queue import SimpleQueue

from tavrinsim.names import KINDS
from tavrinsim.setting import Setting
from tavrinsim.world import World

from . import trial
from .steps import Point
from .trial import Finding


class Worlds:
    """So many controllers with one CPLD of each kind, lent to one trial after the other."""

    def __init__(self, binary: Path, number: int) -> None:
        self.number = number
        self._double = double_beside(binary)
        self._free: SimpleQueue[World] = SimpleQueue()
        with ExitStack() as worlds:
            setting = Setting(counts={kind: 1 for kind in KINDS})
            for _ in range(number):
                self._free.put(worlds.enter_context(World(binary, setting)))
            self._end = worlds.pop_all()

    def close(self) -> None:
        """Ends them all."""
        self._end.close()

    def count_effects(self) -> dict[str, int]:
        """How many effects an update of each kind has."""
        with self._lent() as world:
            return {kind: trial.count_effects(world, self._double, kind) for kind in KINDS}

    def run(self, points: list[Point], tick: Callable[[], None]) -> list[Finding]:
        """Carries out all sudden ends; `tick` is called after each."""
        with ThreadPoolExecutor(self.number) as pool:
            findings = []
            for finding in pool.map(self._run_one, points):
                findings.append(finding)
                tick()
            return findings

    def _run_one(self, point: Point) -> Finding:
        with self._lent() as world:
            try:
                return trial.run(world, self._double, point)
            except Exception as error:  # whatever it is, it came of this end
                if world.running:
                    world.kill()
                return Finding(point, violations=[f"{type(error).__name__}: {error}"])

    @contextmanager
    def _lent(self) -> Iterator[World]:
        world = self._free.get()
        try:
            yield world
        finally:
            self._free.put(world)


def double_beside(binary: Path) -> Path:
    """The library that ends a service of this build suddenly."""
    return binary.parent / "tests" / "system" / "doubles" / "libsudden_end.so"
