#!/usr/bin/python3
"""The generator: names, types, flags and defaults, and its command line."""

from __future__ import annotations

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
ROOT = Path(__file__).resolve().parents[2]
BUS = ROOT / "subprojects" / "sdbusplus"
sys.path.insert(0, str(BUS))

from generator.definition import load_interface  # noqa: E402
from generator.names import lower_camel, lower_snake, upper_camel  # noqa: E402
from generator.types import parse_type  # noqa: E402

IDENTIFIERS = {
    "CompFirmwareUpdate": "compFirmwareUpdate",
    "SetAllProperties": "setAllProperties",
    "Jobid": "jobid",
    "Resource_URI": "resourceURI",
    "Previous_URI": "previousURI",
    "New_FW_ver": "newFWVer",
    "Component_id": "componentId",
    "Timeout": "timeout",
    "deviceID": "deviceID",
    "subDeviceID": "subDeviceID",
    "vendorID": "vendorID",
    "subVendorID": "subVendorID",
    "Fqdd": "fqdd",
    "Comp_ID": "compID",
    "Reboot_Type": "rebootType",
    "Serial_Type": "serialType",
    "fwupdate_service": "fwupdateService",
    "fwupdate_object": "fwupdateObject",
    "fwupdate_interface": "fwupdateInterface",
    "fwupdate_methodcall": "fwupdateMethodcall",
    "ComponentID": "componentID",
    "CurrentVersionString": "currentVersionString",
    "FQDD": "fqdd",
    "FriendlyFQDD": "friendlyFQDD",
    "ImpactsTPMmeasurements": "impactsTPMmeasurements",
    "Sha256String": "sha256String",
    "PLDMCapabilitiesDuringUpdate": "pldmCapabilitiesDuringUpdate",
    "PLDMFDPCapabilitiesDuringUpdate": "pldmfdpCapabilitiesDuringUpdate",
    "releaseType": "releaseType",
    "PSUScanBlock": "psuScanBlock",
    # Not among the service's own: versions in a name, digits, keywords.
    "IPv4Address": "ipv4Address",
    "SHA256": "sha256",
    "Default": "default_",
    "class": "class_",
}


def interface_of(text: str, name: str = "com.example.Thing"):
    """The interface that a definition describes."""
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / (name.replace(".", "/") + ".interface.yaml")
        path.parent.mkdir(parents=True)
        path.write_text(text, encoding="utf-8")
        return load_interface(Path(folder), name)


def property_of(text: str):
    """The only property of an interface, from its YAML keys."""
    return interface_of(f"properties:\n  - name: Some\n{text}").properties[0]


class Names(unittest.TestCase):
    def test_members(self):
        for name, identifier in IDENTIFIERS.items():
            with self.subTest(name):
                self.assertEqual(lower_camel(name), identifier)

    def test_classes(self):
        self.assertEqual(upper_camel("comp_update"), "CompUpdate")
        self.assertEqual(upper_camel("comp_mprop_dri_registration"), "CompMpropDriRegistration")
        self.assertEqual(upper_camel("BaseSwInventory"), "BaseSwInventory")

    def test_namespaces(self):
        self.assertEqual(lower_snake("cmnupdate"), "cmnupdate")
        self.assertEqual(lower_snake("SoftwareVersion"), "software_version")
        self.assertEqual(lower_snake("PLDMDevice"), "pldm_device")

    def test_interface(self):
        interface = interface_of("", "com.example.SubPart.some_thing")
        self.assertEqual(interface.class_name, "SomeThing")
        self.assertEqual(interface.namespace, "com::example::sub_part")
        self.assertEqual(interface.folder, "com/example/SubPart/some_thing")


class Types(unittest.TestCase):
    def test_types(self):
        expected = {
            "byte": ("uint8_t", "y"),
            "boolean": ("bool", "b"),
            "double": ("double", "d"),
            "array[int64]": ("std::vector<int64_t>", "ax"),
            "dict[string, variant[string, uint16, uint32]]": (
                "std::map<std::string, std::variant<std::string, uint16_t, uint32_t>>",
                "a{sv}",
            ),
            "struct[int16, array[struct[uint64]]]": (
                "std::tuple<int16_t, std::vector<std::tuple<uint64_t>>>",
                "(na(t))",
            ),
        }
        for text, (cpp, signature) in expected.items():
            with self.subTest(text):
                self.assertEqual(parse_type(text).cpp, cpp)
                self.assertEqual(parse_type(text).signature, signature)

    def test_what_is_no_type_is_refused(self):
        wrong = ("", "text", "array", "array[", "array[]", "dict[string]", "byte]", "byte byte")
        for text in wrong:
            with self.subTest(text), self.assertRaisesRegex(ValueError, "Invalid type"):
                parse_type(text)


