"""The scratch folder of a world, and the sweeping up of those left by a crash."""

from __future__ import annotations

import contextlib
import fcntl
import os
import shutil
import tempfile
import time
from pathlib import Path

PREFIX = "tavrinsim-"

# A folder younger than this may be one that another process is just about to lock.
GRACE_SECONDS = 60


class ScratchFolder:
    """A fresh folder, locked as long as this process uses it."""

    def __init__(self) -> None:
        sweep()
        self.path = Path(tempfile.mkdtemp(prefix=PREFIX))
        self.path.chmod(0o755)  # every user may come to the bus socket in it
        self._lock = os.open(self.path, os.O_RDONLY | os.O_CLOEXEC)
        fcntl.flock(self._lock, fcntl.LOCK_EX)

    def remove(self) -> None:
        """Removes the folder with all that is in it."""
        _make_removable(self.path)
        shutil.rmtree(self.path)
        os.close(self._lock)


def sweep() -> None:
    """Removes folders of processes that were killed before they could."""
    for folder in Path(tempfile.gettempdir()).glob(PREFIX + "*"):
        with contextlib.suppress(OSError):  # another user's, in use, or gone already
            _remove_if_abandoned(folder)


def _remove_if_abandoned(folder: Path) -> None:
    status = folder.stat(follow_symlinks=False)
    if status.st_uid != os.getuid() or time.time() - status.st_ctime < GRACE_SECONDS:
        return
    lock = os.open(folder, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW | os.O_CLOEXEC)
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        _make_removable(folder)
        shutil.rmtree(folder)
    finally:
        os.close(lock)


def _make_removable(folder: Path) -> None:
    """Gives back the write permission that read-only folders of a view lack."""
    for path, _, _ in os.walk(folder):
        os.chmod(path, 0o755)
