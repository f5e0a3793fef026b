"""The counts that later ones are compared with, and why they are what they are.

System calls and allocations depend on a machine's libraries: the counts are those of MACHINE. A
count that is changed on purpose is written down here, with the reason.
"""

from __future__ import annotations

MACHINE = "x86_64 Debian 12"

Counts = dict[str, int]

# With 2 PBB, 1 PDB and 1 FLOP, to the registration of the last one.
_START: Counts = {
    "transfers": 4,  # the version of each CPLD
    # The service's own; for the platform's number, since a question that blocks there would hold
    # back the service's signals; for the wish for registrations; for the registrations.
    "connections": 4,
    # Of each connection a greeting, its answer and the name that it got; 11 calls with their
    # answers (3 subscriptions, 3 questions, the name, 4 registrations), the signal of the name;
    # each of the 4 interfaces of each CPLD announces itself.
    "messages": 51,
    "records": 12,  # the count of each kind, the state of the FRU read; two of each CPLD
    "platform calls": 19,  # the nodes of each kind; of each CPLD 2 questions, and a block twice
    "system calls, log file": 60,  # 5 a record: opened, two looks at its size, written, closed
    "system calls, CPLDs": 12,  # 3 a CPLD: its node is opened, one transfer, closed
    "system calls, connections": 66,  # sd-bus sets up each socket
    "system calls, messages": 79,  # sd-bus reads a message's head and its rest apart
    "system calls": 245,  # besides: random numbers for sd-bus's tables, the event loop, the thread
    "allocations": 17387,  # most of them libcrypto's, which sets itself up, and sd-bus's vtables
    "instructions": 70091,  # an eighth of them guard the stack and the control flow
}

_UPDATE: Counts = {
    "transfers": 6,  # the lock bit is read, written and read again, to open and to close the port
    "connections": 13,  # a report has one of its own: the start, 0 to 100 %, the outcome
    # Of each report the connection's 3, the call and its answer; 3 properties and the call of the
    # job with their answers.
    "messages": 73,
    "records": 9,  # each transfer; the count of the kind at opening and closing; the outcome
    "platform calls": 5,  # the nodes twice; the library's object made, asked, destroyed
    "system calls, log file": 45,
    "system calls, CPLDs": 10,
    "system calls, connections": 221,
    "system calls, messages": 142,
    "system calls, payload and key": 23,  # each file is opened, asked what it is, read, closed
    "system calls": 462,  # besides: the worker's thread, and its end told to the event loop
    "allocations": 6320,  # most of them libcrypto's check and sd-bus's connections
}

# The version of a FLOP is read before its port's register is.
_FLOP: Counts = {
    "transfers": 8,
    "records": 11,
    "system calls, log file": 55,
    "system calls, CPLDs": 12,
    "system calls": 469,
}

# By what was done.
RECORDED: dict[str, Counts] = {
    "start": _START,
    "pbb": _UPDATE | {"instructions": 16854},
    "pdb": _UPDATE,
    "flop": _UPDATE | _FLOP,
}

# How far from what was written down a count may be: less is to be written down as well.
TOLERATED = 0.05


def changes(counts: dict[str, Counts], before: dict[str, Counts]) -> list[str]:
    """What has moved by more than that, in words."""
    keys = {(phase, name) for all_ in (counts, before) for phase in all_ for name in all_[phase]}
    pairs = {
        key: (counts.get(key[0], {}).get(key[1]), before.get(key[0], {}).get(key[1]))
        for key in sorted(keys)
    }
    return [
        f"{phase}: {name}: {now}, was {was}"
        for (phase, name), (now, was) in pairs.items()
        if now is None or was is None or abs(now - was) > TOLERATED * was
    ]
