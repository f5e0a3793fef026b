"""Clients that read everything without a pause, and how long they waited for their answers.

The service reads and answers on one thread, so a reader waits for as long as that thread is
kept busy by somebody else. In a healthy controller that is the other readers' answers, and
a job's way to its worker: the check of the payload and the transfers that open the port.
docs/reliability.md has the waits that may take longer; none of a worker's (programming, its pauses
of 1 s and 0.5 s, its reports) is among them.
"""

from __future__ import annotations

import multiprocessing
import os
import selectors
import socket
import statistics
import struct
import time
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass, field
from itertools import cycle
from multiprocessing.connection import Connection

from dbus_next import Message, MessageType
from tavrinsim import names
from tavrinsim.world import World

CLIENTS = 16

INTERFACES = (
    names.COMP_UPDATE,
    names.REGISTRATION,
    names.BASE_INVENTORY,
    names.TAVRIN_INVENTORY,
)

# Sixteen answers take some milliseconds each time, on a machine that has other things to do as well.
# Less than the longest pause of a worker: one that came onto the wrong thread would be seen.
P99_MS = 200
LONGEST_MS = 900


@dataclass
class Waits:
    """What the readers saw; times in milliseconds, 0 while they still read."""

    calls: int = 0
    failures: int = 0
    median: float = 0
    p99: float = 0
    longest: float = 0

    def violations(self) -> list[str]:
        """What a reader may complain of in a healthy controller."""
        words = [f"{self.failures} reads failed"] if self.failures else []
        if self.p99 > P99_MS:
            words.append(f"one of a hundred reads took {self.p99:.0f} ms or more")
        if self.longest > LONGEST_MS:
            words.append(f"a read took {self.longest:.0f} ms")
        return words


@contextmanager
def reading(world: World, clients: int = CLIENTS) -> Iterator[Waits]:
    """All clients read, from before the block until its end; what they saw is known then."""
    waits = Waits()
    paths = [device.kind.object_path(device.index + 1) for device in world.board.devices]
    # In a process of their own: nothing else keeps them from their answers there.
    context = multiprocessing.get_context("spawn")
    ours, theirs = context.Pipe()
    process = context.Process(target=_read, args=(world.bus.address, clients, paths, theirs))
    process.start()
    theirs.close()
    ours.recv()
    try:
        yield waits
    finally:
        ours.send("enough")
        times, waits.failures = ours.recv()
        process.join()
    waits.calls, waits.median, waits.longest = len(times), statistics.median(times), max(times)
    waits.p99 = statistics.quantiles(times, n=100)[98]


@dataclass
class _Client:
    """A connection that asks its next question as soon as it has its answer.

    Nobody looks at the answers: they are not read further than to their end.
    """

    connection: socket.socket
    questions: Iterator[bytes]
    answer: bytes = b""
    asked: float = 0
    times: list[float] = field(default_factory=list)
    failures: int = 0

    def ask(self) -> None:
        """Sends a question, of which the socket has room for many."""
        self.asked = time.monotonic()
        self.connection.sendall(next(self.questions))

    def hear(self) -> list[MessageType]:
        """Takes what there is; the kinds of the messages that are whole."""
        received = self.connection.recv(1 << 20)
        if not received:
            raise ConnectionError("the bus has gone")
        self.answer += received
        kinds = []
        while (size := _size(self.answer)) <= len(self.answer):
            kinds.append(MessageType(self.answer[1]))
            self.answer = self.answer[size:]
        return kinds

    def go_on(self) -> None:
        """Asks on where an answer is whole."""
        for kind in self.hear():
            if kind is not MessageType.SIGNAL:  # such as that of the connection's own name
                self.times.append(1000 * (time.monotonic() - self.asked))
                self.failures += kind is MessageType.ERROR
                self.ask()


# The shortest head of a message, whose fields are of no matter here.
_HEAD = struct.Struct("<4xI4xI")


def _size(message: bytes) -> int:
    """Of the whole message that begins so."""
    if len(message) < _HEAD.size:
        return _HEAD.size
    body, fields = _HEAD.unpack_from(message)
    return int(_HEAD.size + -(-fields // 8) * 8 + body)


def _read(address: str, clients: int, paths: list[str], told: Connection) -> None:
    """Tells when each client has had an answer; reads until it is told anything; tells what was seen."""
    everything = (names.OBJECT_ROOT, names.OBJECT_MANAGER, "GetManagedObjects")
    properties = [
        _question(path, names.PROPERTIES, "GetAll", interface)
        for path in paths
        for interface in INTERFACES
    ]
    all_questions = [_question(*everything), *properties]
    ready = selectors.DefaultSelector()
    readers = [_connected(address, cycle(all_questions)) for _ in range(clients)]
    for reader in readers:
        ready.register(reader.connection, selectors.EVENT_READ, reader)
        reader.ask()
    begun = False
    while not told.poll():
        for key, _ in ready.select(0.1):
            key.data.go_on()
        if not begun and all(reader.times for reader in readers):
            begun = True
            told.send("reading")
    times = [one for reader in readers for one in reader.times]
    told.send((times, sum(reader.failures for reader in readers)))


def _connected(address: str, questions: Iterator[bytes]) -> _Client:
    """A client on the bus, with a name of its own."""
    connection = socket.socket(socket.AF_UNIX)
    connection.connect(address.partition("path=")[2].partition(",")[0])
    user = str(os.geteuid()).encode().hex().encode()
    connection.sendall(b"\0AUTH EXTERNAL " + user + b"\r\n")
    if not connection.recv(1024).startswith(b"OK "):
        raise RuntimeError(f"no way to the bus at {address}")
    hello = Message(names.BUS, names.BUS_PATH, names.BUS, "Hello", serial=1)
    connection.sendall(b"BEGIN\r\n" + hello._marshall())
    client = _Client(connection, questions)
    while MessageType.METHOD_RETURN not in client.hear():
        pass
    return client


def _question(path: str, interface: str, member: str, *argument: str) -> bytes:
    """A call of the service; each connection waits for one answer at a time."""
    words = {"signature": "s" * len(argument), "body": list(argument), "serial": 2}
    return bytes(Message(names.SERVICE, path, interface, member, **words)._marshall())
