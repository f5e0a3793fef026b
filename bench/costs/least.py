"""The least that a start and an update can cost, whoever wrote the service.

It follows from what the service is to do: which CPLDs it reads, whom it asks and tells, what it
records, and that every report has a connection of its own.
"""

from __future__ import annotations

from collections.abc import Mapping
from dataclasses import dataclass

from .system_calls import Purpose

# A record: the file is opened, its size asked for and written before the message, the file
# closed.
CALLS_OF_RECORD = 4
# A socket is made and connected; then each side has one word to say of who it is.
CALLS_OF_CONNECTION, WORDS_OF_CONNECTION = 2, 2
# The greeting of the bus, which comes first; its answer, and the signal of the name that one
# got.
SENT_OF_CONNECTION, RECEIVED_OF_CONNECTION = 1, 2


@dataclass(frozen=True)
class Least:
    """The least counts of one phase; those of the same name are explained at `PhaseCosts`.

    `nodes` is how often the node of a CPLD is opened, and closed again, `closed` how many
    connections to the bus are closed. `besides` are further system calls by their purpose.
    """

    nodes: int
    transfers: int
    connections: int
    closed: int
    sent: int
    received: int
    records: int
    platform_calls: int
    besides: Mapping[Purpose, int]

    @property
    def system_calls(self) -> dict[Purpose, int]:
        """By purpose; of one that is not there nothing is needed.

        Of messages it is assumed that each takes one call to send or to receive: that two are
        never handed over at once, nor one in pieces.
        """
        return {
            Purpose.LOG_FILE: CALLS_OF_RECORD * self.records,
            Purpose.CPLDS: 2 * self.nodes + self.transfers,
            Purpose.CONNECTIONS: CALLS_OF_CONNECTION * self.connections + self.closed,
            Purpose.MESSAGES: self.sent
            + self.received
            + WORDS_OF_CONNECTION * self.connections,
            **self.besides,
        }


def of_start(instances: int = 4, kinds: int = 3) -> Least:
    """From the process's start to the registration of the last CPLD."""
    # The service's own, on which it also asks for the platform's number; for the signal that
    # wishes for registrations; for the registrations. The last is closed.
    connections, closed = 3, 1
    subscriptions = 3  # to the power state, to the FRU read, to the wish for registrations
    questions = 3  # the power state, the FRU read, the platform's number
    names = 1
    calls = subscriptions + questions + names + instances
    return Least(
        nodes=instances,
        transfers=instances,
        connections=connections,
        closed=closed,
        # Each of the four interfaces of an instance announces itself.
        sent=SENT_OF_CONNECTION * connections + calls + 4 * instances,
        # Every call is answered; the service is told of the name that it asked for.
        received=RECEIVED_OF_CONNECTION * connections + calls + names,
        # The count of every kind, the state of the FRU read; of every CPLD its transfer and
        # version.
        records=kinds + 1 + 2 * instances,
        # The nodes of every kind; of every instance two questions, and a block for them that is
        # asked for and given back.
        platform_calls=kinds + 4 * instances,
        # The loop is made and told to watch the connection; a thread is made.
        besides={Purpose.EVENT_LOOP: 2, Purpose.THREADS: 1},
    )


def chosen_at_start() -> dict[str, int]:
    """What is more on purpose: the platform's number is asked for on a connection of its own.

    An update's worker asks for the number as well and must not touch the main thread's
    connection; and a question that blocks there would hold its signals back.
    """
    return {
        "connections": 1,
        "closed": 1,
        "sent": SENT_OF_CONNECTION,
        "received": RECEIVED_OF_CONNECTION,
    }


def of_update(steps: int, transfers: int) -> Least:
    """From the job's first property to the end of its worker.

    `steps` are the percentages that the library tells, `transfers` those that the kind's port
    takes to be opened and closed.
    """
    reports = 1 + steps + 1
    incoming = 4  # three properties and the call, each answered
    return Least(
        nodes=2,
        transfers=transfers,
        connections=reports,
        closed=reports,
        sent=(SENT_OF_CONNECTION + 1) * reports + incoming,
        received=(RECEIVED_OF_CONNECTION + 1) * reports + incoming,
        # The transfers; the count of the kind at the port's opening and closing; the outcome.
        records=transfers + 2 + 1,
        # The nodes twice; the library's object made, asked for its codes, and destroyed.
        platform_calls=2 + 3,
        besides={
            # The folder: open, list, close. The payload: open, read the header, ask for the
            # size, read the rest, close. The key: open, read, close.
            Purpose.PAYLOAD: 3 + 5 + 3,
            # The worker's beginning and end. The loop is needed for nothing: the worker might
            # set its property by itself.
            Purpose.THREADS: 2,
        },
    )
