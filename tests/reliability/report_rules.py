"""What holds for the reports of every update, whatever the programming library does in it."""

from __future__ import annotations

from collections.abc import Iterator

from tavrinsim.device import Device
from tavrinsim.job import FAILED, IN_PROGRESS, SUCCEEDED, Job, Report
from tavrinsim.trace import Line
from tavrinsim.world import World

SIXTEEN_BITS = 0xFFFF


def violations(world: World, job: Job, start: int = 0) -> list[str]:
    """What is wrong with the reports of an accepted job that is over, since trace line `start`."""
    reports = world.coordinator.reports_of(job.transaction)
    steps = world.trace.select(start=start, what="call", name="cpldfwupdate.progress")
    told = [int(line["args"]["percent"]) & SIXTEEN_BITS for line in steps]
    device = world.board.device_of(job.fqdd)
    return [
        *_wrong_course(reports, told),
        *_wrong_end(reports),
        *_early_end(reports, world.trace.select(start=start, device=device.name), device),
    ]


def _wrong_course(reports: list[Report], told: list[int]) -> Iterator[str]:
    """The start, then each of the library's percentages as it came: no other, none twice."""
    course = [report.percent for report in reports if report.status == IN_PROGRESS]
    if course != [0, *told]:
        yield f"reported {course} of {told}"
    if told == sorted(told) and course != sorted(course):
        yield f"went backwards: {course}"


def _wrong_end(reports: list[Report]) -> Iterator[str]:
    """One outcome, and nothing after it."""
    finals = [place for place, report in enumerate(reports) if report.final]
    if finals != [len(reports) - 1]:
        yield f"outcomes at {finals} of {len(reports)} reports"
    elif (reports[-1].status, reports[-1].percent) not in ((SUCCEEDED, 100), (FAILED, 0)):
        yield f"the outcome is {reports[-1]}"


def _early_end(reports: list[Report], lines: list[Line], device: Device) -> Iterator[str]:
    """The port is closed by then, and the device let go of."""
    times = [line["t"] for line in lines if line.get("event") == "port-closed"]
    closes = [line["t"] for line in lines if line["what"] == "close"]
    for report in reports:
        if not report.final:
            continue
        if device.port_open or not times or max(*times, *closes) > report.time * 1e9:
            yield "the outcome was reported before the port was closed"
