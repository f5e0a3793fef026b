"""A spread of the fault sweep: every class of faults, at a few of the places that it can strike."""

from __future__ import annotations

from pathlib import Path

import pytest
from reliability import sanitizers
from reliability.sweep import catalogue, checks
from reliability.sweep.course import Course
from reliability.sweep.runner import Plan, Share, work
from tavrinsim.job import FAILED, IN_PROGRESS, SUCCEEDED, Report


@pytest.mark.parametrize("operation", ["start", "pbb", "flop"])
def test_after_any_fault_the_service_is_fit_for_the_next_update(
    binary: Path, operation: str
) -> None:
    if sanitizers.built_into(binary):
        pytest.skip("a sanitizer has its own allocator in front of the one that fails")
    plan = Plan(binary, (operation,), tuple(catalogue.sample()), spread=2)
    injections = list(work(plan, Share(0, 1)))
    assert [(str(one), one.violations) for one in injections if one.violations] == []
    assert {one.group for one in injections if one.acted} == set(catalogue.GROUPS)


def report(status: int, percent: int) -> Report:
    return Report(0.0, ":1.1", "PBBCPLD.Embedded.1", status, 1, percent)


@pytest.mark.parametrize(
    ("statuses", "found"),
    [
        ((IN_PROGRESS, SUCCEEDED), []),
        ((IN_PROGRESS,), ["an accepted job without a final report: [(4, 0)]"]),
        ((FAILED, SUCCEEDED), ["2 final reports", "reports after the final one"]),
        ((FAILED, IN_PROGRESS), ["reports after the final one"]),
    ],
)
def test_the_sweep_sees_what_is_wrong_with_reports(
    statuses: tuple[int, ...], found: list[str]
) -> None:
    course = Course(result=0, reports=[report(status, 0) for status in statuses])
    told = list(checks.of_reports(course))
    assert [words[: len(start)] for words, start in zip(told, found, strict=True)] == found


def test_the_sweep_sees_an_end_that_the_entry_knows_nothing_of() -> None:
    assert list(checks.of_process(Course(status=-6))) == [
        "the process ended with status -6",
        "the process ended without its words: []",
    ]
