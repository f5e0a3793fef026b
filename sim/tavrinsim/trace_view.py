"""The trace for a person's eyes."""

from __future__ import annotations

import argparse
from collections.abc import Callable

from rich.console import Console
from rich.text import Text

from .trace import Line, Trace

ERROR_LEVEL = 1


def render(line: Line, start: int) -> Text:
    """One line: seconds since `start` (nanoseconds), who, what happened."""
    text = Text(f"{(line['t'] - start) / 1e9:10.6f} ", style="dim")
    text.append(f"{line['pid']:>7} ", style="dim")
    text.append(f"{line['what']:<9}", style="bold")
    describe = _DESCRIPTIONS.get(line["what"], _anything)
    return text.append_text(describe(line))


def _log(line: Line) -> Text:
    style = "yellow" if line["level"] == ERROR_LEVEL else ""
    return Text(
        f"{line['level']} {line['module']} {line['text'].rstrip()}", style=style
    )


def _transfer(line: Line) -> Text:
    parts = [
        f"{'read' if message['flags'] & 1 else 'write'} {message['data'] or '-'}"
        for message in line["messages"]
    ]
    return Text(f"{line['device']} {', '.join(parts)}").append_text(_error(line))


def _open(line: Line) -> Text:
    return Text(f"{line['device']} {line['path']} = {line['result']}").append_text(
        _error(line)
    )


def _error(line: Line) -> Text:
    return Text(f" errno {line['errno']}" if line["errno"] else "", style="red")


def _call(line: Line) -> Text:
    given = ", ".join(f"{name}={value}" for name, value in line["args"].items())
    result = "" if line["result"] is None else f" = {line['result']}"
    return Text(f"{line['name']}({given}){result}", style="cyan")


def _device(line: Line) -> Text:
    return Text(" ").join(
        Text(str(value), style="green") for value in _own_members(line)
    )


def _anything(line: Line) -> Text:
    members = {name: line[name] for name in line if name not in _COMMON}
    return Text(" ".join(f"{name}={value}" for name, value in members.items()))


def _own_members(line: Line) -> list[object]:
    return [value for name, value in line.items() if name not in _COMMON]


_COMMON = ("t", "pid", "tid", "what")
_DESCRIPTIONS: dict[str, Callable[[Line], Text]] = {
    "log": _log,
    "transfer": _transfer,
    "open": _open,
    "call": _call,
    "device": _device,
}


def main() -> None:
    """Prints a trace file."""
    parser = argparse.ArgumentParser(prog="tavrinsim.trace", description=main.__doc__)
    parser.add_argument("file", help="trace.jsonl of a board")
    parser.add_argument("--follow", action="store_true", help="go on as the file grows")
    arguments = parser.parse_args()
    trace = Trace(arguments.file)
    console = Console(highlight=False, soft_wrap=True)
    start = 0
    for line in trace.follow() if arguments.follow else trace.lines():
        start = start or line["t"]
        console.print(render(line, start))
