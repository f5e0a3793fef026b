"""Signals that a user without any right sends in another service's name.

The service asks nobody who sent a signal; the bus's policy decides which ones reach it.
"""

from __future__ import annotations

import os
from dataclasses import dataclass
from pathlib import Path

import pytest
from conftest import BuildWorld
from expected import power_state, start
from support.jobs import wait_until
from support.sequence import logs
from tavrinsim import names
from tavrinsim.bus import POLICY
from tavrinsim.world import World
from watching import answer, main_thread, start_pending, wait_for_calls

STRANGER = "nobody"
POWER_STATE = "/xyz/openbmc_project/control/host0/internal_power_state"
ELSEWHERE = "/org/example/mine"
PENDING = ("sa{sv}as", "x", "1", "InternalPowerState", "s", "S5OnPending", "0")
FRU_READER = "com.vexa.bmc.mppd.pcardInfo"
COMPLETE = ("sa{sv}as", FRU_READER, "1", "FRUreadComplete", "b", "true", "0")
NO_STRING = ("sa{sv}as", "x", "1", "InternalPowerState", "u", "5", "0")
NO_BOOLEAN = ("sa{sv}as", FRU_READER, "1", "FRUreadComplete", "s", "yes", "0")

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="only root can send as another user")


@dataclass(frozen=True)
class Forgery:
    """A signal; with `directed` it goes to the service's connection, else to everybody."""

    path: str
    words: tuple[str, ...] = ()
    directed: bool = False
    interface: str = names.PROPERTIES
    member: str = "PropertiesChanged"

    def __str__(self) -> str:
        return f"{self.member} {self.path} {self.words[-3:]} {self.directed}"

    def send(self, world: World, user: str = STRANGER) -> None:
        """Sends it and waits until the bus has it; whether it lets it through is its matter."""
        mark = world.trace.mark()
        to_service = [f"--destination={main_connection(world)}"] if self.directed else []
        signal = (self.path, self.interface, self.member, *self.words)
        world.bus.call_as(user, [*to_service, "emit", *signal])
        world.trace.wait_for(start=mark, what="bus", type="signal", member=self.member)


REGISTRATION = Forgery(
    names.COORDINATOR_PATH, (), False, names.COORDINATOR_INTERFACE, "cmnupdateregsignal"
)

# Closed as soon as the service has its name.
CLOSED = [
    Forgery(path, words, directed)
    for path, words in [
        (POWER_STATE, PENDING),
        (POWER_STATE + "/x", PENDING),
        (POWER_STATE + "/x", NO_STRING),
        (ELSEWHERE, COMPLETE),
        (ELSEWHERE, NO_BOOLEAN),
    ]
    for directed in (False, True)
]
# Closed even before that.
CLOSED_EARLY = [Forgery(POWER_STATE, PENDING, directed) for directed in (False, True)]


def main_connection(world: World) -> str:
    """The connection of the service that serves its objects: its first one."""
    assert world.service is not None
    unique = world.client.connections_of(world.service.pid)
    return min(unique, key=lambda name: int(name.rpartition(".")[2]))


def without_rules_for_signals(folder: Path) -> Path:
    """The service's bus policy as if it said nothing of signals."""
    policy, text = folder / "policy.conf", POLICY.read_text()
    closed = text.replace("<deny", "<allow")
    assert closed.count("<allow") > text.count("<allow")
    policy.write_text(closed)
    return policy


def effect(world: World, forgery: Forgery, user: str = STRANGER) -> list[str]:
    """What the main thread does about a signal."""
    mark = world.trace.mark()
    forgery.send(world, user)
    answer(world)
    return main_thread(world, mark)


@pytest.fixture(scope="module")
def watching(build_shared_world: BuildWorld) -> World:
    """A service that waits for the FRU read."""
    world = build_shared_world()
    start_pending(world)
    return world


@pytest.fixture
def pending(watching: World) -> World:
    """The same with the line held."""
    watching.board.hold_line = 1
    return watching


