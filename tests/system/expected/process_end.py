"""What the process entry says of an exception, by what doubles/throwing.cpp calls it."""

from __future__ import annotations

LINE_OF_EXCEPTION = [
    ("boost", "[main] : I/OException: loop: Input/output error\n"),
    ("system", "[main] : System Exception: thread: Input/output error\n"),
    (
        "bus",
        "[main] : DBus Exception: bus: System.Error.ENOTCONN: "
        "Transport endpoint is not connected\n",
    ),
    # One that is of both kinds is told as the bus error that it is.
    ("bus and system", "[main] : DBus Exception: both\n"),
    ("general", "[main] : General Exception: surprise\n"),
]
