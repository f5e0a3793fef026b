"""The service in builds that watch themselves: what they report about it fails a test."""

from __future__ import annotations

import os
from pathlib import Path

import pytest
from reliability.bus_calls.campaign import campaign
from reliability.load.crowd import Crowd
from reliability.load.mixed import mix
from support import sanitizers
from support.jobs import run, update_each
from tavrinsim.setting import Setting
from tavrinsim.world import World


def needs(binary: Path, sanitizer: str) -> None:
    """Skips the test where the service does not watch itself in this way."""
    if not sanitizers.built_into(binary, sanitizer):
        pytest.skip(f"asks what the sanitizer says: tools/test --sanitize {sanitizer}")


def test_hostile_calls_misuse_no_memory(binary: Path) -> None:
    needs(binary, "address")
    if os.geteuid() != 0:
        pytest.skip("only root may call everything")
    result = campaign(binary, "root", seed=2, count=400)
    assert result.violations == []


def test_updates_and_refusals_misuse_no_memory_and_leave_none(binary: Path) -> None:
    needs(binary, "address")
    with World(binary) as world:
        world.start()
        world.wait_published()
        update_each(world)
        forged = world.payload_of(bytes(4096))
        assert run(world, "CPLD.IOBay.1", forged).result == 1
        world.let_service_end()
        assert sanitizers.reports(world.output) == []
        assert world.service is not None and world.service.wait() == 0


def test_no_threads_race_when_everything_happens_at_once(binary: Path) -> None:
    needs(binary, "thread")
    with World(binary, Setting(monitored=False)) as world:
        if world.view.traces:
            pytest.skip("a traced program's memory is not where the sanitizer has its own")
        if world.emulated:
            pytest.skip("the sanitizer starts the program anew, past the emulator")
        world.board.faults.programming(percents=[0, 100], step_delay_ms=0)
        world.start()
        world.wait_published()
        world.wait_registered()
        mixture = mix(world, Crowd(world), updates=2)
        world.let_service_end()
        assert (mixture.violations, sanitizers.reports(world.output)) == ([], [])


@pytest.mark.parametrize(
    "line",
    [
        "==17==ERROR: AddressSanitizer: heap-use-after-free on address 0x6020",
        "==17==ERROR: LeakSanitizer: detected memory leaks",
        "WARNING: ThreadSanitizer: data race (pid=17)",
        "main.cpp:3:5: runtime error: signed integer overflow",
    ],
)
def test_a_report_is_seen_between_other_words(tmp_path: Path, line: str) -> None:
    output = tmp_path / "output"
    output.write_text(f"something\n{line}\nmore\n")
    assert sanitizers.reports(output) == [line]
