"""What the sanitizers said of a program that was built with them."""

from __future__ import annotations

import re
from pathlib import Path

_REPORT = re.compile(
    r"^.*(?:ERROR: \w+Sanitizer|WARNING: ThreadSanitizer|runtime error:|: FATAL: \w+Sanitizer).*$",
    re.M,
)


_RUNTIMES = {"address": b"__asan_init", "thread": b"__tsan_init"}


def built_into(binary: Path, *kinds: str) -> bool:
    """Whether a program has a sanitizer in it: one of these kinds, or any where none is named.

    A sanitizer's own memory hides the program's.
    """
    contents = binary.read_bytes()
    return any(_RUNTIMES[kind] in contents for kind in kinds or _RUNTIMES)


def reports(output: Path) -> list[str]:
    """First lines of the reports in what a program wrote; each is a fault of the program."""
    return _REPORT.findall(output.read_text(errors="replace")) if output.exists() else []
