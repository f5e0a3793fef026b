"""Where worlds lie while they are measured."""

from __future__ import annotations

import tempfile
from collections.abc import Iterator
from contextlib import contextmanager

MEMORY = "/dev/shm"


@contextmanager
def in_memory() -> Iterator[None]:
    """Worlds that begin here lie in memory: a disk would be measured otherwise."""
    before = tempfile.tempdir
    tempfile.tempdir = MEMORY
    try:
        yield
    finally:
        tempfile.tempdir = before
