"""Why a service takes more system calls than the least."""

from __future__ import annotations

from .system_calls import Purpose
from .watched_run import START

OF_BOTH = {
    Purpose.LOG_FILE: "the record asks for its place once more",
    Purpose.CONNECTIONS: "sd-bus asks for and sets the socket's buffers, asks who the bus is",
    Purpose.MESSAGES: "sd-bus reads a message's head and its rest apart",
    Purpose.THREADS: "the C library gives each its stack, its signals' mask, its list of locks",
    Purpose.PAYLOAD: "each file is asked what it is, and read to its end",
    Purpose.MEMORY: "the C library grows its heaps, and finds a new one for a thread",
    Purpose.PROCESS_START: "the loader maps the libraries, libcrypto sets itself up",
    Purpose.WAITING: "how often depends on who was faster",
}

_ONE_CONNECTION_MORE = "one connection more, as above; "

OF_START = {
    Purpose.CONNECTIONS: _ONE_CONNECTION_MORE + OF_BOTH[Purpose.CONNECTIONS],
    Purpose.MESSAGES: _ONE_CONNECTION_MORE + OF_BOTH[Purpose.MESSAGES],
    Purpose.RANDOM_NUMBERS: "sd-bus has hash tables, each of which draws a key",
    Purpose.EVENT_LOOP: (
        "the loop has a timer and a waker, and asks anew for readiness after each turn"
    ),
}

OF_UPDATE = {
    Purpose.EVENT_LOOP: (
        "the worker hands its end over by a descriptor, so that its property is set on the "
        "bus's own thread: the service's choice; the loop asks for readiness after each turn"
    ),
}


def reason(phase: str, purpose: Purpose) -> str:
    """In words. Raises where nobody knows one: then there is something to be found out."""
    reasons = OF_BOTH | (OF_START if phase == START else OF_UPDATE)
    if purpose not in reasons:
        raise RuntimeError(
            f"{phase}: more system calls than needed, {purpose}, for no known reason"
        )
    return reasons[purpose]