@pytest.mark.parametrize("forgery", CLOSED, ids=str)
def test_a_published_service_hears_no_strangers_signal(
    shared_service: World, forgery: Forgery
) -> None:
    assert effect(shared_service, forgery) == []


@pytest.mark.parametrize("forgery", CLOSED_EARLY, ids=str)
def test_the_hosts_own_path_is_closed_before_the_publication(
    pending: World, forgery: Forgery
) -> None:
    assert effect(pending, forgery) == []
    assert pending.board.hold_line == 1


def test_a_stranger_cannot_ask_for_registrations(service: World) -> None:
    wait_for_calls(service, 4)
    REGISTRATION.send(service)
    service.coordinator.ask_for_registrations()
    wait_for_calls(service, 8)
    asked = "[CmnUpdateRegSignalHandler]: Received signal and re-registering all CPLDs\n"
    assert service.trace.logs().count(asked) == 1
    assert len(service.coordinator.registrations) == 8


def test_the_same_signals_of_root_are_heard(shared_service: World) -> None:
    heard = [effect(shared_service, forgery, "root") for forgery in CLOSED]
    assert all(heard)


def test_others_still_hear_a_strangers_signals(shared_service: World) -> None:
    shared_service.client.subscribe(f"type='signal',path='{ELSEWHERE}'")
    before = len(shared_service.client.signals)
    Forgery(ELSEWHERE, COMPLETE).send(shared_service)
    shared_service.client.wait_for(lambda: len(shared_service.client.signals) > before)


def test_without_the_rules_a_strangers_signals_are_heard(
    build_world: BuildWorld, tmp_path: Path
) -> None:
    world = build_world(policy=without_rules_for_signals(tmp_path))
    world.start()
    world.wait_published()
    heard = {str(forgery): effect(world, forgery) for forgery in CLOSED}
    assert [name for name, lines in heard.items() if not lines] == []
    wait_for_calls(world, 4)
    REGISTRATION.send(world)
    wait_for_calls(world, 8)


# What no policy can close without silencing others: from the start to the publication, the
# service's connection has no name, and the two rules accept more paths than a policy can deny.


@pytest.mark.parametrize("directed", [False, True])
def test_before_the_publication_a_stranger_can_release_the_hold(
    pending: World, directed: bool
) -> None:
    forgery = Forgery(POWER_STATE + "/x", PENDING, directed)
    assert effect(pending, forgery) == power_state.released("S5OnPending")
    assert pending.board.hold_line == 0


def test_before_the_publication_a_stranger_can_bring_it_forward(world: World) -> None:
    mark = start_pending(world)
    Forgery(ELSEWHERE, COMPLETE).send(world)
    world.wait_published()
    answer(world)
    assert start.fru_signal_seen()[0] in logs(world, mark)
    # The FRU reader's own signal changes nothing any more.
    published = world.client.managed_objects()
    world.fru_reader.complete()
    wait_until(
        lambda: logs(world, mark).count(start.fru_signal_seen()[0]) == 2, "its signal is heard"
    )
    assert world.client.managed_objects() == published


@pytest.mark.parametrize(
    ("forgery", "error"),
    [
        (
            Forgery(ELSEWHERE, NO_BOOLEAN),
            "frureadcompleteHandler : Exception: std::get: wrong index for variant\n",
        ),
        (
            Forgery(POWER_STATE + "/x", NO_STRING),
            f"{power_state.CALLBACK} : exception: std::get: wrong index for variant\n",
        ),
    ],
    ids=["FRU read", "power state"],
)
def test_a_stranger_can_make_the_unpublished_service_write_into_its_log(
    watching: World, forgery: Forgery, error: str
) -> None:
    mark, size = watching.trace.mark(), len(watching.log())
    for _ in range(3):
        forgery.send(watching)
    answer(watching)
    lines = [line for line in logs(watching, mark) if line.startswith("E ")]
    assert lines == [f"E {error}"] * 3
    assert watching.log()[size:].count(error) == 3
