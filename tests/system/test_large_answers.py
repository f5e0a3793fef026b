"""Answers that are larger than what a socket takes at once, where root's privileges hide nothing.

A process without privileges gets 208 KiB for what it sends, on most kernels; what does not fit
goes out as the bus reads, and needs nobody's next message for that.
"""

from __future__ import annotations

import pytest
from conftest import BuildWorld, FindDouble
from dbus_next import Variant
from tavrinsim import names
from tavrinsim.names import PBB
from tavrinsim.world import World

MANY = {"pbb": 255, "pdb": 255, "flop": 255}
MEGABYTES_3 = "x" * 3_000_000
JOB_ID = (PBB.object_path(1), names.COMP_UPDATE, "Jobid")


@pytest.fixture(scope="module")
def crowded(build_shared_world: BuildWorld, find_double: FindDouble) -> World:
    """A service with as many CPLDs as there can be, and with little room for what it sends."""
    world = build_shared_world(counts=MANY, monitored=False)
    world.start(preload=[find_double("small_buffers")])
    world.client.wait_for_name(timeout=60)
    return world


def test_all_objects_of_the_largest_platform_arrive(crowded: World) -> None:
    assert len(crowded.client.managed_objects()) == sum(MANY.values())


def test_a_property_of_megabytes_is_written_and_read(crowded: World) -> None:
    crowded.client.set(*JOB_ID, Variant("s", MEGABYTES_3))
    assert crowded.client.get(*JOB_ID).value == MEGABYTES_3
    crowded.client.set(*JOB_ID, Variant("s", ""))
