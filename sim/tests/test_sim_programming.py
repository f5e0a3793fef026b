"""The simulated programming library, and what a run leaves in the device."""

import pytest
from tavrinsim.names import FLOP, PBB, PDB

ADDRESS = 0x63
TENS = " ".join(str(percent) for percent in range(0, 101, 10))


def test_a_run_goes_into_force_when_the_port_closes(client, board, make_payload):
    device = board.device("pbb")
    device.port_open = True
    payload = make_payload(PBB, "2.5.9")
    assert client.call("program", "PBB_PLD", 0, payload) == f"0 0 0 : {TENS}"
    assert (device.image_state, device.version) == ("complete", "1.2.3")
    assert device.memory.startswith(payload.read_bytes()[124:-96])

    fd = client.call("open", device.path)
    client.call("rdwr", fd, ADDRESS, 0, 4, 1)
    assert (device.image_state, device.version, device.loads) == ("valid", "2.5.9", 1)
    assert client.call("rdwr", fd, ADDRESS, 2, 0) == "2 52 09"
    assert board.device("pbb", 1).version == "1.2.3"
    events = [line["event"] for line in board.trace.select(what="device")]
    assert events == ["erased", "complete", "port-closed", "loaded"]


def test_a_new_flop_firmware_moves_its_port_register(client, board, make_payload):
    board.platform_id = 4
    device = board.device("flop")
    device.version = "0.0.5"
    device.port_open = True
    assert device.port_register == 3
    client.call("program", "FLOP", 0, make_payload(FLOP, "0.0.6"))
    fd = client.call("open", device.path)
    client.call("rdwr", fd, ADDRESS, 0, 3, 0)
    assert (device.version, device.port_register, device.port_open) == (
        "0.0.6",
        8,
        False,
    )


def test_nothing_is_written_through_a_closed_port(client, board, make_payload):
    device = board.device("pdb")
    assert client.call("program", "PDB_PLD", 0, make_payload(PDB, "2.0.0")) == "0 1 0 :"
    assert set(device.memory) == {0xFF}
    assert (device.image_state, device.programmed_bytes) == ("valid", 0)


@pytest.mark.parametrize(
    ("content", "answer"),
    [
        (None, "0 0 1 :"),
        (bytes(300), "0 0 2 :"),
        (bytes(100), "0 0 2 :"),
        (
            bytes(124) + b"SIMCPLD\0" + bytes([2, 1, 1, 1, 0, 0, 0, 0]) + bytes(96),
            "0 0 3 :",
        ),
        (
            bytes(124) + b"SIMCPLD\0" + bytes([1, 1, 1, 1, 9, 0, 0, 0]) + bytes(96),
            "0 0 4 :",
        ),
    ],
    ids=["missing", "no image", "too short", "other kind", "wrong length"],
)
def test_a_payload_without_a_fitting_image_is_an_update_error(
    client, board, tmp_path, content, answer
):
    board.device("pbb").port_open = True
    payload = tmp_path / "x.payload"
    if content is not None:
        payload.write_bytes(content)
    assert client.call("program", "PBB_PLD", 0, payload) == answer
    assert board.device("pbb").programmed_bytes == 0


def test_a_device_that_is_not_there(client, make_payload):
    assert client.call("program", "PBB_PLD", 9, make_payload(PBB, "2.0.0")) == "1 0 0 :"


def test_scripted_percentages_and_codes(client, board, make_payload):
    device = board.device("pbb")
    device.port_open = True
    board.faults.programming(device, percents=[5, 65537], codes=(7, -8, 9), times=1)
    payload = make_payload(PBB, "2.0.0")
    assert client.call("program", "PBB_PLD", 0, payload) == "7 -8 9 : 5 65537"
    assert client.call("program", "PBB_PLD", 0, payload) == f"0 0 0 : {TENS}"


def test_a_run_that_fails_halfway_leaves_an_interrupted_image(
    client, board, make_payload
):
    device = board.device("pbb")
    device.port_open = True
    board.faults.programming(fail_at=5, codes=(0, 0, 5))
    answer = client.call("program", "PBB_PLD", 0, make_payload(PBB, "2.0.0"))
    assert answer == "0 0 5 : 0 10 20 30 40"
    assert device.image_state == "interrupted"
    fd = client.call("open", device.path)
    client.call("rdwr", fd, ADDRESS, 0, 4, 1)
    assert (device.image_state, device.version) == ("interrupted", "1.2.3")


@pytest.mark.parametrize(
    ("script", "state"),
    [({"throw_at_once": True}, "valid"), ({"throw_at": 3}, "interrupted")],
)
def test_a_run_that_throws(client, board, make_payload, script, state):
    board.device("pbb").port_open = True
    board.faults.programming(exception_text="broken", **script)
    answer = client.call("program", "PBB_PLD", 0, make_payload(PBB, "2.0.0"))
    assert answer == "exception broken"
    assert board.device("pbb").image_state == state
    assert not board.trace.select(name="cpldfwupdate.destroy")


def test_a_run_held_in_the_library_can_be_watched_and_killed(
    start_client, board, make_payload
):
    device = board.device("pbb")
    device.port_open = True
    gate = board.faults.gate()
    script = board.faults.programming(pause_at=5, gate=gate)
    payload = make_payload(PBB, "2.0.0")
    client = start_client()
    client.send("program", "PBB_PLD", 0, payload)
    gate.wait_reached()
    assert device.image_state == "writing"
    second = start_client()
    script.remove()
    assert second.call("program", "PBB_PLD", 0, payload) == "2 0 0 :"
    client.kill()
    assert (device.image_state, device.port_open) == ("interrupted", True)
    assert second.call("program", "PBB_PLD", 0, payload).startswith("0 0 0")
    assert device.image_state == "complete"


def test_a_gate_releases_a_run(client, board, make_payload):
    board.device("pbb").port_open = True
    gate = board.faults.gate()
    board.faults.programming(pause_at=10, gate=gate)
    client.send("program", "PBB_PLD", 0, make_payload(PBB, "2.0.0"))
    gate.wait_reached()
    gate.open()
    assert client.answer() == f"0 0 0 : {TENS}"


def test_a_port_that_closes_during_the_run_ends_it(
    client, start_client, board, make_payload
):
    device = board.device("pbb")
    device.port_open = True
    gate = board.faults.gate()
    board.faults.programming(pause_at=5, gate=gate)
    client.send("program", "PBB_PLD", 0, make_payload(PBB, "2.0.0"))
    gate.wait_reached()
    other = start_client()
    other.call("rdwr", other.call("open", device.path), ADDRESS, 0, 4, 1)
    gate.open()
    assert client.answer().startswith("0 1 0")
    assert (device.image_state, device.version) == ("interrupted", "1.2.3")


def test_progress_from_another_thread(client, board, make_payload):
    board.device("pbb").port_open = True
    board.faults.programming(other_thread=True, percents=[100])
    assert (
        client.call("program", "PBB_PLD", 0, make_payload(PBB, "2.0.0"))
        == "0 0 0 : 100"
    )
