"""One update with a programming library that has nothing to do and a coordinator that answers at once."""

from __future__ import annotations

import time
from contextlib import ExitStack
from pathlib import Path

from jobs import unmark
from tavrinsim import names, payload
from tavrinsim.setting import Setting
from tavrinsim.world import World

from ..bench import Bench
from ..figures import ROUNDS, Section, ratios
from ..platform.memory import in_memory
from ..platform.record import Record
from ..processor import one_processor
from .bare import BareReports, bare_reports
from .coordinator import PromptCoordinator, prompt_coordinator
from .steps import LAST, REPORTS, Update, report_time

# The three kinds differ in their ports only; this one's takes the most transfers.
KIND = names.FLOP
PAYLOAD = 1 << 20
REPEATS = 4

MOST_MS = 15
MOST_OF_BARE_REPORT = 1.3


def measure(bench: Bench) -> list[Section]:
    """Updates of one CPLD and bare reports by turns."""
    section = Section("Update")
    with ExitStack() as stack:
        stack.enter_context(one_processor())
        stack.enter_context(in_memory())
        world = stack.enter_context(World(bench.binary, Setting(monitored=False)))
        program = bench.program("update/prompt_coordinator")
        coordinator = stack.enter_context(prompt_coordinator(program, world))
        bare = stack.enter_context(bare_reports(bench, world))
        station = Station(bench, world, coordinator, bare)
        station.measure(section)
    return [section]


class Station:
    """A service at rest, and the two things that are measured on its bus."""

    def __init__(
        self, bench: Bench, world: World, coordinator: PromptCoordinator, bare: BareReports
    ) -> None:
        self._world = world
        self._coordinator = coordinator
        self._bare = bare
        self._directory = self._payload()
        self._record = Record(world.folder / "record")
        platform = bench.program("platform/libprompt_platform.so")
        world.start([platform], self._record.variables)
        world.wait_published()
        coordinator.wait_registered(len(names.KINDS))

    def measure(self, section: Section) -> None:
        """Of each round the least of some repetitions: most of an update is waiting."""
        rounds = [self._round() for _ in range(ROUNDS)]
        updates = [min(updates, key=lambda update: update.total) for updates, _ in rounds]
        section.add("all steps", "ms", [update.total for update in updates], MOST_MS)
        for step in updates[0].steps:
            section.add(step, "ms", [update.steps[step] for update in updates])
        ours = [min(update.report for update in updates) for updates, _ in rounds]
        pairs = list(zip(ours, (min(bare) for _, bare in rounds)))
        section.add("one report", "ms", ours)
        words = "one report, to connect, call, close in C"
        section.add(words, "ratio", ratios(pairs), MOST_OF_BARE_REPORT)

    def _round(self) -> tuple[list[Update], list[float]]:
        """Updates and as many batches of bare reports by turns, both after a second of rest."""
        pairs = [(self._update(), self._bare.send(REPORTS)) for _ in range(REPEATS)]
        return [update for update, _ in pairs], [report_time(bare) for _, bare in pairs]

    def _payload(self) -> Path:
        key = self._world.keys.private[KIND.key_family, "default"]
        around = len(payload.make(KIND.name, "2.3.4", key, body=0))
        whole = payload.make(KIND.name, "2.3.4", key, body=PAYLOAD - around)
        return self._world.payload_of(whole)

    def _update(self) -> Update:
        """One update, followed until its worker is done."""
        unmark(self._world, KIND.fqdd(1))
        start = self._record.count
        messages = self._coordinator.update(KIND, self._directory)
        deadline = time.monotonic() + 5
        while (moments := self._record.moments(start))[-1].text != LAST:
            if time.monotonic() > deadline:
                raise RuntimeError(f"the worker does not end: {moments[-1]}")
            time.sleep(0.001)
        return Update(messages, moments)
