"""The operators' pages explain every text of the error log."""

from __future__ import annotations

import re

import pytest

from building import ROOT

FOLDERS = ("auth", "hw", "inventory", "log", "main", "service", "update", "watchers")
PAGES = ("docs/operation.md", "packaging/tavrinupdate.8")

LITERAL = r'"((?:[^"\\]|\\.)*)"'
CALL = re.compile(
    rf"\b(?:logRecord\(|dlog_printf\((?:failureLevel|halErrorLevel), \w+,)\s*(?:{LITERAL}|(\w+))"
)


def formats(source: str) -> list[str]:
    """The format of each call, or all of the list from which a call takes it."""
    found = []
    for literal, name in CALL.findall(source):
        if name:
            lists = re.findall(name + r"\{([^;]*)\};", source)
            found += re.findall(LITERAL, "".join(lists))
        else:
            found.append(literal)
    return found


def words(text: str) -> list[str]:
    """What a format says itself: neither the function's name nor what is filled in."""
    text = re.sub(r"^\[[^]]*\]", "", text.removesuffix(r"\n"))
    pieces = [piece.strip(" :,.[]()-") for piece in re.split(r"%\w+", text)]
    return [piece for piece in pieces if piece]


@pytest.fixture(scope="module")
def texts() -> list[list[str]]:
    """Every text of the error log that has words of its own."""
    sources = [path for folder in FOLDERS for path in (ROOT / folder).glob("*.cpp")]
    found = [words(text) for path in sources for text in formats(path.read_text())]
    return [text for text in found if text]


def test_the_texts_are_found(texts: list[list[str]]) -> None:
    assert ["3. ioctl failed: TA:0x", "WL", "RL", "err"] in texts
    assert ["Inavlid Platform ID"] in texts
    assert ["ERROR, halData is NULL"] in texts


@pytest.mark.parametrize("page", PAGES)
def test_each_text_is_explained(texts: list[list[str]], page: str) -> None:
    lines = (ROOT / page).read_text().splitlines()
    patterns = [re.compile(".*".join(re.escape(piece) for piece in text)) for text in texts]
    missing = [one.pattern for one in patterns if not any(one.search(line) for line in lines)]
    assert missing == []
