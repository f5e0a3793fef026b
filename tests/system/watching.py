"""Services whose watchers and registrations are the subject: started to a known point, told things."""

from __future__ import annotations

import re
from pathlib import Path
from typing import Any

from dbus_next import Variant
from expected import start
from support.sequence import job_sequence, logs, sequence
from tavrinsim import names
from tavrinsim.names import FLOP
from tavrinsim.world import World

# For a service that is to give up a neighbour that never answers soon.
IMPATIENT = {"SYSTEMD_BUS_TIMEOUT": "1s"}

# The first line of the thread that registers the CPLDs.
REGISTERING = "[regSignalThreadHandler] Opening system bus\n"

SERVICE_OWNED = f'<allow own="{names.SERVICE}"/>'


def main_thread(world: World, mark: int = 0) -> list[str]:
    """What the main thread did; no job runs, so there is no worker to be told apart."""
    return job_sequence(world, mark)


def start_pending(world: World, **options: Any) -> int:
    """Starts the service with the FRU read pending; the place in the trace behind it."""
    world.fru_reader.complete(False, announce=False)
    return start_to_subscription(world, **options)


def start_to_subscription(world: World, **options: Any) -> int:
    """Starts the service up to its last subscription; `options` as for `World.start`."""
    world.start(**options)
    world.trace.wait_for(what="log", text=start.fru_read_watched()[-1][2:])
    answer(world)
    return world.trace.mark()


def answer(world: World) -> None:
    """Returns when the service has handled all that it was sent before."""
    assert world.service is not None
    # Whatever the answer is: the main thread gives it after everything before.
    connection = min(world.client.connections_of(world.service.pid), key=_age)
    world.client.introspect(names.ANCHOR, connection)


def said(world: World, mark: int) -> list[str]:
    """The log lines about everything that the service was sent since `mark`."""
    answer(world)
    return logs(world, mark)


def make_record(world: World) -> str:
    """Has the service write one record to its log file; its message."""
    mark = world.trace.mark()
    world.fru_reader.announce({"FRUreadComplete": Variant("s", "x")})
    (message,) = [line[2:] for line in said(world, mark) if line.startswith("E ")]
    return message


def fru_errors(world: World) -> list[str]:
    """The error-log lines of the FRU-read watcher."""
    own = ("Read_current_fruread_status", "frureadcompleteHandler")
    lines = [line for line in logs(world) if line.startswith("E ")]
    return [line[2:] for line in lines if any(name in line for name in own)]


def policy_without_the_name(folder: Path, policy: Path) -> Path:
    """The service's bus policy, but that nobody may own its name."""
    text = policy.read_text()
    assert SERVICE_OWNED in text
    changed = folder / "policy.conf"
    changed.write_text(text.replace(SERVICE_OWNED, ""))
    return changed


def published_paths(world: World) -> list[str]:
    """The objects below the object manager, in the order of their names."""
    return sorted(world.client.managed_objects())


def all_paths() -> list[str]:
    """Those of a board with 2 PBB, 1 PDB and 1 FLOP."""
    return sorted(
        [names.PBB.object_path(1), names.PBB.object_path(2), names.PDB.object_path(1)]
        + [FLOP.object_path(1)]
    )


def thread_lines(world: World) -> list[str]:
    """All that the thread logged, without the times its calls took."""
    thread = world.trace.wait_for(what="log", text=REGISTERING)["tid"]
    lines = sequence(world, tid=thread)
    return [re.sub(r"completed in \d+ ms", "completed in N ms", line) for line in lines]


def wait_for_calls(world: World, count: int, timeout: float = 20) -> None:
    """Waits until the thread has logged the outcome of so many calls."""

    def is_outcome(line: dict[str, object]) -> bool:
        text = str(line.get("text"))
        return "Registration successful" in text or "DBusError=" in text

    start = 0
    for _ in range(count):
        line = world.trace.wait_for(is_outcome, timeout, start)
        start = world.trace.lines().index(line, start) + 1


def registered_paths(world: World) -> list[str]:
    """The object paths of the registrations that reached the coordinator."""
    return [registration.object_path for registration in world.coordinator.registrations]


def _age(unique_name: str) -> int:
    return int(unique_name.rpartition(".")[2])
