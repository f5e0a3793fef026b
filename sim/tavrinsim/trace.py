"""The trace: everything that happened in a simulated world, one JSON object a line.

`python3 -m tavrinsim.trace FILE [--follow]` shows it to a person.
"""

from __future__ import annotations

import ctypes
import json
import os
import select
import threading
import time
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

Line = dict[str, Any]
Predicate = Callable[[Line], bool]


class TraceTimeout(AssertionError):
    """What was waited for did not happen in time."""


class Trace:
    """Reads the trace as it grows, and adds lines of Python's own. Thread-safe."""

    def __init__(self, path: str | Path) -> None:
        self.path = Path(path)
        self.path.touch()
        self._lock = threading.RLock()
        self._lines: list[Line] = []
        self._offset = 0
        self._output = open(self.path, "ab", buffering=0)

    def close(self) -> None:
        """Ends recording; reading goes on working."""
        self._output.close()

    def record(self, what: str, **fields: Any) -> None:
        """Appends one line."""
        line = {
            "t": time.monotonic_ns(),
            "pid": os.getpid(),
            "tid": threading.get_native_id(),
            "what": what,
            **fields,
        }
        # One write a line: the lines of several processes never mix.
        self._output.write(json.dumps(line, default=repr).encode() + b"\n")

    def lines(self) -> list[Line]:
        """All lines so far. The list only ever grows; do not change it."""
        with self._lock:
            with open(self.path, "rb") as file:
                file.seek(self._offset)
                new = file.read()
            whole = new[: new.rfind(b"\n") + 1]  # the last line may still be on its way
            self._offset += len(whole)
            # Log texts may hold bytes that are no UTF-8.
            texts = (line.decode(errors="replace") for line in whole.splitlines())
            self._lines += map(json.loads, texts)
            return self._lines

    def forget(self) -> None:
        """Empties the trace, after which no mark is valid: for runs that take hours.

        What is recorded at this very moment may be lost as well.
        """
        with self._lock:
            os.truncate(self.path, 0)
            self._offset = 0
            self._lines = []

    def mark(self) -> int:
        """A place to start from: the lines so far are left out by `start=mark`."""
        return len(self.lines())

    def select(
        self, predicate: Predicate | None = None, start: int = 0, **fields: Any
    ) -> list[Line]:
        """The lines with these members, from `start` on; `args__` reaches one level down.

        select(what="log", level=1), select(what="call", args__index=0)
        """
        wanted = _matching(predicate, fields)
        return [line for line in self.lines()[start:] if wanted(line)]

    def logs(self, start: int = 0, **fields: Any) -> list[str]:
        """The texts of the platform log, for instance those of `level=1`."""
        return [line["text"] for line in self.select(start=start, what="log", **fields)]

    def wait_for(
        self,
        predicate: Predicate | None = None,
        timeout: float = 10.0,
        start: int = 0,
        **fields: Any,
    ) -> Line:
        """The first line that matches as in `select`, as soon as there is one.

        Raises TraceTimeout after `timeout` seconds, with the last lines in its text.
        """
        wanted = _matching(predicate, fields)
        deadline = time.monotonic() + timeout
        with FileWatch(self.path) as watch:
            for line in self._growing(watch, start, deadline):
                if wanted(line):
                    return line
        tail = "\n".join(map(json.dumps, self.lines()[-20:]))
        raise TraceTimeout(
            f"not in the trace after {timeout} s: {fields}; it ends with\n{tail}"
        )

    def follow(self, start: int = 0) -> Iterator[Line]:
        """Every line from `start` on, for ever: as they come."""
        with FileWatch(self.path) as watch:
            yield from self._growing(watch, start, None)

    def _growing(
        self, watch: FileWatch, seen: int, deadline: float | None
    ) -> Iterator[Line]:
        while True:
            lines = self.lines()
            while seen < len(lines):
                yield lines[seen]
                seen += 1
            if not watch.wait(deadline):
                return


def _matching(predicate: Predicate | None, fields: dict[str, Any]) -> Predicate:
    def member(line: Line, name: str) -> Any:
        value: Any = line
        for part in name.split("__"):
            value = value.get(part) if isinstance(value, dict) else None
        return value

    def matches(line: Line) -> bool:
        return all(member(line, name) == value for name, value in fields.items()) and (
            predicate is None or predicate(line)
        )

    return matches


# -- waiting for a file to grow, told by the kernel ------------------------------------


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



if __name__ == "__main__":
    from .trace_view import main

    main()
