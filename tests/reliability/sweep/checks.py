"""What must hold after a fault, whatever it was."""

from __future__ import annotations

import re
from collections.abc import Iterator

from support.log_file import LIMIT, TRIMMED
from tavrinsim.job import SUCCEEDED

from .course import BUS_LIBRARY, EXITING, REASONS, Course
from .station import VERSIONS, Station

# What a log file holds at least once it was trimmed.
FULL = LIMIT - TRIMMED

# Each report begins with the first of these; by the second the service tells that it did not get
# through, by the third that it was the final one.
REPORT = "ActivationProgress "
LOST_REPORT = "[reportUpdateStatus]: Failed to "
FINAL_REPORT = re.compile(r" status (18|28), ")

# Each opening and each closing of a port begins with these.
PORT_FUNCTION = "[enable_disable_programingNode_for_"
ENTERING = "] : Entering\n"
# Words by which the service tells that a port could not be opened wholly; then nobody closes it.
NOT_OPENED = "Failed to enable HARDIP on"
# Words by which it tells, while it closes a port, that it may be open still.
NOT_CLOSED = ("Failed to disable HARDIP on", "failed to SET ", "] : Exception: ")
# The port of a FLOP with old firmware is sought at another place then.
NOT_FOUND = "[GetPlatformID]: Exception occurred"


def of_process(course: Course) -> Iterator[str]:
    """It runs on, or it has ended as the entry says."""
    if course.unsettled:
        yield course.unsettled
    if not course.ended:
        if course.job is not None and course.result is None:
            yield "the call was never answered"
        return
    if course.lost_by == BUS_LIBRARY:
        return  # an assertion of its own failed, after an allocation had
    if course.status != 0:
        yield f"the process ended with status {course.status}"
    reasons = [text for text in course.logs if text.startswith(REASONS)]
    if len(reasons) != 1 or EXITING not in course.logs:
        yield f"the process ended without its words: {course.logs[-3:]}"


def of_reports(course: Course) -> Iterator[str]:
    """One final report of an accepted job, at most one of any other, and nothing after it."""
    finals = [place for place, report in enumerate(course.reports) if report.final]
    if len(finals) > 1:
        yield f"{len(finals)} final reports: {_progress(course)}"
    if finals and finals[0] != len(course.reports) - 1:
        yield f"reports after the final one: {_progress(course)}"
    lost = course.ended or _final_report_was_lost(course.logs)
    if course.accepted and not finals and not lost:
        yield f"an accepted job without a final report: {_progress(course)}"


def of_port(course: Course, station: Station, kind: str) -> Iterator[str]:
    """It is closed, unless the service told that it could not be."""
    words = (*NOT_CLOSED, NOT_FOUND) if kind == "flop" else NOT_CLOSED
    told = _says(course.logs, NOT_OPENED) or _says(_closing(course.logs), *words)
    # A process that has ended leaves what it had begun; the next update closes the port.
    if not course.ended and station.world.board.device(kind).port_open and not told:
        yield "the programming port is open"


def of_next_update(course: Course, station: Station, kind: str, turn: int) -> Iterator[str]:
    """An update without a fault is completed, and leaves nothing behind."""
    yield from of_process(course)
    if course.ended:
        yield f"the service has ended in the next update: {course.errors[-2:]}"
        return
    device = station.world.board.device(kind)
    wanted = (0, (SUCCEEDED, 100), VERSIONS[kind][turn])
    finals = [(report.status, report.percent) for report in course.reports if report.final]
    if (course.result, *finals, device.version) != wanted:
        found = f"result {course.result}, reports {_progress(course)}, version {device.version}"
        yield f"the next update did not succeed: {found}; {course.errors[-3:]}"
    if device.port_open:
        yield "the programming port is open after the next update"
    if not station.is_marked(kind):
        yield "the CPLD is not marked after the next update"
    size = station.world.log_file.stat().st_size
    if size >= LIMIT:
        yield f"the log file has {size} bytes after the next update"


def of_log_file(station: Station) -> Iterator[str]:
    """Trims have taken no more from it than they should; a full file never gets small again."""
    if station.log_size >= FULL and not station.log_holds(FULL):
        size = station.world.log_file.stat().st_size
        yield f"the log file has lost its contents: it had {station.log_size} bytes, now {size}"


def of_holdings(station: Station) -> Iterator[str]:
    """No more descriptors and threads than before."""
    if station.baseline is not None and station.world.running:
        yield from station.holdings().grown_since(station.baseline)


def _final_report_was_lost(logs: list[str]) -> bool:
    """Whether the last report was the final one, and did not get through."""
    attempts = [place for place, text in enumerate(logs) if text.startswith(REPORT)]
    if not attempts or not FINAL_REPORT.search(logs[attempts[-1]]):
        return False
    return any(text.startswith(LOST_REPORT) for text in logs[attempts[-1] :])


def _closing(logs: list[str]) -> list[str]:
    """What was logged from the moment on at which the port was to be closed."""
    entries = [
        place
        for place, text in enumerate(logs)
        if text.startswith(PORT_FUNCTION) and text.endswith(ENTERING)
    ]
    return logs[entries[1] :] if len(entries) > 1 else []


def _says(logs: list[str], *words: str) -> bool:
    return any(word in text for word in words for text in logs)


def _progress(course: Course) -> list[tuple[int, int]]:
    return [(report.status, report.percent) for report in course.reports]
