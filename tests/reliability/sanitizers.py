"""What the sanitizers said of a program that was built with them."""

from __future__ import annotations

import re
from pathlib import Path

_REPORT = re.compile(
    r"^.*(?:ERROR: \w+Sanitizer|WARNING: ThreadSanitizer|runtime error:|: FATAL: \w+Sanitizer).*$",
    re.M,
)


_RUNTIMES = (b"__asan_init", b"__tsan_init")


def built_into(binary: Path) -> bool:
    """Whether a program has a sanitizer in it, whose own memory hides the program's."""
    contents = binary.read_bytes()
    return any(runtime in contents for runtime in _RUNTIMES)


def reports(output: Path) -> list[str]:
    """First lines of the reports in what a program wrote; each is a fault of the program."""
    return _REPORT.findall(output.read_text(errors="replace")) if output.exists() else []
