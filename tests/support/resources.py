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
# What the one thread blocks for good that a sanitizer or an emulator has for itself. Under emulation,
# others begin with a sanitizer's mask.
_SANITIZERS_MASK = "fffffffe7ffbfeff"
_EMULATORS_MASK = "fffffffe7ffbfa77"


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
    """The process's threads, but for the one that a sanitizer or an emulator may have for itself."""
    mask = _EMULATORS_MASK if _is_emulated(pid) else _SANITIZERS_MASK
    return {
        int(task) for task in os.listdir(f"/proc/{pid}/task") if not _blocks(pid, task, mask)
    }


def _is_emulated(pid: int) -> bool:
    with suppress(FileNotFoundError):  # a process that has ended has no program any more
        return Path(os.readlink(f"/proc/{pid}/exe")).name.startswith("qemu-")
    return False


def _blocks(pid: int, task: str, mask: str) -> bool:
    """Whether a thread blocks exactly these signals, as the service's own never do."""
    with suppress(FileNotFoundError, ProcessLookupError):  # it has just ended
        return f"SigBlk:\t{mask}" in Path(f"/proc/{pid}/task/{task}/status").read_text()
    return False


def _private_kib(pid: int) -> int:
    text = Path(f"/proc/{pid}/smaps_rollup").read_text()
    return sum(
        int(number) for number in re.findall(r"^(?:Private_Dirty|Swap): +(\d+) kB", text, re.M)
    )
