"""The system calls of a service, as `strace -f -y -ttt` tells them, by what they are for."""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator
from dataclasses import dataclass, replace

# "<number of the thread> <seconds> <rest>"
_LINE = re.compile(r"(\d+) +(\d+\.\d+) (.*)")
_BEGUN = " <unfinished ...>"
_RESUMED = re.compile(r"<\.\.\. (\w+) resumed>(.*)")

# Whatever goes on in the simulated controller is not the service's: its files, the numbers that it
# writes into every line of its trace, and the one that its JSON library draws in a process.
_SIMULATION = re.compile(r"/board/|^(?:getpid|gettid)\(|^getrandom\(.*, 4, GRND_NONBLOCK\)")

LOG_FILE, CPLDS, PAYLOAD = "log file", "CPLDs", "payload and key"
MESSAGES, CONNECTIONS, OTHERS = "messages", "connections", "others"
# Up to the first connection to the bus: libraries are loaded, libcrypto sets itself up.
PROCESS_START = "process start"
WAITING, MEMORY = "waiting", "memory"

# Not counted: the libraries of the machine decide on the first, who was faster on the second, and
# on the third where the C library finds room for a thread.
INCIDENTAL = (PROCESS_START, WAITING, MEMORY)

# The first that fits is what the call is for.
_PATTERNS = {
    WAITING: r"(?:ppoll|epoll_wait|futex|clock_nanosleep|restart_syscall)\(|recvmsg\(.* EAGAIN ",
    LOG_FILE: r"\w+\(.*/var/log/tavrinupdate\.log",
    CPLDS: r"\w+\(.*i2c ",
    PAYLOAD: r"\w+\(.*(?:/payloads/|/etc/shared_keys/)",
    MESSAGES: r"(?:sendmsg|recvmsg)\(",
    CONNECTIONS: (
        r"(?:socket|connect)\("
        r"|(?:[gs]etsockopt|getsockname|newfstatat|close|fcntl)\(\d+<socket:"
    ),
    # A thread's stack is the thread's.
    MEMORY: r"(?:brk|munmap|mprotect)\(|mmap\((?!.*MAP_STACK)",
}


@dataclass(frozen=True)
class SystemCall:
    """One call: who made it, when, in the words of the tool that saw it, and what for."""

    thread: int
    time: float
    text: str
    purpose: str = OTHERS


def read(lines: Iterable[str]) -> list[SystemCall]:
    """The service's calls from its process's start on, in the order in which they began."""
    calls = sorted(_whole(lines), key=lambda call: call.time)
    main_thread = calls[0].thread
    connected = False
    own = []
    for call in calls:
        connected = connected or call.text.startswith("socket(")
        purpose = _purpose(call.text) if connected else PROCESS_START
        # The programming library reads the payload for itself, on the worker's thread.
        of_library = purpose == PAYLOAD and call.thread != main_thread
        if not of_library and not _SIMULATION.search(call.text):
            own.append(replace(call, purpose=purpose))
    return own


def _purpose(text: str) -> str:
    fitting = (purpose for purpose, pattern in _PATTERNS.items() if re.match(pattern, text))
    return next(fitting, OTHERS)


def _whole(lines: Iterable[str]) -> Iterator[SystemCall]:
    """Every call in one piece: where threads run side by side, a call may be told in two."""
    begun: dict[int, SystemCall] = {}
    for line in lines:
        match = _LINE.match(line)
        if match is None:
            continue
        thread, time, text = int(match[1]), float(match[2]), match[3]
        if text.startswith(("+++", "---")):
            continue
        if text.endswith(_BEGUN):
            begun[thread] = SystemCall(thread, time, text.removesuffix(_BEGUN))
        elif resumed := _RESUMED.match(text):
            first = begun.pop(thread)
            yield SystemCall(thread, first.time, first.text + resumed[2])
        else:
            yield SystemCall(thread, time, text)
    yield from begun.values()
