"""The bus policy: who may read, who may write, who may call, who may own the name."""

from __future__ import annotations

import os
import pwd
import subprocess
from pathlib import Path
from subprocess import CompletedProcess

import pytest
from conftest import BuildWorld
from dbus_next import Variant
from expected import interfaces
from support.sequence import job_sequence
from tavrinsim import names
from tavrinsim.bus import POLICY
from tavrinsim.names import PBB
from tavrinsim.world import World

STRANGER = "nobody"
PATH = PBB.object_path(1)
DENIED = "Access denied"

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="only root can call as another user")


def stranger(world: World, *words: str) -> CompletedProcess[str]:
    """What `busctl` makes of its words for a user without any right."""
    return world.bus.call_as(STRANGER, words)


def become(user: str) -> list[str]:
    """The words that run a command as another user."""
    entry = pwd.getpwnam(user)
    return ["setpriv", f"--reuid={entry.pw_uid}", f"--regid={entry.pw_gid}", "--clear-groups"]


def assert_denied(done: CompletedProcess[str]) -> None:
    """The bus refused: the service never does, as the last test of this file shows."""
    assert done.returncode != 0
    assert DENIED in done.stderr


def test_root_may_read_write_and_call(shared_service: World) -> None:
    timeout = (PATH, names.COMP_UPDATE, "Timeout")
    shared_service.client.set(*timeout, Variant("u", 60))
    assert shared_service.client.get(*timeout).value == 60
    shared_service.client.set(*timeout, Variant("u", 0))
    where = (names.SERVICE, PATH, names.COMP_UPDATE)
    empty: dict[str, Variant] = {}
    answer = shared_service.client.call(*where, "SetAllProperties", "a{sv}", empty)
    assert answer == [0]


def test_a_stranger_may_read_the_inventory(shared_service: World) -> None:
    place = (names.SERVICE, PATH, names.BASE_INVENTORY)
    read = stranger(shared_service, "get-property", *place, "FQDD")
    assert read.stdout == 's "PBBCPLD.Embedded.1"\n'
    both = stranger(
        shared_service,
        "get-property",
        *(names.SERVICE, PATH, names.TAVRIN_INVENTORY),
        *("Count", "UpdateStatus"),
    )
    assert both.stdout == 'u 2\ns "NotStarted"\n'


def test_a_stranger_may_find_the_objects_and_learn_their_shape(shared_service: World) -> None:
    tree = stranger(shared_service, "tree", "--list", names.SERVICE)
    assert {PATH, names.PDB.object_path(1)} <= set(tree.stdout.splitlines())
    shape = stranger(shared_service, "introspect", "--xml-interface", names.SERVICE, PATH)
    assert 'name="CompFirmwareUpdate"' in shape.stdout
    place = (names.SERVICE, names.OBJECT_ROOT, names.OBJECT_MANAGER)
    managed = stranger(shared_service, "call", *place, "GetManagedObjects")
    assert PATH in managed.stdout
    ping = (names.SERVICE, PATH, "org.freedesktop.DBus.Peer", "Ping")
    assert stranger(shared_service, "call", *ping).returncode == 0


@pytest.mark.parametrize(
    ("interface", "name", "value"),
    [
        (names.COMP_UPDATE, "Resource_URI", ("s", "/tmp/forged")),
        (names.COMP_UPDATE, "Component_id", ("u", "112102")),
        (names.REGISTRATION, "fwupdate_service", ("s", "org.example.Mine")),
        (names.TAVRIN_INVENTORY, "PSUScanBlock", ("b", "true")),
        (names.BASE_INVENTORY, "FQDD", ("s", "x")),
    ],
)
def test_a_stranger_may_write_nothing(
    shared_service: World, interface: str, name: str, value: tuple[str, str]
) -> None:
    before = shared_service.client.get(PATH, interface, name)
    place = (names.SERVICE, PATH, interface)
    assert_denied(stranger(shared_service, "set-property", *place, name, *value))
    assert shared_service.client.get(PATH, interface, name) == before


