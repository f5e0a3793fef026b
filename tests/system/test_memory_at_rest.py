"""What a job takes of the controller's memory is given back when it is over."""

from __future__ import annotations

import pytest
from jobs import run
from reliability.held_memory import gives_memory_back
from reliability.resources import Resources
from tavrinsim.world import World

# Larger than what a check holds at a time, which is 4 MiB.
PAYLOAD = 6 << 20
# Far less than that, far more than what an allocation here and there comes to.
TOLERATED_KIB = 1024


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
