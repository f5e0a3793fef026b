"""Calls of every kind to everything that the service has on the bus; the long form is tools/stress bus-calls."""

from __future__ import annotations

import os
from pathlib import Path

import pytest
from reliability.bus_calls.campaign import campaign

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
