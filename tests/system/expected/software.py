"""What the service asks the platform's software inventory about one CPLD."""

from __future__ import annotations

import struct
from dataclasses import dataclass

from tavrinsim.names import Kind

from .reports import Lines

TAG = "[get_version_strings_from_SIPL]"
HEADER = struct.Struct("<I16xII4xQIIIIII6xxI34x")  # 109 bytes, packed


@dataclass(frozen=True)
class Known:
    """What the inventory answers about a kind."""

    current: str = ""
    previous: str = ""
    sha256: str = ""
    changed: bool = False
    change_value: int = 0


class Record:
    """The block that describes one CPLD to the inventory: a header, then texts."""

    def __init__(self, kind: Kind, number: int, version: str) -> None:
        self.component = kind.component_id
        self.texts = b""
        self.previous = self.current = self.sha256 = 0
        self.key = self.add(f"0x803||{kind.fqdd(number)}"[:28])
        self.name = self.add(f"{kind.name.upper()}_CPLD.{number}"[:48])
        self.version = self.add(version)

    def add(self, text: str) -> int:
        """Appends a text; its offset in the block, 0 for an empty one that is left out."""
        offset = HEADER.size + len(self.texts)
        self.texts += text.encode() + b"\0" if text else b""
        return offset if text else 0

    def complete(self, known: Known) -> None:
        """Appends what the inventory answered."""
        self.current = self.add(known.current)
        self.previous = self.add(known.previous)
        self.sha256 = self.add(known.sha256)

    def shown(self) -> str:
        """The block in hex as a trace shows it, without the zeros at its end."""
        fields = [self.key, self.key + 5, 0, self.previous, self.current, self.version]
        fields += [self.name, 0, self.component, self.sha256]
        header = HEADER.pack(HEADER.size + len(self.texts), *fields)
        return (header + self.texts).rstrip(b"\0").hex()


def described(kind: Kind, number: int, version: str) -> Lines:
    """The block is filled with what the service knows itself."""
    key = f"0x803||{kind.fqdd(number)}"
    name = f"{kind.name.upper()}_CPLD.{number}"
    after_key = len(key) + 1
    after_name = after_key + len(name) + 1
    after_version = after_name + len(version) + 1
    return [
        "call sm.alloc_mem",
        f"T {TAG}:pMDOH Enter:",
        f"T {TAG}:pMDOH Enter:{key}",
        f"T {TAG}: Key len:[{len(key) + 1}]",
        f"T {TAG}: pmdohsize:[{109 + after_key}], pmdohstrlen[{after_key}]",
        f"T {TAG}: disName:[{name}], dispName len:[{len(name) + 1}], "
        f"pmdohsize:[{109 + after_name}]\n",
        f"T {TAG}: versionCPLD[{version}], versionCPLDLen[{len(version) + 1}], "
        f"pmdohstrlen[{after_version}]",
        f"T {TAG}: before calling SIPLGetAvailableVersionsWithSha256",
    ]


def versions_asked(record: Record, status: int = 0) -> Lines:
    """The call for the available versions."""
    arguments = f"{record.component}, 32, 65, 0, True, {record.shown()}"
    return [f"call sipl.get_available_versions({arguments}) = {status}"]


def told(kind: Kind, number: int, version: str, known: Known = Known()) -> Lines:
    """The inventory answers; whether the version changed is asked as well."""
    record = Record(kind, number, version)
    asked = versions_asked(record)
    record.complete(known)
    answer = {"changed": known.changed, "change_value": known.change_value}
    return [
        *described(kind, number, version),
        *asked,
        f"T {TAG}: curr_ver:[{known.current}] prev_ver:[{known.previous}] "
        f"SHA256:[{known.sha256}]\n",
        f"T {TAG}: successfully obtained available fw versions.\n",
        *_answers_kept(kind, known),
        f"call sipl.has_version_changed(1, 0, {record.shown()}) = {answer}",
        _change_line(kind, number, known),
        "call sm.free_mem",
    ]


def _answers_kept(kind: Kind, known: Known) -> Lines:
    return [
        f"T {TAG}: successfully added current FW Ver to the {kind.node}.\n"
        if known.current
        else f"T {TAG}: No current FW Ver available.\n",
        f"T {TAG}: successfully added Previous FW Ver to the BSO.\n"
        if known.previous
        else f"T {TAG}: No previous FW Ver available.\n",
        f"T {TAG}: successfully added SHA 256 to the BSO.\n"
        if known.sha256
        else f"T {TAG}: No SHA 256 available.\n",
    ]


def _change_line(kind: Kind, number: int, known: Known) -> str:
    if known.changed:
        return (
            f"T {TAG}: {kind.node} Software Version changed "
            f"for type [0x803] index [{number}]\n"
        )
    return f"T {TAG}: No {kind.node} Software version change\n"
