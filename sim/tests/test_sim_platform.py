"""The platform's smaller libraries, and what they are without a board."""

import errno
import subprocess
import sys
import threading

import pytest
from sim_client import LIBRARIES, SIM, Client
from tavrinsim.names import FLOP, PBB
from tavrinsim.trace import Trace, TraceTimeout


def test_the_platform_log_reaches_the_trace(client, board):
    client.call("log", "somebody")
    line = board.trace.wait_for(what="log")
    assert (line["level"], line["module"]) == (4, 352)
    assert (line["format"], line["text"]) == ("[%s] %d\n", "[somebody] 7\n")
    assert line["pid"] == client.process.pid


def test_text_that_is_no_utf8_does_not_break_the_trace(client, board):
    client.process.stdin.buffer.write(b"log a\xffb\n")
    client.process.stdin.flush()
    client.answer()
    assert board.trace.logs() == ["[a\ufffdb] 7\n"]


def test_any_text_reaches_the_simulation_and_comes_back_in_the_trace(client, board):
    text = 'say "no" \\ \b\f\r\t\x01 \u00e9\u4e2d\U0001f600'
    board.faults.programming(throw_at_once=True, exception_text=text)
    client.call("program", "PBB_PLD", 0, "/nowhere")
    assert board.trace.wait_for(name="cpldfwupdate.throw")["args"] == {"text": text}


def test_the_largest_and_the_smallest_numbers_stay_what_they_are(client, board):
    for number in (2**64 - 1, 2**63, 2**63 - 1):
        board.software(PBB, changed=True, change_value=number)
        assert client.call("versions", PBB.component_id).endswith(f" 1 {number}")
        asked = board.trace.select(name="sipl.has_version_changed")
        assert asked[-1]["result"] == {"changed": True, "change_value": number}
    board.faults.parser(PBB, status=-(2**31))
    assert client.call("sysinfo", 62) == str(-(2**31))


def test_the_hold_line(client, board):
    assert board.hold_line == 1
    assert client.call("hold", 0) == "0 0 0 -"
    assert board.hold_line == 0
    names = [line["name"] for line in board.trace.select(what="call")]
    assert names == [
        "hal.read_config",
        "hal.write_bit",
        "hal.has_interrupt",
        "hal.destroy",
    ]


def test_hold_line_writes_fail_in_turn(client, board):
    board.faults.hal_writes((-5, errno.EIO), (-6, errno.ENXIO))
    assert client.call("hold", 0) == f"-5 {errno.EIO} 0 -"
    assert client.call("hold", 0) == f"-6 {errno.ENXIO} 0 -"
    assert board.hold_line == 1
    assert client.call("hold", 0) == "0 0 0 -"


def test_a_line_without_configuration_and_one_with_a_callback(client, board):
    board.faults.hal_config(missing=True, times=1)
    board.faults.hal_config(interrupt=True, unregister_status=3)
    assert client.call("hold", 0) == "null"
    assert client.call("hold", 0) == "0 0 1 3"


def test_the_software_inventory_answers_by_component(client, board):
    board.software(
        PBB, current="1.0", previous="0.9", sha256="ab" * 32, change_value=77
    )
    board.software(FLOP, changed=True)
    assert (
        client.call("versions", PBB.component_id) == f"0 [1.0] [0.9] [{'ab' * 32}] 0 77"
    )
    assert client.call("versions", FLOP.component_id) == "0 [] [] [] 1 0"


def test_long_texts_are_cut_to_the_callers_buffers(client, board):
    board.software(PBB, current="1" * 100, sha256="f" * 100)
    assert (
        client.call("versions", PBB.component_id)
        == f"0 [{'1' * 31}] [] [{'f' * 64}] 0 0"
    )


