"""What a running service holds of the machine: descriptors, threads, memory."""

from __future__ import annotations

import os
import re
from collections import Counter
from contextlib import suppress
from dataclasses import dataclass
from pathlib import Path

# The numbers of sockets and pipes differ from run to run; their kind is what counts.
_INODE = re.compile(r"\[\d+\]$")


@dataclass(frozen=True)
class Resources:
    """A snapshot of one process, by its real number.

    `descriptors` counts what they lead to ("socket:", "anon_inode:[eventpoll]", a path),
    `threads` are kernel thread numbers, `private_kib` is memory that the process has written and
    shares with nobody. Pages of program files are not in it: they count as private or shared by
    how many processes run the same program.
    """

    descriptors: Counter[str]
    threads: frozenset[int]
    private_kib: int

    @classmethod
    def of(cls, pid: int) -> Resources:
        """What the process holds now."""
        return cls(_descriptors(pid), frozenset(threads(pid)), _private_kib(pid))

    def grown_since(self, before: Resources) -> list[str]:
        """What there is more of than before, in words; memory is the caller's to judge."""
        added = self.descriptors - before.descriptors
        words = [f"{count} more descriptor(s) of {what}" for what, count in added.items()]
        more_threads = len(self.threads) - len(before.threads)
        return words + ([f"{more_threads} more thread(s)"] if more_threads > 0 else [])


def _descriptors(pid: int) -> Counter[str]:
    found: Counter[str] = Counter()
    folder = Path(f"/proc/{pid}/fd")
    for number in os.listdir(folder):
        with suppress(FileNotFoundError):  # closed meanwhile
            found[_INODE.sub("", os.readlink(folder / number))] += 1
    return found


def threads(pid: int) -> set[int]:
    """The process's threads, but for the one that a sanitizer may have for itself."""
    tasks = {int(task) for task in os.listdir(f"/proc/{pid}/task")}
    return {task for task in tasks if not _is_deaf(pid, task)}


def _is_deaf(pid: int, task: int) -> bool:
    """Whether a thread takes no signal but the C library's own, as the service's never do.

    The service's threads take not even those in their first moments, and all of them after that.
    """
    with suppress(FileNotFoundError, ProcessLookupError):  # it has just ended
        status = Path(f"/proc/{pid}/task/{task}/status").read_text()
        return re.search(r"^SigBlk:\tfffffffe", status, re.M) is not None
    return False


def _private_kib(pid: int) -> int:
    text = Path(f"/proc/{pid}/smaps_rollup").read_text()
    return sum(
        int(number) for number in re.findall(r"^(?:Private_Dirty|Swap): +(\d+) kB", text, re.M)
    )
