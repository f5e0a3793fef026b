"""What the service itself sent over the bus, connection by connection."""

from __future__ import annotations

from typing import Any

from tavrinsim import names
from tavrinsim.world import World

# The interfaces that every object has.
STANDARD = ("org.freedesktop.DBus.",)


def settled_mark(world: World) -> int:
    """A place in the trace behind all that was on the bus until now."""
    before = world.trace.mark()
    world.client.call(names.BUS, names.BUS_PATH, names.BUS, "GetId")
    world.trace.wait_for(what="bus", member="GetId", start=before)
    return world.trace.mark()


def sent(world: World, start: int) -> list[list[str]]:
    """Every message of the service since a `settled_mark`, one list a connection.

    The connections stand in the order in which they were made. Nobody else may come to
    the bus meanwhile.
    """
    connections: dict[str, list[str]] = {}
    for message in world.trace.select(what="bus", start=start):
        sender = message["sender"]
        if message["member"] == "Hello":
            connections[sender] = []
        if sender in connections:
            connections[sender].append(_text(message))
    return list(connections.values())


def signals(world: World, start: int = 0, **fields: Any) -> list[dict[str, Any]]:
    """The signals that the owner of the service's name sent."""
    owner = world.client.owner()
    return world.trace.select(what="bus", type="signal", sender=owner, start=start, **fields)


def _text(message: dict[str, Any]) -> str:
    if message["type"] != "method_call":
        return _announcement(message)
    values = ", ".join(map(str, message["body"]))
    text = f"{message['member']}({values})"
    bus = message["destination"] == names.BUS
    return text if bus else f"{text} to {message['destination']} {message['path']}"


def _announcement(message: dict[str, Any]) -> str:
    verb = {"InterfacesAdded": "added", "InterfacesRemoved": "removed"}.get(message["member"])
    if verb is None:
        return f"{message['type']} {message['member']} {message['body']}"
    path, interfaces = message["body"]
    own = sorted(i.rpartition(".")[2] for i in interfaces if not i.startswith(STANDARD))
    return f"{path.rpartition('/')[2]} {verb}: {', '.join(own)}"
