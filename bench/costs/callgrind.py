"""What callgrind saw of a program: what it executed, and who called whom how often."""

from __future__ import annotations

import re
from collections.abc import Iterable
from dataclasses import dataclass, field
from pathlib import Path
from typing import TypeVar

T = TypeVar("T")

VALGRIND = Path("/usr/bin/valgrind.bin")

# Which file's or which function's the next lines are; the name stands behind the number only
# once. What begins with "c" is about what they call.
_NAME = re.compile(r"(?P<called>c?)(?P<what>ob|fn)=\((?P<number>\d+)\)(?: (?P<name>.*))?")


@dataclass(frozen=True)
class Function:
    """A function and the name of its file, without folders; "???" where there is none."""

    file: str
    name: str


@dataclass
class Profile:
    """Instructions of each function; for each pair of caller and called the calls."""

    instructions: dict[Function, int] = field(default_factory=dict)
    calls: dict[tuple[Function, Function], int] = field(default_factory=dict)

    @classmethod
    def read(cls, lines: Iterable[str]) -> Profile:
        """From a dump's lines."""
        profile = cls()
        reader = _Reader(profile)
        for line in lines:
            reader.take(line)
        return profile


class _Reader:
    """Goes through a dump: a function's name, then lines of its own and of its calls."""

    def __init__(self, profile: Profile) -> None:
        self._profile = profile
        self._names: dict[tuple[str, str], str] = {}
        self._now = {"ob": "", "fn": ""}
        self._called: dict[str, str] = {}
        self._is_after_call = False

    def take(self, line: str) -> None:
        """The next line."""
        if match := _NAME.match(line):
            name = self._names.setdefault((match["what"], match["number"]), match["name"])
            (self._called if match["called"] else self._now)[match["what"]] = name
        elif line.startswith("calls="):
            self._take_call(int(line.removeprefix("calls=").split()[0]))
        elif line[:1].isdigit() or line[:1] in ("+", "-", "*"):
            # The line behind a call tells what the called one took.
            if not self._is_after_call:
                _add(self._profile.instructions, _function(self._now), int(line.split()[1]))
            self._is_after_call = False

    def _take_call(self, number: int) -> None:
        """Where no file is named, the called function is in the caller's."""
        pair = _function(self._now), _function(self._now | self._called)
        _add(self._profile.calls, pair, number)
        self._called = {}
        self._is_after_call = True


def _function(words: dict[str, str]) -> Function:
    return Function(Path(words["ob"]).name, words["fn"])


def _add(counts: dict[T, int], key: T, number: int) -> None:
    counts[key] = counts.get(key, 0) + number
