"""What becomes of one change: noticed by a test, or not."""

from __future__ import annotations

from dataclasses import dataclass
from enum import Enum
from functools import cache
from pathlib import Path

import yaml

from .change import Change, Patch
from .sandbox import Sandbox


class Outcome(Enum):
    """How a trial ended; only the first two say something about the tests."""

    NOTICED = "noticed"
    SURVIVED = "SURVIVED"
    EQUIVALENT = "equivalent"
    REFUSED = "does not build"
    SAME_CODE = "same code"


@dataclass(frozen=True)
class Verdict:
    """The end of one trial; `why` is the first test that noticed, or why none can."""

    change: Change | Patch
    outcome: Outcome
    why: str = ""

    @property
    def counts(self) -> bool:
        """Whether there was something to be noticed."""
        return self.outcome in (Outcome.NOTICED, Outcome.SURVIVED)


def judge(sandbox: Sandbox, change: Change | Patch) -> Verdict:
    """Makes a change in the sandbox, asks the tests about it and takes it back."""
    with change.applied(sandbox.tree):
        # A header has no code of its own: only the tests can tell whether it matters.
        if change.file.endswith(".cpp"):
            code = sandbox.object_code(change.file)
            if code is None:
                return Verdict(change, Outcome.REFUSED)
            if code == sandbox.original_code[change.file]:
                return Verdict(change, Outcome.SAME_CODE)
        failed = first_failure(sandbox, Path(change.file).parts[0])
        if failed is None:
            return Verdict(change, Outcome.REFUSED)
        if failed:
            return Verdict(change, Outcome.NOTICED, failed)
        if isinstance(change, Change) and (reason := reason_why_equivalent(change)):
            return Verdict(change, Outcome.EQUIVALENT, reason)
        return Verdict(change, Outcome.SURVIVED)


def first_failure(sandbox: Sandbox, folder: str) -> str | None:
    """The first test that fails, empty when none does, None where something does not build.

    The folder's own unit tests go first and those of the other folders last, since they see least.
    """
    folders = sandbox.unit_folders()
    own = [folder] if folder in folders else []
    others = [other for other in folders if other != folder]
    if not sandbox.build_unit_tests(own):
        return None
    for name in own:
        if failed := sandbox.run_unit_tests(name):
            return failed
    if not sandbox.build_service():
        return None
    if failed := sandbox.run_system_tests(folder):
        return failed
    if not sandbox.build_unit_tests(others):
        return None
    return next(filter(None, map(sandbox.run_unit_tests, others)), "")


# -- changes that mean the same --------------------------------------------------------


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
