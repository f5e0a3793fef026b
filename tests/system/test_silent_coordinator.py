"""A coordinator that owns its name and never answers: D-Bus's own test tool, "black-hole"."""

from __future__ import annotations

import subprocess
from collections.abc import Iterator
from contextlib import contextmanager

import pytest
from expected import reports
from support.jobs import put_back, run_job, send_without_coordinator
from tavrinsim import names
from tavrinsim.world import World
from watching import IMPATIENT

SENT = "> cmnfwupd_fw_update_status("
UNANSWERED = reports.failure(
    -110,
    "Connection timed out",
    "org.freedesktop.DBus.Error.Timeout",
    "Connection timed out",
)


@contextmanager
def black_hole(world: World, *options: str) -> Iterator[None]:
    """Takes the coordinator's place: takes every call, or not even that, and answers none."""
    world.coordinator.stop()
    command = ["dbus-test-tool", "black-hole", "--system", f"--name={names.COORDINATOR}"]
    environment = {**world.bus.environment(), "PATH": "/usr/bin"}
    with subprocess.Popen([*command, *options], env=environment) as process:
        try:
            world.client.wait_for_name(names.COORDINATOR)
            yield
        finally:
            process.terminate()


@pytest.mark.parametrize("options", [[], ["--no-read"]], ids=["taking all", "not even reading"])
def test_a_silent_coordinator_changes_nothing_of_an_update_but_its_length(
    world: World, options: list[str]
) -> None:
    world.start(environment=IMPATIENT)
    world.wait_published()
    world.board.faults.programming(percents=[50, 100], step_delay_ms=0)
    job = world.job("PBBCPLD.Embedded.1", world.payload("pbb", "2.3.4"))
    heard = run_job(world, job)
    put_back(world)
    world.board.faults.programming(percents=[50, 100], step_delay_ms=0)
    with black_hole(world, *options):
        unheard = send_without_coordinator(world, job)
    told = [step for step in heard.steps if step.startswith(SENT)]
    assert [step for step in unheard.steps if step in UNANSWERED] == UNANSWERED * len(told)
    course = [step for step in heard.steps if not step.startswith(SENT)]
    assert [step for step in unheard.steps if step not in UNANSWERED] == course
    assert (unheard.result, world.board.device("pbb").version) == (0, "2.3.4")
    assert len(told) == 4