class Flags(unittest.TestCase):
    def flags_of(self, flags: str) -> tuple[list[str], bool]:
        found = property_of(f"    type: byte\n    flags: {flags}\n")
        return found.flags, found.writable

    def test_changes_are_announced_where_nothing_is_said(self):
        self.assertEqual(self.flags_of("[]"), (["property_::emits_change"], True))
        self.assertEqual(self.flags_of("[readonly]"), (["property_::emits_change"], False))

    def test_any_flag_replaces_that(self):
        self.assertEqual(self.flags_of("[unprivileged]"), (["common_::unprivileged"], True))
        self.assertEqual(self.flags_of("[const]"), (["property_::const_"], False))
        self.assertEqual(self.flags_of("[const, readonly]"), (["property_::const_"], False))
        self.assertEqual(
            self.flags_of("[emits_change, readonly]"), (["property_::emits_change"], False)
        )
        self.assertEqual(
            self.flags_of("[explicit, emits_invalidation]"),
            (["property_::explicit_", "property_::emits_invalidation"], True),
        )

    def test_misspelt_flag_is_refused(self):
        with self.assertRaisesRegex(ValueError, 'Invalid flag "unpriviledged"'):
            self.flags_of("[unpriviledged]")


class Defaults(unittest.TestCase):
    def initial_of(self, kind: str, default: str) -> str:
        return property_of(f"    type: {kind}\n    default: {default}\n").initial

    def test_defaults(self):
        self.assertEqual(self.initial_of("string", "PBB CPLD"), ' = "PBB CPLD"')
        self.assertEqual(self.initial_of("string", "'a \"b\"'"), ' = "a \\"b\\""')
        self.assertEqual(self.initial_of("uint32", "1"), " = 1")
        self.assertEqual(self.initial_of("boolean", "true"), " = true")
        self.assertEqual(property_of("    type: uint16\n").initial, "{}")
        self.assertEqual(property_of("    type: string\n").initial, "")

    def test_default_of_another_type_is_refused(self):
        for kind, default in (("uint32", "text"), ("string", "1"), ("array[byte]", "[1]")):
            with self.subTest(kind), self.assertRaisesRegex(ValueError, "invalid default"):
                self.initial_of(kind, default)


class Unsupported(unittest.TestCase):
    def test_is_refused_rather_than_left_out(self):
        result = "{name: Some, type: byte}"
        for text in (
            "signals:\n  - name: Some\n",
            "enumerations:\n  - name: Some\n",
            f"methods:\n  - name: Some\n    returns: [{result}, {result}]\n",
            "methods:\n  - name: Some\n    errors: [com.example.Error]\n",
            "properties:\n  - name: Some\n    type: byte\n    errors: [com.example.Error]\n",
        ):
            with self.subTest(text), self.assertRaisesRegex(ValueError, "not supported"):
                interface_of(text)


class CommandLine(unittest.TestCase):
    def run_generator(self, *arguments: str) -> subprocess.CompletedProcess[str]:
        return subprocess.run(
            [BUS / "sdbus++", "-r", ROOT / "interfaces", *arguments],
            capture_output=True,
            text=True,
            check=False,
        )

    def test_writes_each_file(self):
        for process, part in {
            "common-header": 'interface = "com.vexa.bevon.cmnupdate.comp_update"',
            "server-header": "class CompUpdate :",
            "server-cpp": "#include <com/vexa/bevon/cmnupdate/comp_update/server.hpp>",
        }.items():
            with self.subTest(process):
                result = self.run_generator(
                    "interface", process, "com.vexa.bevon.cmnupdate.comp_update"
                )
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertIn(part, result.stdout)

    def test_virtual_order_is_methods_then_accessors_as_defined(self):
        header = self.run_generator(
            "interface", "server-header", "com.vexa.bevon.cmnupdate.comp_update"
        ).stdout
        virtuals = [line.strip() for line in header.splitlines() if "virtual " in line]
        self.assertEqual(
            virtuals[:6],
            [
                "virtual ~CompUpdate() = default;",
                "virtual int32_t compFirmwareUpdate(std::string fqdd, uint32_t transactionId) = 0;",
                "virtual int32_t setAllProperties(",
                "virtual std::string jobid() const;",
                "virtual std::string jobid(std::string value, bool skipSignal);",
                "virtual std::string jobid(std::string value);",
            ],
        )
        self.assertEqual(virtuals[-1], "virtual uint16_t subVendorID(uint16_t value);")

    def test_fails_where_there_is_no_definition(self):
        result = self.run_generator("interface", "common-header", "com.example.None")
        self.assertNotEqual(result.returncode, 0)
        self.assertEqual(result.stdout, "")


if __name__ == "__main__":
    unittest.main()
