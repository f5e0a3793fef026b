"""Changes that no test can notice, because the service does the same with them."""

from __future__ import annotations

from functools import cache
from pathlib import Path

import yaml

from .change import Change

LIST = Path(__file__).with_name("equivalents.yaml")


def reason_why_equivalent(change: Change) -> str:
    """Why a change means nothing, where somebody found that out; else empty."""
    return _reasons().get(_key(change.file, change.code, change.kind, change.after), "")


@cache
def _reasons() -> dict[tuple[str, ...], str]:
    entries = yaml.safe_load(LIST.read_text())
    fields = ("file", "code", "kind", "after")
    return {_key(*(entry[field] for field in fields)): entry["reason"] for entry in entries}


def _key(file: str, code: str, kind: str, after: str) -> tuple[str, ...]:
    # A change may break its lines in another way without another meaning.
    return (file, code, kind, " ".join(after.split()))
