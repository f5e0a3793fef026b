#!/usr/bin/python3
"""Holds what the folders call of each other against the picture in docs/architecture.md.

usage: check_layers.py [BUILD-FOLDER]

Judged is what is linked: a call goes from the folder whose library leaves a symbol undefined to the
one whose library defines it, wherever it is declared. Every call must be an arrow of the picture, and
every arrow a call. What a folder includes lies along its arrows, or in service/, which declares the
types that all share and the service object whose operations the other folders define. But for the
dotted arrow, the picture has no circle.
"""

from __future__ import annotations

import re
import subprocess
import sys
from graphlib import CycleError, TopologicalSorter
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PICTURE = ROOT / "docs" / "architecture.md"

# `hw -- the platform's identity --> inventory`, dotted: `service -. served calls .-> update`.
ARROW = re.compile(r"^\s+(\w+) (--|-\.) .+ (-->|\.->) (\w+)$", re.MULTILINE)
INCLUDE = re.compile(r'^\s*#include\s+"([a-z]+)/', re.MULTILINE)
BINDING = re.compile(r"^\s*#include\s+<com/vexa/", re.MULTILINE)

# What each folder becomes in a build. The platform's libraries are whatever stands in for them.
LIBRARIES = {
    "auth": "libauth.a",
    "hw": "libhw.a",
    "interfaces": "interfaces/libinterfaces.a",
    "inventory": "libinventory.a",
    "log": "liblog.a",
    "main": "tavrinupdate.p/main_main.cpp.o",
    "platform": "sim/libsimplatform.so",
    "service": "libservice.a",
    "update": "libupdate.a",
    "watchers": "libwatchers.a",
}
NOT_OURS = ("interfaces", "platform")

Arrow = tuple[str, str]


def drawn(picture: str) -> tuple[set[Arrow], set[Arrow]]:
    """All arrows, those to the log not drawn, and those of them that may close a circle."""
    found = [(match[1], match[4], match[2] == "-.") for match in ARROW.finditer(picture)]
    logging = {(folder, "log") for folder in LIBRARIES if folder not in (*NOT_OURS, "log")}
    return {(a, b) for a, b, _ in found} | logging, {(a, b) for a, b, dotted in found if dotted}


def symbols(library: Path) -> tuple[set[str], set[str]]:
    """What a library defines for others, and what it needs of them."""
    dynamic = ["-D"] if library.suffix == ".so" else []
    command = ["nm", "--format=posix", *dynamic, str(library)]
    listing = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    lines = [line.split() for line in listing.splitlines() if not line.endswith(":")]
    defined = {name for name, kind, *_ in filter(None, lines) if kind in "TDBRVW"}
    return defined, {name for name, kind, *_ in filter(None, lines) if kind == "U"} - defined


def calls(libraries: dict[str, Path]) -> dict[Arrow, str]:
    """Which folder calls which, each with one symbol as an example."""
    table = {folder: symbols(library) for folder, library in libraries.items()}
    return {
        (user, owner): min(needed & defined)
        for user, (_, needed) in table.items()
        for owner, (defined, _) in table.items()
        if user not in NOT_OURS and user != owner and needed & defined
    }


def includes(folder: Path) -> dict[str, Path]:
    """The folders that a folder's files include from, each with one of these files."""
    found = {}
    for source in sorted([*folder.glob("*.hpp"), *folder.glob("*.cpp")]):
        text = source.read_text()
        for used in {*INCLUDE.findall(text), *(["interfaces"] if BINDING.search(text) else [])}:
            found.setdefault(used, source)
    return found


def circle(arrows: set[Arrow]) -> str:
    """A circle among the arrows, empty where there is none."""
    graph: dict[str, set[str]] = {}
    for user, owner in arrows:
        graph.setdefault(user, set()).add(owner)
    try:
        TopologicalSorter(graph).prepare()
    except CycleError as error:
        return " -> ".join(reversed(error.args[1]))
    return ""


def complaints(picture: str, called: dict[Arrow, str]) -> list[str]:
    """What the picture and the calls do not agree in."""
    arrows, dotted = drawn(picture)
    found = [
        f"{user}/ calls {owner}/, which the picture does not show: {symbol}"
        for (user, owner), symbol in sorted(called.items())
        if (user, owner) not in arrows
    ]
    found += [
        f"the picture shows {user} -> {owner}, but nothing is called there"
        for user, owner in sorted(arrows - set(called))
    ]
    if closed := circle(arrows - dotted):
        found.append(f"a circle: {closed}")
    return found


def main() -> int:
    build = Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT / "build"
    picture = PICTURE.read_text()
    called = calls({folder: build / name for folder, name in LIBRARIES.items()})
    found = complaints(picture, called)
    for user in sorted(set(LIBRARIES) - set(NOT_OURS)):
        allowed = {user, "service"} | {b for a, b in drawn(picture)[0] if a == user}
        for used, source in sorted(includes(ROOT / user).items()):
            if used not in allowed:
                found.append(f"{source.relative_to(ROOT)}: may not include from {used}/")
    if found:
        command = ["c++filt"]
        print(subprocess.run(command, input="\n".join(found), text=True, stdout=-1).stdout)
        return 1
    print(f"{len(called)} arrows between {len(LIBRARIES)} folders, each drawn and each used")
    return 0


if __name__ == "__main__":
    sys.exit(main())
