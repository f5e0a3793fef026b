"""What the service's own log file holds: its records, their offsets, and what a sudden end leaves."""

from __future__ import annotations

from collections.abc import Iterable, Sequence

LIMIT = 9216
TRIMMED = 1024
LONGEST_MESSAGE = 1023


def after(contents: bytes, *messages: str) -> bytes:
    """What the file holds after these messages."""
    for message in messages:
        contents = trimmed(contents + record(contents, message))
    return contents


def record(contents: bytes, message: str) -> bytes:
    """The next record behind these contents."""
    return f"{len(contents)} : ".encode() + message.encode()[:LONGEST_MESSAGE]


def trimmed(contents: bytes) -> bytes:
    """The contents without their first kilobyte, where they reach the limit."""
    return contents[TRIMMED:] if len(contents) >= LIMIT else contents


def possible_after_a_sudden_end(contents: bytes, messages: Sequence[str]) -> Iterable[bytes]:
    """What the file may hold where the writer of these messages ended suddenly.

    Of the last record alone it is open how far it came: not written, written, and, where it
    reaches the limit, in the middle of the trim, which empties the file for a moment.
    """
    yield (before := after(contents, *messages[:-1]))
    if messages:
        yield (written := before + record(before, messages[-1]))
        if len(written) >= LIMIT:
            yield b""
            yield trimmed(written)
