"""The long runs of tools/stress in their short forms: sweep, soak, hostile callers."""

from __future__ import annotations

import os
from pathlib import Path

import pytest
from reliability.bus_calls.campaign import campaign
from reliability.soak.life import EARLY, live
from reliability.sweep import catalogue, checks
from reliability.sweep.course import Course
from reliability.sweep.operations import Injection, operations
from reliability.sweep.runner import Plan, Share, work
from reliability.sweep.station import Station
from support import sanitizers
from tavrinsim.job import FAILED, IN_PROGRESS, SUCCEEDED, Report

# -- the fault sweep: every class of faults, at a few of the places that it can strike -


@pytest.fixture
def plain(binary: Path) -> Path:
    """The service, where its allocator can be made to fail."""
    if sanitizers.built_into(binary):
        pytest.skip("a sanitizer has its own allocator in front of the one that fails")
    return binary


@pytest.mark.parametrize("operation", ["start", "pbb", "pdb", "flop"])
def test_after_any_fault_the_service_is_fit_for_the_next_update(
    plain: Path, operation: str
) -> None:
    plan = Plan(plain, (operation,), tuple(catalogue.sample()), spread=2)
    injections = list(work(plan, Share(0, 1)))
    assert [(str(one), one.violations) for one in injections if one.violations] == []
    assert {one.group for one in injections if one.acted} == set(catalogue.GROUPS)


def without_memory(binary: Path, operation: str, numbers: range) -> list[Injection]:
    """What came of an operation without memory for one of its allocations in libcrypto."""
    station, fault = Station(binary), next(catalogue.memory())
    try:
        struck = [operations()[operation].strike(station, fault, number) for number in numbers]
    finally:
        station.close()
    assert [(str(one), one.violations) for one in struck if one.violations] == []
    return [one for one in struck if "libcrypto" in one.where]


def test_a_start_whose_memory_ends_while_libcrypto_is_set_up_ends_in_order(plain: Path) -> None:
    assert any(one.ended for one in without_memory(plain, "start", range(5, 85, 8)))


def test_a_first_update_whose_memory_ends_does_not_spoil_the_next(plain: Path) -> None:
    assert without_memory(plain, "first", range(100, 400, 25)) != []


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


# -- a day of signals ------------------------------------------------------------------


def test_a_day_of_signals_and_some_updates_leave_nothing_behind(binary: Path) -> None:
    life = live(binary, EARLY + 3, with_day=True)
    assert life.violations == []
    assert (life.updates, life.passes) == (EARLY + 3, 145)


# -- calls of every kind to everything that is on the bus ------------------------------


COUNT = 1000


@pytest.mark.parametrize("user", ["root", "nobody"])
def test_no_call_ends_the_service_or_stays_without_an_answer(binary: Path, user: str) -> None:
    if os.geteuid() != 0:
        pytest.skip("only root can call as another user")
    result = campaign(binary, user, seed=1, count=COUNT)
    assert result.violations == []
    assert result.answers["methods"] > 50
    assert result.answers["properties"] > 200
    assert sum(result.answers["members"].values()) == COUNT
