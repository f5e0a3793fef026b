"""Some updates and a whole day's signals: what the service holds does not grow."""

from __future__ import annotations

from pathlib import Path

from reliability.soak.life import EARLY, live


def test_a_day_of_signals_and_some_updates_leave_nothing_behind(binary: Path) -> None:
    life = live(binary, EARLY + 3, with_day=True)
    assert life.violations == []
    assert (life.updates, life.passes) == (EARLY + 3, 145)
