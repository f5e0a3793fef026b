"""What a person sees of a world: the inventory, an update as it goes, log and trace."""

from __future__ import annotations

import textwrap
from dataclasses import dataclass

from dbus_next import Variant
from rich.console import Console
from rich.progress import (
    BarColumn,
    Progress,
    TaskProgressColumn,
    TextColumn,
    TimeElapsedColumn,
)
from rich.table import Table
from rich.text import Text

from . import names
from .client import Interfaces
from .connection import BusError
from .device import Device
from .job import SUCCEEDED, Job, Report
from .trace import Line
from .trace_view import render
from .world import World

# Of a message's body in the trace; a list of all objects would fill the screen.
BODY_WIDTH = 100


@dataclass(frozen=True)
class Outcome:
    """How an update went: the method's result, its error reply, the last report."""

    result: int | None = None
    error: BusError | None = None
    last: Report | None = None

    @property
    def succeeded(self) -> bool:
        """Whether the coordinator was told of success."""
        return self.last is not None and self.last.status == SUCCEEDED

    def text(self) -> str:
        """In words."""
        if self.error is not None:
            return f"error reply: {self.error}"
        if self.result != 0:
            reported = "" if self.last is None else f", reported as status {self.last.status}"
            return f"refused (result {self.result}){reported}"
        if self.last is None:
            return "started, no report came"
        words = "succeeded" if self.succeeded else "failed"
        return f"{words} (status {self.last.status}, {self.last.percent}%)"


def show_inventory(world: World, console: Console, title: str = "Inventory") -> None:
    """What the service publishes, beside what the devices themselves say."""
    table = Table(title=title, title_justify="left")
    for column in ("FQDD", "published", "device", "image", "port", "blocked"):
        table.add_column(column, no_wrap=True)
    objects = world.client.managed_objects()
    for device in world.board.devices:
        table.add_row(*_row(device, objects))
    console.print(table)


def show_update(world: World, job: Job, console: Console, timeout: float = 60) -> Outcome:
    """Runs an update with a progress bar that the coordinator's reports move."""
    try:
        result = world.coordinator.update(job)
    except BusError as error:
        outcome = Outcome(error=error)
    else:
        if result == 0:
            _follow(world, job, console, timeout)
        reports = world.coordinator.reports_of(job.transaction)
        outcome = Outcome(result=result, last=reports[-1] if reports else None)
    style = "green" if outcome.succeeded else "red"
    console.print(Text(f"{job.fqdd}: {outcome.text()}", style=style))
    return outcome


def show_log(world: World, console: Console) -> None:
    """The service's own log file."""
    console.print(Text(world.log().rstrip() or "(empty)"), soft_wrap=True)


def show_trace(
    world: World, console: Console, count: int = 40, what: str | None = None
) -> None:
    """The last lines of the trace, all or of one kind ("log", "transfer", "bus", ...)."""
    lines = world.trace.lines()
    start = lines[0]["t"] if lines else 0
    wanted = [x for x in lines if what in (None, x["what"]) and not _is_chatter(x)]
    for line in wanted[-count:]:
        console.print(_render(line, start), soft_wrap=True)


def _follow(world: World, job: Job, console: Console, timeout: float) -> None:
    columns = (
        TextColumn("{task.description}"),
        BarColumn(),
        TaskProgressColumn(),
        TextColumn("status {task.fields[status]}"),
        TimeElapsedColumn(),
    )
    with Progress(*columns, console=console) as progress:
        bar = progress.add_task(job.fqdd, total=100, status="-")
        for report in world.coordinator.follow(job.transaction, timeout):
            progress.update(bar, completed=report.percent, status=report.status)


def _row(device: Device, objects: dict[str, Interfaces]) -> list[str]:
    path = device.kind.object_path(device.index + 1)
    published = objects.get(path, {}).get(names.TAVRIN_INVENTORY, {})
    version = _text(published, "InstalledVersionString")
    port = "open" if device.port_open else "closed"
    blocked = _text(published, "PSUScanBlock")
    return [device.fqdd, version, device.version, device.image_state, port, blocked]


def _text(properties: dict[str, Variant], name: str) -> str:
    return str(properties[name].value) if name in properties else "-"


def _is_chatter(line: Line) -> bool:
    """Whether a trace line is only about the bus itself."""
    return names.BUS in (line.get("sender"), line.get("destination"))


def _render(line: Line, start: int) -> Text:
    if line["what"] != "bus":
        return render(line, start)
    ends = f"{line['sender']} -> {line['destination'] or 'all'}"
    name = line["member"] or line["error"] or "reply"
    body = textwrap.shorten(", ".join(map(str, line["body"])), BODY_WIDTH)
    return Text(f"{(line['t'] - start) / 1e9:10.6f} bus {ends} {name}({body})", style="magenta")
