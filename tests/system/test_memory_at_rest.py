"""What a job or a start takes of the controller's memory is given back when it is over."""

from __future__ import annotations

import pytest
from conftest import BuildWorld
from dbus_next import Variant
from support.held_memory import gives_memory_back
from support.jobs import run, wait_until
from support.resources import Resources
from tavrinsim import names
from tavrinsim.answers import Held, Latch, Reply
from tavrinsim.world import World

# Larger than what a check holds at a time, which is 4 MiB.
PAYLOAD = 6 << 20
# Far less than that, far more than what an allocation here and there comes to.
TOLERATED_KIB = 1024
# So many signals of so many bytes: each too small to have pages of its own.
SIGNALS, SIGNAL = 200, 50_000


def test_a_check_takes_its_memory_for_as_long_as_it_lasts(world: World) -> None:
    if not gives_memory_back(world):
        pytest.skip("this build, or this view, keeps memory that the service gives back")
    world.start()
    world.wait_published()
    assert world.service is not None
    before = Resources.of(world.service.pid)
    # More than once: the C library would keep such a block from the second time on.
    for _ in range(3):
        assert run(world, "PBBCPLD.Embedded.1", world.payload_of(bytes(PAYLOAD))).result == 1
        after = Resources.of(world.service.pid)
        assert after.private_kib - before.private_kib < TOLERATED_KIB


def test_what_came_while_the_start_waited_is_given_back_when_it_has_been_read(
    build_world: BuildWorld,
) -> None:
    world = build_world(monitored=False)
    if not gives_memory_back(world):
        pytest.skip("this build, or this view, keeps memory that the service gives back")
    latch = Latch()
    world.fru_reader.once("Get", Held(latch, Reply("v", Variant("b", False))))
    world.start()
    world.fru_reader.wait_for_calls("Get")
    assert world.service is not None
    before = Resources.of(world.service.pid).private_kib

    def held() -> int:
        return Resources.of(world.service.pid).private_kib - before

    signal = (world.host_state.path, names.PROPERTIES, "PropertiesChanged", "sa{sv}as", "x")
    for _ in range(SIGNALS):
        world.host_state.signal(*signal, {"Other": Variant("s", "x" * SIGNAL)}, [])
    wait_until(lambda: held() > SIGNALS * SIGNAL // 1024, "all signals wait in the service")
    latch.open()
    wait_until(lambda: held() < TOLERATED_KIB, "the service has given it back")
