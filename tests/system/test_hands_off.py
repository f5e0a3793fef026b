"""While the programming library is at a CPLD, the service itself touches none, whatever it is asked."""

from __future__ import annotations

import pytest
from dbus_next import Variant
from expected import interfaces
from support.jobs import followed, run
from tavrinsim import names
from tavrinsim.trace import Line
from tavrinsim.world import World
from watching import answer, wait_for_calls

HANDS = ("open", "transfer", "close")


def ask_for_everything(world: World) -> None:
    """All that may reach the service while it updates."""
    for path in world.client.managed_objects():
        for interface in interfaces.ALL:
            world.client.get_all(path, interface)
        world.client.set(path, names.COMP_UPDATE, "Timeout", Variant("u", 60))
    for device in world.board.devices:
        directory = world.payload(device.kind.name, "9.9.9")
        assert run(world, device.fqdd, directory).result == 1
    for complete in (False, True):
        world.fru_reader.complete(complete)
    for state in ("On", "S5OnPending"):
        world.host_state.change(state)
    world.coordinator.ask_for_registrations()
    wait_for_calls(world, 8)
    answer(world)


def between(world: World, begin: str, end: str) -> list[Line]:
    """The trace between two of the programming library's lines."""
    calls = ["cpldfwupdate." + name for name in (begin, end)]
    lines = world.trace.lines()
    first, last = (
        next(place for place, line in enumerate(lines) if line.get("name") == call)
        for call in calls
    )
    return lines[first : last + 1]


@pytest.mark.parametrize("kind", names.KINDS)
def test_nothing_touches_a_cpld_while_one_is_programmed(service: World, kind: str) -> None:
    wait_for_calls(service, 4)
    gate = service.board.faults.gate()
    service.board.faults.programming(pause_at=5, gate=gate)
    job = service.job(service.board.device(kind).fqdd, service.payload(kind, "2.3.4"))
    with followed(service, job) as done:
        assert service.coordinator.update(job) == 0
        gate.wait_reached()
        assert service.board.hold_line == 1
        ask_for_everything(service)
        # The hold line is no CPLD: a pending power-on releases it, with half an image in the CPLD.
        assert service.board.hold_line == 0
        assert service.board.device(kind).image_state == "writing"
        gate.open()
    assert done.progress[-1] == (28, 100)
    programming = between(service, "construct", "finish")
    # What was asked for came in this time, and left no trace on any device.
    assert [line for line in programming if line.get("member") == "cmnupdateregsignal"] != []
    assert [line for line in programming if line["what"] in HANDS] == []
    events = {line["event"] for line in programming if line["what"] == "device"}
    assert events == {"erased", "complete"}
