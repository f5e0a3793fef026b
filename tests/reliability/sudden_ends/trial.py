"""One sudden end: an update up to it, a restart, and the next update of the same CPLD."""

from __future__ import annotations

import re
import signal
from concurrent.futures import Future
from contextlib import suppress
from dataclasses import dataclass, field
from pathlib import Path

from support import log_file, sanitizers
from support.jobs import HEALTHY, Outcome, threads, update, wait_until
from tavrinsim import names
from tavrinsim.connection import BusError
from tavrinsim.device import Device
from tavrinsim.job import Job
from tavrinsim.world import World

from .steps import STEPS, Found, Point, latest_step, step_of

BEFORE, MEANT, NEXT = "1.0.0", "2.3.4", "3.4.5"

# The first line of the service about a job; effects are counted from it on.
FIRST_LINE = "PayloadPath - %s"

_EFFECT = re.compile(r"^effect (\d+) (\w+)$", re.MULTILINE)


def start(world: World, double: Path, before: int = 0, number: int = signal.SIGKILL) -> None:
    """Starts the service and waits for its objects.

    `double` is the library that ends it, before the effect `before` by the signal `number`.
    Effects are counted from the first job on; none has the number 0.
    """
    variables = {"COUNTS_FROM": FIRST_LINE, "ENDS_BEFORE": before, "ENDS_BY": int(number)}
    world.output.unlink(missing_ok=True)
    world.start(preload=[double], environment={k: str(v) for k, v in variables.items()})
    world.wait_published()


def effects_of(world: World) -> list[str]:
    """The calls that had an effect since counting began, in order."""
    return [call for _, call in _EFFECT.findall(world.output.read_text(errors="replace"))]


@dataclass
class Finding:
    """What came of one sudden end. `step` is a place in STEPS, None where none fits; `reports` came before."""

    point: Point
    call: str = ""
    step: int | None = None
    found: str = ""
    reports: int = 0
    log_emptied: bool = False
    next_update: str = ""
    violations: list[str] = field(default_factory=list)

    def expect(self, condition: bool, words: str) -> None:
        """Notes a violation where the condition does not hold."""
        if not condition:
            self.violations.append(words)

    def described(self) -> dict[str, object]:
        """All of it in plain values."""
        return {
            "point": str(self.point),
            "call": self.call,
            "step": None if self.step is None else STEPS[self.step].name,
            "found": self.found,
            "reports": self.reports,
            "log emptied": self.log_emptied,
            "next update": self.next_update,
            "violations": self.violations,
        }


def count_effects(world: World, double: Path, kind: str) -> int:
    """How many effects a healthy update has, up to its worker's end."""
    world.board.device(kind).reset(BEFORE)
    start(world, double)
    update(world, kind, version=MEANT)
    world.kill()
    return len(effects_of(world))


def run(world: World, double: Path, point: Point) -> Finding:
    """Carries out one sudden end; the service does not run before it and not after it."""
    return _Trial(world, double, point).run()


