"""What an installation brings, and what its pages say of the service."""

from __future__ import annotations

import json
import os
import re
import subprocess
from collections.abc import Callable
from pathlib import Path

import pytest
from building import ROOT, Build

INTERFACES = {
    "com.vexa.bevon.cmnupdate.comp_mprop_dri_registration",
    "com.vexa.bevon.cmnupdate.comp_update",
    "com.vexa.bevon.inventory.BaseSwInventory",
    "com.vexa.bevon.inventory.TavrinInventory",
}
SERVICE = {
    "/usr/libexec/tavrinupdate",
    "/usr/lib/systemd/system/tavrinupdate.service",
    "/usr/share/dbus-1/system.d/com.vexa.bevon.tavrinupdate.conf",
    "/usr/share/man/man8/tavrinupdate.8",
}
DESCRIPTIONS = {f"/usr/share/dbus-1/interfaces/{name}.xml" for name in INTERFACES}
DEFINITIONS = {
    f"/usr/share/tavrinupdate/interfaces/{name.replace('.', '/')}.interface.yaml"
    for name in INTERFACES
}
DOCUMENT_FOLDER = "/usr/share/doc/tavrinupdate"
DOCUMENTS = {
    f"{DOCUMENT_FOLDER}/{name}"
    for name in (
        "README.md",
        "docs",
        # What these link to.
        "inventory/software_record.hpp",
        "packaging/bitbake/tavrinupdate_1.0.0.bb",
        "service/tavrinupdate.hpp",
        "sim/README.md",
        "tools/mutation/equivalents.yaml",
    )
}
LINK = re.compile(r"\]\((?!\w+:|#)([^)#\s]+)")


def plan(build: Build) -> dict[str, str]:
    """Every file that would be installed, and where; a folder that goes whole is named once."""
    words = ["meson", "introspect", "--installed", str(build.folder)]
    answer = subprocess.run(words, text=True, capture_output=True, check=True).stdout
    return json.loads(answer)


def installed(build: Build) -> set[str]:
    """Where they go."""
    return set(plan(build).values())


def lost_links(pages: dict[Path, Path], exists: Callable[[Path], bool]) -> list[str]:
    """The links that lead nowhere, of pages whose text (second) is read at a place (first)."""
    return [
        f"{place}: {target}"
        for place, source in pages.items()
        for target in LINK.findall(source.read_text())
        if not exists(Path(os.path.normpath(place.parent / target)))
    ]


def test_a_build_for_a_real_platform_installs_the_service_and_what_belongs_to_it(
    build: Build,
) -> None:
    done = build.configure("-Dplatform=real", "-Dplatform_libs=someplatform")
    assert done.returncode == 0, done.stdout
    assert installed(build) == SERVICE | DESCRIPTIONS | DEFINITIONS | DOCUMENTS


def test_the_definitions_are_all_there_are() -> None:
    found = (ROOT / "interfaces").rglob("*.interface.yaml")
    relative = {str(path.relative_to(ROOT / "interfaces")) for path in found}
    assert {f"/usr/share/tavrinupdate/interfaces/{path}" for path in relative} == DEFINITIONS


def test_each_link_of_an_installed_page_leads_to_an_installed_file(build: Build) -> None:
    done = build.configure("-Dplatform=real", "-Dplatform_libs=someplatform")
    assert done.returncode == 0, done.stdout
    files = {}
    for source, place in plan(build).items():
        below = [path for path in Path(source).rglob("*") if path.is_file()] or [Path(source)]
        files |= {Path(place) / path.relative_to(source): path for path in below}
    pages = {place: source for place, source in files.items() if place.suffix == ".md"}
    assert Path(DOCUMENT_FOLDER, "docs/porting.md") in pages
    assert lost_links(pages, lambda path: any(each.is_relative_to(path) for each in files)) == []


def test_each_link_of_a_page_of_the_tree_leads_to_a_file() -> None:
    folders = [path for path in ROOT.iterdir() if not path.name.startswith((".", "build"))]
    pages = {page for folder in folders if folder.is_dir() for page in folder.rglob("*.md")}
    pages |= set(ROOT.glob("*.md"))
    assert {ROOT / "README.md", ROOT / "docs" / "porting.md"} <= pages
    assert lost_links({page: page for page in pages}, Path.exists) == []


def test_the_unit_opens_the_i2c_devices_also_where_their_driver_comes_after_the_start(
    build: Build,
) -> None:
    done = build.configure("-Dplatform=real", "-Dplatform_libs=someplatform")
    assert done.returncode == 0, done.stdout
    lines = (build.folder / "packaging" / "tavrinupdate.service").read_text().splitlines()
    # A group's name, such as char-i2c, is looked up once, before the start.
    assert [line for line in lines if line.startswith("DeviceAllow=")] == ["DeviceAllow=char-89 rw"]
    assert {f"{key}=modprobe@i2c_dev.service" for key in ("Wants", "After")} <= set(lines)


def test_a_simulated_build_installs_the_simulated_platform_alone(
    build: Build,
) -> None:
    done = build.configure("-Dlibdir=lib")
    assert done.returncode == 0, done.stdout
    assert installed(build) == {"/usr/lib/libsimi2c.so", "/usr/lib/libsimplatform.so"}


# -- the pages for operators -----------------------------------------------------------


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
