"""The simulated I2C bus, as a process sees it through the C library."""

import errno

import pytest
from tavrinsim.board import Board
from tavrinsim.names import PBB

ADDRESS = 0x63


def test_device_paths_open_and_all_other_paths_are_the_kernels(client, board, tmp_path):
    descriptor = client.call("open", board.device("pbb").path)
    assert int(descriptor) > 2
    assert client.call("close", descriptor) == "0"
    assert client.call("close", descriptor) == f"errno {errno.EBADF}"
    assert client.call("open", "/dev/i2c-sim-none") == f"errno {errno.ENOENT}"
    assert client.call("open", tmp_path / "none") == f"errno {errno.ENOENT}"
    assert [line["device"] for line in board.trace.select(what="open")] == [
        "PBB_PLD[0]"
    ]
    assert [line["device"] for line in board.trace.select(what="close")] == [
        "PBB_PLD[0]"
    ]


def test_a_read_continues_at_the_register_written_before(client, board):
    fd = client.call("open", board.device("pbb").path)
    assert client.call("rdwr", fd, ADDRESS, 2, 0) == "2 21 03"


def test_a_write_with_an_empty_read_stores_and_keeps_going(client, board):
    device = board.device("pbb", 1)
    fd = client.call("open", device.path)
    assert client.call("rdwr", fd, ADDRESS, 0, 0x20, 7, 8) == "2"
    assert bytes(device.registers[0x20:0x22]) == b"\x07\x08"
    line = board.trace.select(what="transfer")[-1]
    assert line["device"] == "PBB_PLD[1]"
    assert line["messages"][0] == {
        "addr": ADDRESS,
        "flags": 0,
        "len": 3,
        "data": "200708",
    }
    assert line["messages"][1] == {"addr": ADDRESS, "flags": 1, "len": 0, "data": ""}


def test_nobody_answers_at_another_address(client, board):
    fd = client.call("open", board.device("pdb").path)
    assert client.call("rdwr", fd, 0x64, 1, 0).startswith(f"errno {errno.ENXIO}")


def test_version_registers_cannot_be_written(client, board):
    device = board.device("flop")
    fd = client.call("open", device.path)
    client.call("rdwr", fd, ADDRESS, 0, 0x0C, 0xFF, 0xFF)
    assert device.version == "1.2.3"


@pytest.mark.parametrize(
    ("platform_id", "version", "register"),
    [
        (4, "0.0.5", 3),
        (5, "0.0.0", 3),
        (6, "0.0.5", 8),
        (4, "0.0.6", 8),
        (4, "0.1.0", 8),
    ],
)
def test_the_flop_has_its_port_where_firmware_and_platform_put_it(
    client, board, platform_id, version, register
):
    board.platform_id = platform_id
    device = board.device("flop")
    device.version = version
    fd = client.call("open", device.path)
    for other in {3, 8} - {register}:
        client.call("rdwr", fd, ADDRESS, 0, other, 1)
    assert not device.port_open
    client.call("rdwr", fd, ADDRESS, 0, register, 1)
    assert device.port_open
    assert board.trace.select(what="device", device="FLOP[0]", event="port-opened")


def test_the_lock_bit_opens_the_port_of_a_pbb(client, board):
    device = board.device("pbb")
    fd = client.call("open", device.path)
    assert not device.port_open
    client.call("rdwr", fd, ADDRESS, 0, 4, 0xFE)
    assert device.port_open


def test_open_fails_as_often_as_told(client, board):
    device = board.device("pbb")
    fault = board.faults.open(device, errno=errno.EACCES, after=1, times=2)
    results = [client.call("open", device.path).split()[0] for _ in range(4)]
    assert [result == "errno" for result in results] == [False, True, True, False]
    assert fault.hits == 4
    assert client.call("open", board.device("pbb", 1).path).isdecimal()


def test_transfers_fail_by_register_and_operation(client, board):
    device = board.device("pbb")
    board.faults.transfer(
        device, errno=errno.EIO, register=4, operation="write", times=1
    )
    fd = client.call("open", device.path)
    assert client.call("rdwr", fd, ADDRESS, 1, 4) == "2 01"
    assert client.call("rdwr", fd, ADDRESS, 0, 4, 0) == f"errno {errno.EIO}"
    assert not device.port_open
    assert client.call("rdwr", fd, ADDRESS, 0, 4, 0) == "2"
    assert device.port_open


def test_a_transfer_may_reach_the_device_and_fail_all_the_same(client, board):
    device = board.device("pbb")
    board.faults.transfer(device, errno=errno.ETIMEDOUT, reaches_device=True)
    fd = client.call("open", device.path)
    assert client.call("rdwr", fd, ADDRESS, 0, 4, 0) == f"errno {errno.ETIMEDOUT}"
    assert device.port_open


def test_empty_reads_may_be_refused(client, board):
    device = board.device("pbb")
    board.faults.refuse_empty_reads(device)
    fd = client.call("open", device.path)
    assert client.call("rdwr", fd, ADDRESS, 0, 4, 0) == f"errno {errno.EOPNOTSUPP}"
    assert client.call("rdwr", fd, ADDRESS, 1, 4) == "2 01"


def test_stuck_and_misread_bits(client, board):
    device = board.device("pbb")
    fd = client.call("open", device.path)
    stuck = board.faults.stuck(device)
    client.call("rdwr", fd, ADDRESS, 0, 4, 0x40)
    assert device.registers[4] == 0x41
    stuck.remove()
    client.call("rdwr", fd, ADDRESS, 0, 4, 0x40)
    assert device.registers[4] == 0x40
    board.faults.misread(device, set=1, clear=0x40)
    assert client.call("rdwr", fd, ADDRESS, 1, 4) == "2 01"


def test_a_transfer_can_be_held_until_a_gate_opens(client, board):
    gate = board.faults.gate()
    board.faults.transfer(gate=gate)
    fd = client.call("open", board.device("pbb").path)
    client.send("rdwr", fd, ADDRESS, 1, 4)
    gate.wait_reached()
    assert not board.trace.select(what="transfer")
    gate.open()
    assert client.answer() == "2 01"


def test_threads_do_not_get_into_each_others_way(client, board):
    assert client.call("hammer", 4, 50, board.device("pbb").path) == "4"
    transfers = board.trace.select(what="transfer")
    assert len(transfers) == 200
    assert {line["messages"][1]["data"] for line in transfers} == {"2103"}
    assert len(board.trace.select(what="close")) == 200


def test_registers_outlive_the_process(start_client, board):
    device = board.device("pbb")
    first = start_client()
    first.call("rdwr", first.call("open", device.path), ADDRESS, 0, 4, 0)
    first.kill()
    second = start_client()
    assert (
        second.call("rdwr", second.call("open", device.path), ADDRESS, 1, 4) == "2 00"
    )


def test_a_new_path_list_is_in_force_at_once(client, board: Board):
    assert client.call("sysinfo", 62) == "0 2 /dev/i2c-sim-pbb0 /dev/i2c-sim-pbb1"
    fault = board.faults.parser(PBB, count=7, paths=["/dev/i2c-sim-pbb1"])
    assert client.call("sysinfo", 62) == "0 7 /dev/i2c-sim-pbb1"
    fault.remove()
    board.faults.parser(PBB, status=-9)
    assert client.call("sysinfo", 62) == "-9"
    assert client.call("sysinfo", 44) == "0 1 /dev/i2c-sim-pdb0"
    assert client.call("sysinfo", 165) == "-2"
