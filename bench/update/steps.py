"""What one update's time went into, from the moments that the prompt platform kept."""

from __future__ import annotations

from collections.abc import Sequence

from ..prompt_platform.record import Moment
from .coordinator import Message

# The pauses that an update cannot do without, in ms: for the device to settle after its
# programming, and after its port was closed.
PAUSES = (1000, 500)

# The start, eleven steps of the progress, the outcome.
REPORTS = 13

# The last that is seen of an update.
LAST = "run is destroyed"

# In ms; what sums of times may differ by.
ROUNDING = 1e-6

# What each step begins with; the one before it ends there.
BEGINS = {
    "checks of component, device and directory": "[TavrinUpdateStart] : CompID",
    "signature": "[TavrinUpdateStart] : Proceeding update",
    "report of the start, mark in the inventory": "Updating the progress to cmnfwupd",
    "opening the port": "[TavrinUpdateStart] : Starting update on",
    "beginning the worker": "[TavrinUpdateStart] : HARDIP enabled",
}


class Update:
    """One update, taken apart. Times in ms, without the pauses and the library's own time."""

    def __init__(self, messages: Sequence[Message], moments: Sequence[Moment]) -> None:
        self._moments = moments
        self._begin = messages[0].time
        self._end = self._one(LAST)
        pauses = [moment for moment in moments if moment.text.startswith("pause of")]
        over = [moment.time for moment in moments if moment.text == "pause is over"]
        if [moment.text for moment in pauses] != [f"pause of {ms} ms" for ms in PAUSES]:
            raise RuntimeError(f"other pauses than {PAUSES} ms: {pauses}")
        self._pauses = [(pause.time, end) for pause, end in zip(pauses, over, strict=True)]
        together = sum(self.steps.values())
        if abs(together - self.total) > ROUNDING:
            raise RuntimeError(f"the steps are {together} ms, and all of it {self.total} ms")

    @property
    def steps(self) -> dict[str, float]:
        """Each step's time; together they are all of it."""
        begins = [self._begin, *map(self._first, BEGINS.values()), self._one("run begins")]
        spans = zip(["intake", *BEGINS], zip(begins, begins[1:]))
        times = {name: end - begin for name, (begin, end) in spans}
        (first_pause, first_end), (second_pause, second_end) = self._pauses
        times["reports of the progress"] = self._told
        times["pauses, above what was asked"] = (
            first_end - first_pause + second_end - second_pause - sum(PAUSES) * 10**6
        )
        times["closing the port"] = (
            first_pause - self._one("run is over") + second_pause - first_end
        )
        times["report of the outcome, mark in the inventory"] = self._end - second_end
        return {name: time / 1e6 for name, time in times.items()}

    @property
    def reports(self) -> list[float]:
        """Time of each report, in order."""
        return report_times(self._moments)

    @property
    def library(self) -> float:
        """The programming library's own time."""
        return (self._one("run is over") - self._one("run begins") - self._told) / 1e6

    @property
    def total(self) -> float:
        """From the coordinator's first message to the worker's end, likewise."""
        return (self._end - self._begin) / 1e6 - sum(PAUSES) - self.library

    @property
    def _told(self) -> int:
        begins = [moment.time for moment in self._moments if moment.text == "progress"]
        ends = [moment.time for moment in self._moments if moment.text == "progress told"]
        return sum(end - begin for begin, end in zip(begins, ends, strict=True))

    def _first(self, text: str) -> int:
        """When the first moment was whose text begins so."""
        return next(moment.time for moment in self._moments if moment.text.startswith(text))

    def _one(self, text: str) -> int:
        """When the one moment was whose text begins so."""
        (time,) = [moment.time for moment in self._moments if moment.text.startswith(text)]
        return time


def report_times(moments: Sequence[Moment]) -> list[float]:
    """Of some reports the time of each, from connecting to the end of closing, in ms."""
    times: list[float] = []
    begun: dict[int, int] = {}
    for moment in moments:
        if moment.text == "connect":
            begun[moment.thread] = moment.time
        # The registration's connection may be closed only now.
        elif moment.text == "closed" and moment.thread in begun:
            times.append((moment.time - begun.pop(moment.thread)) / 1e6)
    if len(times) != REPORTS:
        raise RuntimeError(f"{len(times)} reports were sent, not {REPORTS}")
    return times
