"""Reading, waiting and printing of the trace."""

import subprocess
import sys
import threading

import pytest
from sim_client import SIM
from tavrinsim.trace import Trace, TraceTimeout


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