def test_inventory_faults_and_the_recorded_block(client, board):
    board.faults.versions(PBB, status=-4)
    assert client.call("versions", PBB.component_id).startswith("-4 []")
    line = board.trace.select(name="sipl.get_available_versions")[0]
    assert (
        line["args"]["record"]
        == "00" * 60 + PBB.component_id.to_bytes(3, "little").hex()
    )
    assert (line["args"]["version_size"], line["args"]["sha256_size"]) == (32, 65)
    board.faults.allocation()
    assert client.call("versions", PBB.component_id) == "null"


def test_the_libraries_are_inert_without_a_board():
    client = Client({"LD_PRELOAD": str(LIBRARIES / "libsimi2c.so")})
    assert client.call("sysinfo", 62) == "-2"
    assert client.call("hold", 0) == "null"
    assert client.call("versions", 1).startswith("-2 ")
    assert client.call("program", "PBB_PLD", 0, "/x") == "-1 -1 -1 :"
    assert client.call("open", "/dev/i2c-sim-pbb0") == f"errno {errno.ENOENT}"
    assert client.call("log", "to-stderr") == "logged"
    assert client.finish() == "4 352 [to-stderr] 7\n"


# -- the trace -------------------------------------------------------------------------


def test_lines_are_selected_by_their_members(tmp_path):
    trace = Trace(tmp_path / "trace.jsonl")
    trace.record("call", name="a", args={"index": 1})
    mark = trace.mark()
    trace.record("call", name="b", args={"index": 1})
    assert [line["name"] for line in trace.select(args__index=1)] == ["a", "b"]
    assert [line["name"] for line in trace.select(args__index=1, start=mark)] == ["b"]
    assert not trace.select(name="a", args__index=2)
    assert trace.select(lambda line: line["name"] > "a")[0]["name"] == "b"


def test_waiting_ends_as_soon_as_the_line_is_there(tmp_path):
    trace = Trace(tmp_path / "trace.jsonl")
    writer = Trace(tmp_path / "trace.jsonl")
    timer = threading.Timer(0.05, writer.record, ["late"], {"number": 5})
    timer.start()
    assert trace.wait_for(what="late")["number"] == 5
    assert trace.wait_for(what="late", timeout=0)["number"] == 5


def test_a_trace_that_forgets_begins_anew(tmp_path):
    trace = Trace(tmp_path / "trace.jsonl")
    writer = Trace(tmp_path / "trace.jsonl")
    writer.record("early", text="longer than what follows")
    assert trace.mark() == 1
    trace.forget()
    assert trace.lines() == []
    writer.record("late")
    assert [line["what"] for line in trace.lines()] == ["late"]


def test_waiting_in_vain_says_what_there_was_instead(tmp_path):
    trace = Trace(tmp_path / "trace.jsonl")
    trace.record("other", number=4)
    with pytest.raises(TraceTimeout, match='"number": 4'):
        trace.wait_for(what="late", timeout=0.05)


def test_a_half_written_line_waits_for_its_end(tmp_path):
    trace = Trace(tmp_path / "trace.jsonl")
    with open(trace.path, "a") as file:
        print('{"what": "ha', end="", file=file, flush=True)
        assert trace.lines() == []
        print('lf"}', file=file, flush=True)
        assert trace.lines() == [{"what": "half"}]


def test_every_kind_of_line_can_be_shown_to_a_person(client, board):
    fd = client.call("open", board.device("pbb").path)
    client.call("rdwr", fd, 0x63, 2, 0)
    client.call("rdwr", fd, 0x63, 0, 4, 0)
    client.call("close", fd)
    client.call("log", "hello")
    client.call("hold", 0)
    command = [sys.executable, "-m", "tavrinsim.trace", board.trace.path]
    shown = subprocess.run(
        command, cwd=SIM, capture_output=True, text=True, check=True
    ).stdout
    for part in ("PBB_PLD[0] write 00, read 2103", "port-opened", "4 352 [hello] 7"):
        assert part in shown
    assert len(shown.splitlines()) == len(board.trace.lines())
