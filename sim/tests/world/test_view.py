"""The private view: fixed paths, exit statuses, and what is left on the machine."""

from __future__ import annotations

import os
import select
import signal
import subprocess
import sys
from pathlib import Path

import pytest
from tavrinsim import names
from tavrinsim.world import World

HERE = Path(__file__).parent
SIM = HERE.parents[1]

# Brings a world up, says how, and waits to be killed.
RUN_A_WORLD = """
import sys
from pathlib import Path
from tavrinsim.world import World
world = World(Path(sys.argv[1]))
print(world.view.name, world.start().pid, flush=True)
sys.stdin.read()
"""


def test_fixed_paths_lead_into_the_world(build_world, view: str) -> None:
    machine_log = Path(names.LOG_FILE)
    before = machine_log.read_bytes() if machine_log.exists() else None
    world = build_world("echo /etc/shared_keys/* >> /var/log/tavrinupdate.log", view=view)
    assert world.start().wait() == 0
    assert world.log() == "/etc/shared_keys/flop /etc/shared_keys/i2cpld\n"
    assert (machine_log.read_bytes() if machine_log.exists() else None) == before


def test_the_machines_own_files_are_out_of_sight(build_world, view: str) -> None:
    world = build_world("echo /etc/* /home* /root* /run* /dev/*", view=view)
    assert world.start().wait() == 0
    shown = world.output.read_text().split()
    assert "/etc/shared_keys" in shown and "/etc/hostname" not in shown
    for folder in ("/home", "/root", "/run"):
        # Unless it is above this very project, there is no such folder; else it holds that alone.
        assert f"{folder}*" in shown or Path(folder) in HERE.parents
    assert {name for name in shown if name.startswith("/dev/")} == {
        "/dev/full", "/dev/null", "/dev/random", "/dev/urandom", "/dev/zero"
    }  # fmt: skip


def test_the_program_has_no_capabilities(build_world, view: str) -> None:
    world = build_world("grep -E 'Cap(Prm|Eff|Amb)' /proc/self/status", view=view)
    assert world.start().wait() == 0
    sets = [int(line.split()[1], 16) for line in world.output.read_text().splitlines()]
    assert sets == [0, 0, 0]


def test_the_simulated_libraries_are_loaded(build_world, view: str) -> None:
    world = build_world("grep -o 'lib[a-z0-9]*\\.so' /proc/self/maps | sort -u", view=view)
    assert world.start().wait() == 0
    loaded = world.output.read_text()
    assert "libsimi2c.so" in loaded and "libsimplatform.so" in loaded


@pytest.mark.parametrize(
    ("script", "status"),
    [("exit 3", 3), ("exit 139", 139), ("kill -SEGV $$", -signal.SIGSEGV)],
)
def test_the_exit_status_is_exact(build_world, view: str, script: str, status: int) -> None:
    assert build_world(script, view=view).start().wait() == status


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGKILL])
def test_a_signal_reaches_the_program_itself(build_world, view: str, number: int) -> None:
    world = build_world(view=view)
    pid = world.start().pid
    assert f"{names.SERVICE}" not in Path(f"/proc/{pid}/cmdline").read_text()
    assert world.stop(number) == -number
    assert not Path(f"/proc/{pid}").exists()


def test_a_path_can_be_made_read_only(build_world, view: str) -> None:
    world = build_world("echo x > /var/log/a", view=view, read_only=("/var/log",))
    assert world.start().wait() != 0
    assert list(world.root.inside("/var/log").iterdir()) == []


def test_closing_leaves_nothing_behind(world: World) -> None:
    pid = world.start().pid
    world.close()
    assert not world.folder.exists()
    assert not Path(f"/proc/{pid}").exists()


def test_a_world_dies_with_its_python_process(build_world, view: str) -> None:
    # The second kind of view is taken where the first is refused.
    wrapper = [] if view == "bwrap" else [HERE / "refuse_namespaces.py"]
    program = build_world().binary
    runner = subprocess.Popen(
        [*wrapper, sys.executable, "-c", RUN_A_WORLD, program],
        env={**os.environ, "PYTHONPATH": str(SIM)},
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    )
    with runner:
        name, pid = runner.stdout.readline().split()
        assert name == view
        service = os.pidfd_open(int(pid))
        runner.kill()
        ended, _, _ = select.select([service], [], [], 10)
    os.close(service)
    assert ended


def test_several_worlds_do_not_see_each_other(build_world) -> None:
    first, second = build_world(), build_world()
    assert first.bus.address != second.bus.address
    first.fru_reader.complete(False)
    arguments = (first.fru_reader.path, first.fru_reader.interface, "FRUreadComplete")
    assert first.client.get(*arguments, first.fru_reader.name).value is False
    assert second.client.get(*arguments, second.fru_reader.name).value is True
