"""What the service did, as short lines in the order in which it happened.

    E text      a line of the error log          T text      a line of the trace log
    L 5/273 ..  a platform-log line of others
    open, i2c, close                             the I2C device of one CPLD
    call name(arguments) = result                the platform's libraries
    > member(body)                               a call that reached another service

A call stands where it reached the other service, which is before the service got its answer. The
thread's number in a worker's lines reads `THREAD`, a descriptor's number reads `FD`.
"""

from __future__ import annotations

import re
from typing import Any

from tavrinsim import names
from tavrinsim.connection import plain
from tavrinsim.world import World

Line = dict[str, Any]

REGISTER = "cmnfwupd_client_register"


def sequence(world: World, start: int = 0, **only: Any) -> list[str]:
    """All of it from trace line `start` on; `only` as in `Trace.select` (for instance tid=)."""
    own = world.trace.select(lambda line: line["what"] in _RENDERED, start=start, **only)
    begin = _time_of(world, start)
    merged = [(line["t"], _RENDERED[line["what"]](line)) for line in own]
    if not only:
        merged += [entry for entry in _calls(world) if entry[0] >= begin]
    return [text for _, text in sorted(merged, key=lambda entry: entry[0])]


def job_sequence(world: World, start: int = 0) -> list[str]:
    """The same of one job: the main thread's part, then all of the worker's.

    For a moment both threads run side by side; their lines are told apart, so that the
    order does not hang on who was faster. What registers the components at the same time
    belongs to no job and is left out.
    """
    registering = _registering_threads(world)
    own = world.trace.select(
        lambda line: line["what"] in _RENDERED and line["tid"] not in registering, start=start
    )
    starts = [line["t"] for line in own if _is_worker(line)]
    worker_starts = min(starts, default=float("inf"))
    merged = [(_is_worker(line), line["t"], _RENDERED[line["what"]](line)) for line in own]
    merged += [
        (time >= worker_starts, time, text)
        for time, text in _calls(world)
        if time >= _time_of(world, start) and REGISTER not in text
    ]
    return [text for *_, text in sorted(merged, key=lambda entry: entry[:2])]


def coordinator_traffic(world: World, start: int = 0) -> list[str]:
    """What the coordinator and the service told each other, as it went over the bus."""
    service, coordinator = world.client.owner(), world.coordinator.connection.unique_name
    messages = world.trace.select(what="bus", start=start)
    return [
        _message_text(message)
        for message in messages
        if message["member"] != REGISTER and _concerns(message, service, coordinator)
    ]


def logs(world: World, start: int = 0) -> list[str]:
    """The log lines alone."""
    return [line for line in sequence(world, start) if line[:2] in ("E ", "T ", "L ")]


def records(lines: list[str]) -> str:
    """The log file that these lines leave behind."""
    text = ""
    for line in lines:
        text += f"{len(text)} : {line[2:]}" if line.startswith("E ") else ""
    return text


def _time_of(world: World, start: int) -> float:
    lines = world.trace.lines()
    if start < len(lines):
        return float(lines[start]["t"]) if start else 0.0
    return float("inf")  # nothing has happened since


def _is_worker(line: Line) -> bool:
    """Whether it is not the main thread's, whose number is the process's."""
    return bool(line["tid"] != line["pid"])


def _registering_threads(world: World) -> set[int]:
    tag = "[regSignalThreadHandler]"
    lines = world.trace.select(lambda line: line.get("text", "").startswith(tag), what="log")
    return {line["tid"] for line in lines}


def _calls(world: World) -> list[tuple[int, str]]:
    calls = [call for peer in world.peers for call in list(peer.calls)]
    return [(int(call.time * 1e9), _call_text(call.member, call.body)) for call in calls]


def _call_text(member: str, body: list[Any]) -> str:
    return f"> {member}({', '.join(str(plain(value)) for value in body)})"


def _concerns(message: Line, service: str | None, coordinator: str | None) -> bool:
    between = (message["sender"], message["destination"])
    announced = message["sender"] == service and message["type"] == "signal"
    asked = between in ((coordinator, names.SERVICE), (service, coordinator))
    return announced or asked or message["destination"] == names.COORDINATOR


def _message_text(message: Line) -> str:
    values = ", ".join(map(str, message["body"]))
    if message["type"] == "method_call":
        where = message["path"].rpartition("/")[2]
        return f"{where}.{message['member']}({values})"
    return f"{message['type']}({values})"


def _log(line: Line) -> str:
    text = line["text"]
    text = re.sub(r"^\[FW_update:\d+\]", "[FW_update:THREAD]", text)
    text = re.sub(r"fd:\d+\n$", "fd:FD\n", text)
    origin = {(1, 352): "E", (4, 352): "T"}.get((line["level"], line["module"]))
    return f"{origin or 'L {}/{}'.format(line['level'], line['module'])} {text}"


def _transfer(line: Line) -> str:
    parts = []
    for message in line["messages"]:
        assert message["addr"] == 0x63, message
        assert message["len"] * 2 == len(message["data"]) or line["result"] < 0, message
        parts.append(f"{'r' if message['flags'] & 1 else 'w'}:{message['data']}")
    error = f" errno {line['errno']}" if line["result"] < 0 else ""
    return f"i2c {line['device']} {' '.join(parts)}{error}"


def _open(line: Line) -> str:
    return f"open {line['device']}" + (f" errno {line['errno']}" if line["result"] < 0 else "")


def _close(line: Line) -> str:
    return f"close {line['device']}"


def _call(line: Line) -> str:
    if line["name"] in ("sm.alloc_mem", "sm.free_mem"):
        return f"call {line['name']}"  # what else it says are addresses
    given = ", ".join(str(value) for value in line["args"].values())
    result = "" if line["result"] is None else f" = {line['result']}"
    return f"call {line['name']}({given}){result}"


_RENDERED = {
    "log": _log,
    "transfer": _transfer,
    "open": _open,
    "close": _close,
    "call": _call,
}