class _Trial:
    def __init__(self, world: World, double: Path, point: Point) -> None:
        self.world = world
        self.double = double
        self.device: Device = world.board.device(point.kind)
        self.finding = Finding(point)
        self.left_open = False
        self.job: Job = world.job(self.device.fqdd, world.payload(point.kind, MEANT))

    def run(self) -> Finding:
        """The whole course."""
        self.device.reset(BEFORE)
        log = _contents(self.world)
        mark = self.world.trace.mark()
        self._update_to_the_end()
        self._look_at_log(log, mark)
        self.left_open = self.device.port_open
        left = self.device.state_file.read_bytes()
        self.world.start()
        self._look_at_restart(left)
        self._classify(mark)
        self._update_again()
        self.world.kill()
        self.finding.violations += sanitizers.reports(self.world.output)
        return self.finding

    def _update_to_the_end(self) -> None:
        point = self.finding.point
        start(self.world, self.double, point.effect, point.number)
        idle = threads(self.world)
        answer = self.world.coordinator.begin_update(self.job)
        # Behind the last effect nothing ends it; then a supervisor does.
        wait_until(lambda: not self.world.running or self._is_over(idle), "the service ended")
        status = self.world.stop(point.number)
        self.finding.expect(status == -point.number, f"the service ended with {status}")
        forget(answer)
        effects = effects_of(self.world)
        self.finding.expect(effects != [], "no effects were counted")
        self.finding.call = "".join(effects[-1:])

    def _look_at_log(self, before: bytes, mark: int) -> None:
        lines = self.world.trace.select(start=mark, what="log", level=1, module=352)
        messages = [line["text"] for line in lines]
        possible = log_file.possible_after_a_sudden_end(before, messages)
        contents = _contents(self.world)
        self.finding.log_emptied = contents == b"" != before
        self.finding.expect(contents in list(possible), "the log file is not what was logged")

    def _look_at_restart(self, left: bytes) -> None:
        self.world.wait_published()
        untouched = self.device.state_file.read_bytes() == left
        self.finding.expect(untouched, "the restart changed the CPLD")
        kind, number = names.split_fqdd(self.job.fqdd)
        shown = self.world.client.get_all(kind.object_path(number), names.TAVRIN_INVENTORY)
        version = shown["InstalledVersionString"].value
        self.finding.expect(version == self.device.version, f"{version} is published")
        self.finding.expect(not shown["PSUScanBlock"].value, "the restart kept PSUScanBlock")

    def _classify(self, mark: int) -> None:
        reports = self._reports()
        self.finding.expect(reports == HEALTHY[: len(reports)], f"reports {reports}")
        told = reports == HEALTHY
        found = Found.at(self.device, MEANT, told)
        self.finding.found = str(found)
        self.finding.reports = len(reports)
        self.finding.step = step_of(found)
        # The trace may not show yet what the last effect has caused.
        latest = latest_step(self.world.trace, self.device, mark, told)
        fits = self.finding.step in (latest, latest + 1)
        self.finding.expect(fits, f"after step '{STEPS[latest].name}': {found}")
        if self.finding.step is not None:
            step = STEPS[self.finding.step]
            words = f"ended in step '{step.name}' after {len(reports)} reports"
            self.finding.expect(step.fits(len(reports)), words)

    def _update_again(self) -> None:
        reported = len(self._reports())
        done = update(self.world, self.finding.point.kind, version=NEXT)
        self.finding.expect(done.result == 0, "the next update was refused")
        self.finding.expect(done.progress == HEALTHY, f"the next update reported {done.progress}")
        left = Found.at(self.device, NEXT, told=True)
        self.finding.expect(left == STEPS[-1].leaves, f"after the next update: {left}")
        self.finding.expect(len(self._reports()) == reported, "the lost job reported once more")
        was_open = _found_open(done)
        how = (
            "found the port open, closed it at its end" if was_open else "found the port closed"
        )
        self.finding.next_update = how
        self.finding.expect(was_open == self.left_open, f"the next update {how}")

    def _is_over(self, idle: set[int]) -> bool:
        with suppress(FileNotFoundError):  # it ended while its threads were counted
            return self._reports() == HEALTHY and threads(self.world) <= idle
        return False

    def _reports(self) -> list[tuple[int, int]]:
        reports = self.world.coordinator.reports_of(self.job.transaction)
        return [(report.status, report.percent) for report in reports]


def forget(answer: Future[int]) -> None:
    """Lets go of a call whose answer may never come."""
    with suppress(BusError):
        answer.result()


def _contents(world: World) -> bytes:
    return world.log_file.read_bytes() if world.log_file.exists() else b""


def _found_open(done: Outcome) -> bool:
    """Whether an update found the port open, as its trace log says."""
    open_already = ("Already enabled", "current BYTE-8 REG value : 0x1 ")
    first = next((i for i, step in enumerate(done.steps) if "Thread created" in step), 0)
    return any(words in step for step in done.steps[:first] for words in open_already)
