"""Reads, writes and refusals of the service beside those of a minimal service in C.

The minimal service has the same objects on the same kind of bus and nothing between them and
sd-bus. Instructions are those of the service's process outside the kernel. In the latency the
bus daemon has the largest part. Processor time is the service's, the kernel's work for it
included.

Two refusals of an update: a number that no instance can have is answered by an error, with one
line to the platform log and no record, which is the least that any refusal needs; a name that
no kind has is answered by the result 1, with a record in the log file as well, as most refusals
are.
"""

from __future__ import annotations

from collections.abc import Sequence

from ..bench import Bench
from ..figures import Section, in_pairs, ratios
from ..processor import one_processor
from .calls import Call
from .counted import Counted
from .served import Served, assert_same

FEW = {"pbb": 2, "pdb": 1, "flop": 1}
MANY = {"pbb": 255, "pdb": 255, "flop": 255}

CALLS = (
    Call("get", "Get"),
    Call("get_all", "GetAll of 21 properties"),
    Call("set", "Set"),
    Call("misnumber", "update refused by an error"),
    # Enough to fill the log file, and to have the same share of its trims each time.
    Call("misname", "update refused with a record", counted=160),
)
OBJECTS = Call("objects", "GetManagedObjects", timed=50, counted=20)
# Each answer has two megabytes.
MANY_OBJECTS = Call("objects", "GetManagedObjects", timed=3, counted=1)

MOST = 1.10

REPEATED = "hardly varies, hence two values"
# Why the goal may be missed, by the call.
REASONS = {
    "get": "the event loop's turn for each message",
    "misnumber": "the binding answers with an error by throwing only",
    "misname": "the record's file, the event loop's turn for each message",
}


def measure(bench: Bench) -> list[Section]:
    """Every call, with few objects and with many."""
    with one_processor():
        return [
            _section(bench, "Bus with 4 objects", FEW, (*CALLS, OBJECTS)),
            _section(bench, "Bus with 765 objects", MANY, (*CALLS, MANY_OBJECTS)),
        ]


def _section(
    bench: Bench, title: str, counts: dict[str, int], calls: tuple[Call, ...]
) -> Section:
    section = Section(title)
    instructions = _count(bench, counts, calls)
    with Served.ours(bench, counts) as ours, Served.minimal(bench, counts) as minimal:
        assert_same(ours, minimal)
        for call in calls:
            _time(section, call, ours, minimal)
            _add(section, call, "instructions", instructions[call], MOST, REPEATED)
    return section


def _time(section: Section, call: Call, ours: Served, minimal: Served) -> None:
    pairs = in_pairs(lambda: ours.time(call), lambda: minimal.time(call))
    latencies = [(mine.latency, theirs.latency) for mine, theirs in pairs]
    processor = [(mine.processor, theirs.processor) for mine, theirs in pairs]
    _add(section, call, "latency", ratios(latencies), MOST)
    section.add(f"{call.words}: latency, ours", "ms", [mine / 1e6 for mine, _ in latencies])
    _add(section, call, "processor time", ratios(processor))


def _add(
    section: Section,
    call: Call,
    what: str,
    values: Sequence[float],
    most: float | None = None,
    remark: str = "",
) -> None:
    """A row of ratios."""
    name, reason = f"{call.words}: {what}", REASONS.get(call.name, "")
    section.add(name, "ratio", values, most, remark, reason)


def _count(
    bench: Bench, counts: dict[str, int], calls: tuple[Call, ...]
) -> dict[Call, list[float]]:
    """Of each call the ratios of instructions."""
    with Counted.ours(bench, counts) as ours, Counted.minimal(bench, counts) as minimal:
        return {
            call: ratios(list(zip(ours.count(call), minimal.count(call)))) for call in calls
        }
