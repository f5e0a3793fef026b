"""The least that a start and an update can cost, whoever wrote the service.

It follows from what the service is to do: which CPLDs it reads, whom it asks and tells, what it
records, and that every report and every question for the platform's number has a connection of its
own.
"""

from __future__ import annotations

from collections.abc import Mapping
from dataclasses import dataclass

# A record: the file is opened, its size asked for and written before the message, the file closed.
CALLS_OF_RECORD = 4
# A socket is made and connected; then each side has one word to say of who it is.
CALLS_OF_CONNECTION, WORDS_OF_CONNECTION = 2, 2


@dataclass(frozen=True)
class Least:
    """The least counts of one phase; those of the same name are explained at `PhaseCosts`.

    `nodes` is how often the node of a CPLD is opened, and closed again, `closed` how many connections
    to the bus are closed. `besides` are further system calls by their purpose.
    """

    nodes: int
    transfers: int
    connections: int
    closed: int
    sent: int
    received: int
    records: int
    platform_calls: int
    besides: Mapping[str, int]

    @property
    def system_calls(self) -> dict[str, int]:
        """Those that can be derived, by purpose."""
        return {
            "log file": CALLS_OF_RECORD * self.records,
            "CPLDs": 2 * self.nodes + self.transfers,
            "connections": CALLS_OF_CONNECTION * self.connections + self.closed,
            "messages": self.sent + self.received + WORDS_OF_CONNECTION * self.connections,
            **self.besides,
        }


def of_start(instances: int = 4, kinds: int = 3) -> Least:
    """From the process's start to the registration of the last CPLD."""
    # The service's own; for the platform's number; for the signal that asks for registrations; for
    # the registrations. The second and the last are closed.
    connections, closed = 4, 2
    subscriptions = 3  # to the power state, to the FRU read, to the wish for registrations
    questions = 3  # the power state, the FRU read, the platform's number
    names = 1
    calls = connections + subscriptions + questions + names + instances
    return Least(
        nodes=instances,
        transfers=instances,
        connections=connections,
        closed=closed,
        # Each of the four interfaces of an instance announces itself.
        sent=calls + 4 * instances,
        # Every call is answered, and of every name that a connection gets it is told.
        received=calls + connections + names,
        # The count of every kind, the state of the FRU read; of every CPLD its transfer and version.
        records=kinds + 1 + 2 * instances,
        # The nodes of every kind; of every instance two questions, and a block for them that is
        # asked for and given back.
        platform_calls=kinds + 4 * instances,
        # The loop is made and told to watch the connection; a thread is made.
        besides={"event loop": 2, "threads": 1},
    )


def of_update(steps: int, transfers: int) -> Least:
    """From the job's first property to the end of its worker.

    `steps` are the percentages that the library tells, `transfers` those that the kind's port takes
    to be opened and closed.
    """
    reports = 1 + steps + 1
    incoming = 4  # three properties and the call, each answered
    return Least(
        nodes=2,
        transfers=transfers,
        connections=reports,
        closed=reports,
        # The report itself, and the greeting of the bus that comes first on every connection.
        sent=2 * reports + incoming,
        # An answer to each of both, and the name that the connection gets.
        received=3 * reports + incoming,
        # The transfers; the count of the kind at the port's opening and closing; the outcome.
        records=transfers + 2 + 1,
        # The nodes twice; the library's object made, asked for its codes, and destroyed; in between
        # each percentage and the end of the run.
        platform_calls=2 + 3 + steps + 1,
        besides={
            # The folder: open, list, close. The payload: open, read the header, ask for the size,
            # read the rest, close. The key: open, read, close.
            "payload and key": 3 + 5 + 3,
            # The worker's word that it has finished is written and read.
            "event loop": 2,
            # The worker's beginning and end.
            "threads": 2,
        },
    )