@pytest.mark.parametrize(
    "call",
    [
        ("CompFirmwareUpdate", "su", "PBBCPLD.Embedded.1", "1"),
        ("SetAllProperties", "a{sv}", "0"),
        ("Anything",),
    ],
)
@pytest.mark.parametrize("path", [PATH, names.ANCHOR])
def test_a_stranger_may_call_no_method(
    shared_service: World, path: str, call: tuple[str, ...]
) -> None:
    mark = shared_service.trace.mark()
    assert_denied(
        stranger(shared_service, "call", names.SERVICE, path, names.COMP_UPDATE, *call)
    )
    assert job_sequence(shared_service, mark) == []


def test_a_stranger_cannot_end_the_service_of_a_controller_without_a_machine_id(
    service: World,
) -> None:
    service.root.inside("/etc/machine-id").unlink()
    call = (names.SERVICE, PATH, "org.freedesktop.DBus.Peer", "GetMachineId")
    assert_denied(stranger(service, "call", *call))
    assert service.client.get(PATH, names.BASE_INVENTORY, "FQDD").value == PBB.fqdd(1)


def test_the_unique_name_is_no_way_round_the_policy(shared_service: World) -> None:
    place = (str(shared_service.client.owner()), PATH, names.COMP_UPDATE)
    call = ("CompFirmwareUpdate", "su", "PBBCPLD.Embedded.1", "1")
    assert_denied(stranger(shared_service, "call", *place, *call))


# A call may leave its interface out; `busctl` cannot.
NO_INTERFACE = """
import asyncio, sys
from dbus_next import Message
from dbus_next.aio import MessageBus

async def main(address, service, path):
    bus = await MessageBus(bus_address=address).connect()
    words = dict(member="CompFirmwareUpdate", signature="su", body=["PBBCPLD.Embedded.1", 1])
    print((await bus.call(Message(destination=service, path=path, **words))).error_name)

asyncio.run(main(*sys.argv[1:]))
"""


def test_a_call_that_names_no_interface_is_no_way_round_the_policy(
    shared_service: World,
) -> None:
    mark = shared_service.trace.mark()
    python = ["/usr/bin/python3", "-c", NO_INTERFACE, shared_service.bus.address]
    command = [*become(STRANGER), *python, names.SERVICE, PATH]
    done = subprocess.run(command, text=True, capture_output=True, check=True)
    assert done.stdout == "org.freedesktop.DBus.Error.AccessDenied\n"
    assert job_sequence(shared_service, mark) == []


def test_a_stranger_may_not_own_the_name(shared_service: World) -> None:
    owner = shared_service.client.owner()
    replace = 2
    bus = (names.BUS, names.BUS_PATH, names.BUS)
    claim = ("RequestName", "su", names.SERVICE, str(replace))
    done = stranger(shared_service, "call", *bus, *claim)
    assert done.returncode != 0
    assert "not allowed to own" in done.stderr or DENIED in done.stderr
    assert shared_service.client.owner() == owner


# The policy is the only gate: the service itself asks nobody for privileges.

VALUES = {"s": "x", "u": "7", "q": "7", "y": "7", "b": "true"}


@pytest.fixture
def open_service(build_world: BuildWorld, tmp_path: Path) -> World:
    """A service whose policy lets everybody do everything."""
    policy = tmp_path / "policy.conf"
    text = POLICY.read_text()
    closed = '<policy context="default">'
    assert closed in text
    everything = f'<allow send_destination="{names.SERVICE}"/>'
    policy.write_text(text.replace(closed, f"{closed}\n    {everything}"))
    world = build_world(policy=policy)
    world.start()
    world.wait_published()
    return world


def test_behind_an_open_policy_nothing_asks_for_privileges(open_service: World) -> None:
    place = (names.SERVICE, PATH)
    for interface in interfaces.ALL:
        for name, kind, access, _ in interfaces.properties(interface):
            if access != "readwrite":
                continue
            words = (*place, interface, name, kind, VALUES[kind])
            done = stranger(open_service, "set-property", *words)
            assert (name, done.returncode, done.stderr) == (name, 0, "")
    call = ("call", *place, names.COMP_UPDATE)
    assert stranger(open_service, *call, "SetAllProperties", "a{sv}", "0").stdout == "i 0\n"
    refused = stranger(open_service, *call, "CompFirmwareUpdate", "su", "Unknown.1", "1")
    assert refused.stdout == "i 1\n"
