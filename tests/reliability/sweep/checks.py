"""What must hold after a fault, whatever it was."""

from __future__ import annotations

from collections.abc import Iterator

from reliability.log_file import LIMIT, TRIMMED
from tavrinsim.job import SUCCEEDED

from .course import BUS_LIBRARY, EXITING, REASONS, Course
from .station import VERSIONS, Station

# What a log file holds at least once it was trimmed.
FULL = LIMIT - TRIMMED

# Words by which the service tells that a report did not get through.
LOST_REPORT = "[reportUpdateStatus]: Failed to "
# Words by which it tells that the port may have been left open: it could not be opened wholly, or
# closing it failed.
PORT_FAILED = (
    "Failed to enable HARDIP on",
    "Failed to disable HARDIP on",
    "failed to SET ",
    "[GetPlatformID]: Exception occurred",  # an old FLOP's port is at another place then
)


PORT_FUNCTION = "[enable_disable_programingNode_for_"


def of_process(course: Course) -> Iterator[str]:
    """It runs on, or it has ended as the entry says."""
    if course.unsettled:
        yield course.unsettled
    if not course.ended:
        if course.job is not None and course.result is None:
            yield "the call was never answered"
        return
    if course.lost_by == BUS_LIBRARY:
        return  # one of its own failed assertions, when memory ends in its midst
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
    lost = course.ended or course.says(LOST_REPORT)
    if course.accepted and not finals and not lost:
        yield f"an accepted job without a final report: {_progress(course)}"


def of_port(course: Course, station: Station, kind: str) -> Iterator[str]:
    """It is closed, unless the service told that it could not be."""
    told = course.ended or course.says(*PORT_FAILED) or _threw_in_closing(course)
    if station.world.board.device(kind).port_open and not told:
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
    if station.log_size >= FULL and station.world.log_file.stat().st_size < FULL:
        size = station.world.log_file.stat().st_size
        yield f"the log file has lost its contents: it had {station.log_size} bytes, now {size}"


def of_holdings(station: Station) -> Iterator[str]:
    """No more descriptors and threads than before."""
    if station.baseline is not None and station.world.running:
        yield from station.holdings().grown_since(station.baseline)


def _threw_in_closing(course: Course) -> bool:
    """Whether the port was about to be closed, and something was thrown."""
    entries = [text for text in course.logs if text.startswith(PORT_FUNCTION)]
    entered = [text for text in entries if text.endswith("] : Entering\n")]
    return len(entered) > 1 and course.says("] : Exception: ")


def _progress(course: Course) -> list[tuple[int, int]]:
    return [(report.status, report.percent) for report in course.reports]
