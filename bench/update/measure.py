"""One update with a library that has nothing to do and a coordinator that answers at once."""

from __future__ import annotations

import statistics
import time
from collections.abc import Sequence
from contextlib import ExitStack
from pathlib import Path

from jobs import unmark
from tavrinsim import names, payload
from tavrinsim.setting import Setting
from tavrinsim.world import World

from ..bench import Bench
from ..figures import ROUNDS, Section, ratios
from ..prompt_platform.memory import in_memory
from ..prompt_platform.record import Record
from ..processor import one_processor
from .bare import BareReports, bare_reports
from .coordinator import PromptCoordinator, prompt_coordinator
from .steps import LAST, REPORTS, Update, report_times

# The three kinds differ in their ports only; this one's takes the most transfers.
KIND = names.FLOP
PAYLOAD = 1 << 20
REPEATS = 4

# Times of the reports of one update, or of as many bare ones, in ms.
Reports = list[float]

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
        platform = bench.program("prompt_platform/libprompt_platform.so")
        world.start([platform], self._record.variables)
        world.wait_published()
        coordinator.wait_registered(len(names.KINDS))

    def measure(self, section: Section) -> None:
        """Of each round the quickest repetition.

        An update goes to sleep and is woken dozens of times; at each the kernel may let others
        go first, which makes it longer and never shorter.
        """
        rounds = [self._round() for _ in range(ROUNDS)]
        updates = [min(done, key=lambda update: update.total) for done, _ in rounds]
        section.add("all steps", "ms", [update.total for update in updates], MOST_MS)
        for step in updates[0].steps:
            section.add(step, "ms", [update.steps[step] for update in updates])
        ours = [[update.reports for update in done] for done, _ in rounds]
        _compare_reports(section, ours, [bare for _, bare in rounds])

    def _round(self) -> tuple[list[Update], list[Reports]]:
        """Updates and as many batches of bare reports by turns, both after a second of rest."""
        pairs = [(self._update(), self._bare.send(REPORTS)) for _ in range(REPEATS)]
        return [update for update, _ in pairs], [report_times(bare) for _, bare in pairs]

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


def _compare_reports(
    section: Section, ours: Sequence[list[Reports]], bare: Sequence[list[Reports]]
) -> None:
    """The usual report, and the slowest of those of an update."""
    usual = [_quickest_usual(updates) for updates in ours]
    section.add("one report", "ms", usual)
    pairs = list(zip(usual, map(_quickest_usual, bare)))
    words = "one report, to connect, call, close in C"
    section.add(words, "ratio", ratios(pairs), MOST_OF_BARE_REPORT)
    slowest = list(zip(map(_slowest, ours), map(_slowest, bare)))
    remark = "start and outcome follow a rest, in C only the first does"
    section.add(
        "the slowest report, to the slowest in C", "ratio", ratios(slowest), None, remark
    )


def _quickest_usual(batches: Sequence[Reports]) -> float:
    """Of each batch the median, of these the least."""
    return min(statistics.median(batch) for batch in batches)


def _slowest(batches: Sequence[Reports]) -> float:
    """Of the reports with the same place in their batches the median, of these the largest."""
    places: Sequence[Reports] = list(map(list, zip(*batches, strict=True)))
    return max(statistics.median(times) for times in places)
