"""The system calls of a service, as `strace -f -y -ttt` writes them down, by what they are for."""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator
from dataclasses import dataclass, replace

# "<number of the thread> <seconds> <rest>"
_LINE = re.compile(r"(\d+) +(\d+\.\d+) (.*)")
_BEGUN = " <unfinished ...>"
_RESUMED = re.compile(r"<\.\.\. (\w+) resumed>(.*)")

# Whatever goes on in the simulated controller is not the service's: its files, and the numbers that
# it writes into every line of its trace.
_SIMULATION = re.compile(r"/board/|^(?:getpid|gettid)\(")

WAITING = "waiting"
PAYLOAD = "payload and key"

# Up to the first connection to the bus: libraries are loaded, libcrypto sets itself up.
PROCESS_START = "process start"

# The first purpose that fits is the call's. How often somebody has to wait, or looks whether
# something has come, depends on who was faster: the rest is the same in every run.
_PURPOSES = (
    (
        WAITING,
        r"(?:ppoll|epoll_wait|futex|clock_nanosleep|restart_syscall)\(|recvmsg\(.* EAGAIN ",
    ),
    ("log file", r"\w+\(.*/var/log/tavrinupdate\.log"),
    ("CPLDs", r"\w+\(.*i2c "),
    (PAYLOAD, r"\w+\(.*(?:/payloads/|/etc/shared_keys/)"),
    ("messages", r"(?:sendmsg|recvmsg)\("),
    (
        "connections",
        r"(?:socket|connect)\(|(?:[gs]etsockopt|getsockname|newfstatat|close|fcntl)\(\d+<socket:",
    ),
    (
        "event loop",
        r"(?:eventfd2|epoll_create1|timerfd_create|epoll_ctl)\(|\w+\(\d+<anon_inode:",
    ),
    (
        "threads",
        r"(?:clone3|set_robust_list|rseq|rt_sigprocmask|exit|madvise|prctl)\(|.*MAP_STACK",
    ),
    ("memory", r"(?:brk|mmap|munmap|mprotect)\("),
)
_PATTERNS = [(purpose, re.compile(pattern)) for purpose, pattern in _PURPOSES]
OTHERS = "others"
PURPOSES = (PROCESS_START, *(purpose for purpose, _ in _PURPOSES), OTHERS)


@dataclass(frozen=True)
class SystemCall:
    """One call: who made it, when, in the words of the tool that saw it, and what for."""

    thread: int
    time: float
    text: str
    purpose: str = OTHERS

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
        purpose = _purpose(call.text) if connected else PROCESS_START
        # The programming library reads the payload for itself, on the worker's thread.
        of_library = purpose == PAYLOAD and call.thread != main_thread
        if not of_library and not _SIMULATION.search(call.text):
            own.append(replace(call, purpose=purpose))
    return own


def _purpose(text: str) -> str:
    return next((purpose for purpose, pattern in _PATTERNS if pattern.match(text)), OTHERS)


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
