"""The same binary on a platform of another maker: only the symbols are the same.

What that platform saw stands on the service's standard error output, see
`doubles/second_platform.cpp`.
"""

from __future__ import annotations

import pytest
from conftest import FindDouble
from tavrinsim import names, payload
from tavrinsim.job import IN_PROGRESS, SUCCEEDED
from tavrinsim.names import FLOP, PBB, PDB
from tavrinsim.world import World


@pytest.fixture
def other(world: World, find_double: FindDouble) -> World:
    """A service on that platform, published; it has one CPLD of each kind."""
    world.host_state.change("S5OnPending", announce=False)
    # In the place of the simulated libraries, not in front of them.
    world.start(
        preload=[find_double("second_platform")],
        environment={"LD_PRELOAD": str(find_double("second_platform"))},
    )
    world.wait_published()
    return world


def hardware_lines(world: World) -> list[str]:
    """All that the platform saw, but for the log."""
    lines = world.output.read_text().splitlines()
    return [line for line in lines if not line.startswith("log ")]


STARTED = [
    "hold line 0",
    "i2c PBB_PLD w:00 r:8709",
    "i2c PDB_PLD w:00 r:5406",
    "i2c FLOP w:0c r:2310",
]


def test_it_starts_and_publishes_what_it_finds(other: World) -> None:
    assert hardware_lines(other) == STARTED
    assert other.trace.select(what="transfer") == []
    shown = {
        path: (
            objects[names.BASE_INVENTORY]["InstalledVersionString"].value,
            objects[names.BASE_INVENTORY]["InstallationDate"].value,
            objects[names.BASE_INVENTORY]["Sha256String"].value,
        )
        for path, objects in other.client.managed_objects().items()
    }
    known = (0x1122334455667788, "e" * 64)  # cut where the library left no end
    assert shown == {
        PBB.object_path(1): ("7.8.9", *known),
        PDB.object_path(1): ("4.5.6", *known),
        FLOP.object_path(1): ("1.2.3", *known),
    }


def test_it_updates_a_cpld(other: World) -> None:
    key = other.keys.private["i2cpld", "default"]
    image = payload.sign(payload.header() + bytes([0x21, 0x03]), key)
    job = other.job("PBBCPLD.Embedded.1", other.payload_of(image))
    assert other.coordinator.update(job) == 0
    other.coordinator.wait_outcome(job.transaction)
    reports = other.coordinator.reports_of(job.transaction)
    assert [(report.status, report.percent) for report in reports] == [
        (IN_PROGRESS, 0),
        (IN_PROGRESS, 50),
        (IN_PROGRESS, 100),
        (SUCCEEDED, 100),
    ]
    assert hardware_lines(other) == [
        *STARTED,
        "i2c PBB_PLD w:04 r:01",
        "i2c PBB_PLD w:0400 r:",
        "i2c PBB_PLD w:04 r:00",
        "program PBB_PLD[0] for 352",
        "i2c PBB_PLD w:04 r:00",
        "i2c PBB_PLD w:0401 r:",
        "i2c PBB_PLD w:04 r:01",
    ]


def test_it_logs_there(other: World) -> None:
    lines = other.output.read_text().splitlines()
    assert "log 1/352 [readCpldVersion] : PBB_PLD[0]: Maj-7 Min-8 Maint-9" in lines
    assert "log 4/352 [Read_current_internal_power_state] : Host State: S5OnPending" in lines
    assert "log 5/273 [~HAL_cfgdata]: Deleted halData for [HOLD_S5_FLOP_CPLD_UPDATE]" in lines
    assert "[readCpldVersion] : PBB_PLD[0]: Maj-7 Min-8 Maint-9\n" in other.log()
