"""What `meson install` puts where."""

from __future__ import annotations

import json
import subprocess

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
DOCUMENTS = {"/usr/share/doc/tavrinupdate/README.md", "/usr/share/doc/tavrinupdate/docs"}


def installed(build: Build) -> set[str]:
    """Every file that would be installed; a folder that goes as a whole is named once."""
    words = ["meson", "introspect", "--installed", str(build.folder)]
    answer = subprocess.run(words, text=True, capture_output=True, check=True).stdout
    return set(json.loads(answer).values())


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


def test_a_simulated_build_installs_the_simulated_platform_alone(
    build: Build,
) -> None:
    done = build.configure("-Dlibdir=lib")
    assert done.returncode == 0, done.stdout
    assert installed(build) == {"/usr/lib/libsimi2c.so", "/usr/lib/libsimplatform.so"}
