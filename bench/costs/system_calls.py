"""The system calls of a service, as `strace -f -y -ttt` tells them, by what they are for."""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator
from dataclasses import dataclass, replace
from enum import StrEnum

# "<number of the thread> <seconds> <rest>"
_LINE = re.compile(r"(\d+) +(\d+\.\d+) (.*)")
_BEGUN = " <unfinished ...>"
_RESUMED = re.compile(r"<\.\.\. (\w+) resumed>(.*)")

# Whatever goes on in the simulated controller is not the service's: its files, and the numbers
# that it writes into every line of its trace.
_SIMULATION = re.compile(r"/board/|^(?:getpid|gettid)\(")


class Purpose(StrEnum):
    """What a call is for."""

    # Up to the first connection to the bus: libraries are loaded, libcrypto sets itself up.
    PROCESS_START = "process start"
    WAITING = "waiting"
    LOG_FILE = "log file"
    CPLDS = "CPLDs"
    PAYLOAD = "payload and key"
    MESSAGES = "messages"
    CONNECTIONS = "connections"
    EVENT_LOOP = "event loop"
    THREADS = "threads"
    RANDOM_NUMBERS = "random numbers"
    MEMORY = "memory"
    OTHERS = "others"


# The first that fits is the call's purpose.
_PATTERNS = {
    Purpose.WAITING: (
        r"(?:ppoll|epoll_wait|futex|clock_nanosleep|restart_syscall)\(|recvmsg\(.* EAGAIN "
    ),
    Purpose.LOG_FILE: r"\w+\(.*/var/log/tavrinupdate\.log",
    Purpose.CPLDS: r"\w+\(.*i2c ",
    Purpose.PAYLOAD: r"\w+\(.*(?:/payloads/|/etc/shared_keys/)",
    Purpose.MESSAGES: r"(?:sendmsg|recvmsg)\(",
    Purpose.CONNECTIONS: (
        r"(?:socket|connect)\("
        r"|(?:[gs]etsockopt|getsockname|newfstatat|close|fcntl)\(\d+<socket:"
    ),
    Purpose.EVENT_LOOP: (
        r"(?:eventfd2|epoll_create1|timerfd_create|epoll_ctl)\("
        r"|\w+\(\d+<anon_inode:|ioctl\(.* FIONBIO"
    ),
    # The signal is the one that the C library keeps for its threads.
    Purpose.THREADS: (
        r"(?:clone3|set_robust_list|rseq|rt_sigprocmask|exit|madvise|prctl)\("
        r"|.*MAP_STACK|rt_sigaction\(SIGRT_1,"
    ),
    Purpose.RANDOM_NUMBERS: r"getrandom\(",
    Purpose.MEMORY: r"(?:brk|mmap|munmap|mprotect)\(",
}


@dataclass(frozen=True)
class SystemCall:
    """One call: who made it, when, in the words of the tool that saw it, and what for."""

    thread: int
    time: float
    text: str
    purpose: Purpose = Purpose.OTHERS

    @property
    def name(self) -> str:
        """Such as "openat"."""
        return self.text.partition("(")[0]


def read(lines: Iterable[str]) -> list[SystemCall]:
    """The service's calls from its process's start on, in the order in which they began."""
    calls = sorted(_whole(lines), key=lambda call: call.time)
    main_thread = calls[0].thread
    connected = False
    own = []
    for call in calls:
        connected = connected or call.name == "socket"
        purpose = _purpose(call.text) if connected else Purpose.PROCESS_START
        # The programming library reads the payload for itself, on the worker's thread.
        of_library = purpose == Purpose.PAYLOAD and call.thread != main_thread
        if not of_library and not _SIMULATION.search(call.text):
            own.append(replace(call, purpose=purpose))
    return own


def _purpose(text: str) -> Purpose:
    fitting = (purpose for purpose, pattern in _PATTERNS.items() if re.match(pattern, text))
    return next(fitting, Purpose.OTHERS)


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
