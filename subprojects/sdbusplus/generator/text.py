"""Pieces of C++ text that the generated files share."""

from __future__ import annotations

import textwrap

from .definition import Interface

WIDTH = 100


def banner(interface: Interface) -> str:
    return f"// Made by sdbus++ from {interface.source}: change that instead.\n"


def comment(text: str, indent: str = "") -> str:
    """A documentation comment, or nothing where there is no text."""
    if not text:
        return ""
    line = f"{indent}/** {text} */\n"
    if len(line) <= WIDTH:
        return line
    wrapped = textwrap.fill(
        text, WIDTH, initial_indent=f"{indent} * ", subsequent_indent=f"{indent} * "
    )
    return f"{indent}/**\n{wrapped}\n{indent} */\n"


def in_namespace(namespace: str, body: str) -> str:
    return f"namespace {namespace}\n{{\n\n{body}\n}} // namespace {namespace}\n"


def arguments(prefix: str, parts: list[str], end: str) -> str:
    """
    A list of arguments behind its opening bracket, on one line where it fits, otherwise each
    argument on a line of its own.
    """
    line = prefix + ", ".join(parts) + end
    if len(line) <= WIDTH:
        return line + "\n"
    if len(parts) == 1:
        return f"{prefix}\n        {parts[0]}{end}\n"
    return prefix + (",\n" + " " * len(prefix)).join(parts) + end + "\n"
