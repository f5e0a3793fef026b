"""One small change of one source file, as a value."""

from __future__ import annotations

from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Change:
    """Bytes `start` to `end` of `file` (relative to the tree) become `after`.

    `code` is the line on which it begins, without its indentation.
    """

    file: str
    line: int
    column: int
    code: str
    kind: str
    start: int
    end: int
    before: str
    after: str

    def __str__(self) -> str:
        where = f"{self.file}:{self.line}:{self.column}"
        return f"{where} {self.kind}: {_brief(self.before)} -> {_brief(self.after)}"

    @property
    def text(self) -> str:
        """What goes and what comes instead."""
        return f"- {self.before}\n+ {self.after}"

    @contextmanager
    def applied(self, tree: Path) -> Iterator[None]:
        """Makes the change in a copy of the tree, for as long as the context lasts."""
        path = tree / self.file
        text = path.read_bytes()
        assert text[self.start : self.end] == self.before.encode(), f"{path} is another file"
        try:
            path.write_bytes(text[: self.start] + self.after.encode() + text[self.end :])
            yield
        finally:
            path.write_bytes(text)


def _brief(code: str) -> str:
    line = " ".join(code.split())
    return line if len(line) <= 70 else line[:67] + "..."
