"""Whether the check of the calls between the folders sees what it is there for; tools/lint runs it."""

from __future__ import annotations

import subprocess
from pathlib import Path

from tools.lib import check_layers as layers

PICTURE = """
    hw -- which platform? --> inventory
    service -. hands on .-> hw
    hw -- job --> service
"""
CALLS = {("hw", "inventory"): "f", ("service", "hw"): "g", ("hw", "service"): "h"}


def judged(picture: str, calls: dict[tuple[str, str], str]) -> list[str]:
    """What is said of a picture and of calls in a tree whose folders all log."""
    logging = {
        (folder, "log"): "logTrace"
        for folder in layers.LIBRARIES
        if folder not in (*layers.NOT_OURS, "log")
    }
    return layers.complaints(picture, calls | logging)


def test_a_picture_that_shows_just_the_calls_passes() -> None:
    assert judged(PICTURE, CALLS) == []


def test_a_call_that_is_not_drawn_is_named_with_its_symbol() -> None:
    called = CALLS | {("hw", "auth"): "verifySignature"}
    found = ["hw/ calls auth/, which the picture does not show: verifySignature"]
    assert judged(PICTURE, called) == found


def test_an_arrow_that_nobody_uses_is_named() -> None:
    called = {pair: symbol for pair, symbol in CALLS.items() if pair != ("hw", "inventory")}
    found = ["the picture shows hw -> inventory, but nothing is called there"]
    assert judged(PICTURE, called) == found


def test_a_circle_is_named_unless_its_arrow_is_dotted() -> None:
    picture = PICTURE.replace("-. hands on .->", "-- hands on -->")
    (found,) = judged(picture, CALLS)
    assert found in ("a circle: hw -> service -> hw", "a circle: service -> hw -> service")


def test_a_call_leads_to_where_the_symbol_is_defined(tmp_path: Path) -> None:
    codes = {"user": "int f(); int g() { return f(); }", "owner": "int f() { return 1; }"}
    for name, code in codes.items():
        command = ["g++", "-x", "c++", "-c", "-", "-o", str(tmp_path / f"{name}.o")]
        subprocess.run(command, input=code, text=True, check=True)
    found = layers.calls({name: tmp_path / f"{name}.o" for name in codes})
    assert found == {("user", "owner"): "_Z1fv"}
