"""One change: a token of a source, or a mistake that is kept as a patch."""

from __future__ import annotations

import re
import subprocess
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


# -- mistakes by hand ------------------------------------------------------------------


FOLDER = Path(__file__).with_name("patches")
FILE_HEADER = re.compile(r"^\+\+\+ b/(\S+)$", re.MULTILINE)


class DoesNotApply(Exception):
    """What the code looked like when the patch was written has changed since."""


@dataclass(frozen=True)
class Patch:
    """A unified diff below a title that says what is wrong afterwards."""

    title: str
    text: str

    @property
    def files(self) -> list[str]:
        """What it changes, relative to the tree."""
        return FILE_HEADER.findall(self.text)

    @property
    def file(self) -> str:
        """The first of them: its folder's tests are asked first."""
        return self.files[0]

    def __str__(self) -> str:
        return f"{self.file}: {self.title}"

    @contextmanager
    def applied(self, tree: Path) -> Iterator[None]:
        """Makes the change in a copy of the tree, for as long as the context lasts."""
        before = {tree / file: (tree / file).read_bytes() for file in self.files}
        try:
            self.apply(tree)
            yield
        finally:
            for path, content in before.items():
                path.write_bytes(content)

    def apply(self, tree: Path, *options: str) -> None:
        """Applies it; `options` are those of `patch`. Raises DoesNotApply."""
        # Lines may have moved, but what surrounds them must be the same.
        command = ["patch", "-p1", "--fuzz=0", "--batch", "--forward", "--reject-file=-"]
        command += ["--no-backup-if-mismatch", f"--directory={tree}", *options]
        done = subprocess.run(command, input=self.text, text=True, capture_output=True)
        if done.returncode != 0:
            raise DoesNotApply(f"This patch does not apply any more: {self}\n{done.stdout}")


def read_patches(tree: Path) -> list[Patch]:
    """All of them. In a file of patches a line that begins with "# " is the next one's title.

    Raises DoesNotApply where one does not fit the tree.
    """
    found = []
    for path in sorted(FOLDER.glob("*.patch")):
        for part in re.split(r"^# ", path.read_text(), flags=re.MULTILINE)[1:]:
            title, _, text = part.partition("\n")
            found.append(Patch(title, text))
            found[-1].apply(tree, "--dry-run")
    return found
