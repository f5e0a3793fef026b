"""Waiting for a file to grow, told by the kernel."""

from __future__ import annotations

import ctypes
import os
import select
import time
from pathlib import Path

IN_MODIFY = 0x2
IN_NONBLOCK_CLOEXEC = os.O_NONBLOCK | os.O_CLOEXEC

_libc = ctypes.CDLL(None, use_errno=True)


class FileWatch:
    """Notices every change of one file from its construction on."""

    def __init__(self, path: Path) -> None:
        self._descriptor = _checked(_libc.inotify_init1(IN_NONBLOCK_CLOEXEC))
        _checked(
            _libc.inotify_add_watch(self._descriptor, os.fsencode(path), IN_MODIFY)
        )

    def __enter__(self) -> "FileWatch":
        return self

    def __exit__(self, *_: object) -> None:
        os.close(self._descriptor)

    def wait(self, deadline: float | None) -> bool:
        """True as soon as the file changed, false at `deadline` (monotonic; None: never)."""
        left = None if deadline is None else max(0.0, deadline - time.monotonic())
        if not select.select([self._descriptor], [], [], left)[0]:
            return False
        os.read(self._descriptor, 65536)
        return True


def _checked(result: int) -> int:
    if result < 0:
        code = ctypes.get_errno()
        raise OSError(code, os.strerror(code))
    return result
