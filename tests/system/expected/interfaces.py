"""The four interfaces as introspection shows them, member by member in order.

A method reads (name, types in, types out); a property (name, type, access, what it says
about announcing its changes: "true" is the default, for which nothing is said).
"""

from __future__ import annotations

from typing import Any, cast

from tavrinsim import names

Method = tuple[str, str, str]
Property = tuple[str, str, str, str]


def quiet(name: str, signature: str) -> Property:
    """Anybody may write it, nobody hears of it."""
    return (name, signature, "readwrite", "false")


def constant(name: str, signature: str) -> Property:
    """It never changes."""
    return (name, signature, "read", "const")


def announced(name: str, signature: str) -> Property:
    """The service alone writes it, and says so."""
    return (name, signature, "read", "true")


UPDATE: list[Method | Property] = [
    ("CompFirmwareUpdate", "su", "i"),
    ("SetAllProperties", "a{sv}", "i"),
    quiet("Jobid", "s"),
    quiet("Resource_URI", "s"),
    quiet("Previous_URI", "s"),
    quiet("New_FW_ver", "s"),
    quiet("Component_id", "u"),
    quiet("Timeout", "u"),
    quiet("deviceID", "q"),
    quiet("subDeviceID", "q"),
    quiet("vendorID", "q"),
    quiet("subVendorID", "q"),
]

REGISTRATION: list[Method | Property] = [
    quiet("Fqdd", "s"),
    quiet("Comp_ID", "u"),
    quiet("Reboot_Type", "y"),
    quiet("Serial_Type", "y"),
    quiet("fwupdate_service", "s"),
    quiet("fwupdate_object", "s"),
    quiet("fwupdate_interface", "s"),
    quiet("fwupdate_methodcall", "s"),
]

BASE_INVENTORY: list[Method | Property] = [
    constant("ComponentID", "u"),
    constant("ComponentType", "q"),
    announced("CurrentVersionString", "s"),
    announced("CurrentReleaseDate", "s"),
    constant("DeviceType", "q"),
    constant("DisplayName", "s"),
    constant("FQDD", "s"),
    announced("Flags", "y"),
    constant("FriendlyFQDD", "s"),
    announced("ImpactsTPMmeasurements", "b"),
    announced("InstallationDate", "t"),
    announced("InstalledVersionString", "s"),
    announced("PreviousVersionString", "s"),
    announced("PreviousReleaseDate", "s"),
    announced("Sha256String", "s"),
    announced("ShaPreviousVersionHash", "s"),
    announced("VersionDependencyArray", "s"),
    constant("SidebandUpdateCapable", "q"),
    announced("PLDMCapabilitiesDuringUpdate", "u"),
    announced("PLDMFDPCapabilitiesDuringUpdate", "u"),
    announced("releaseType", "y"),
]

TAVRIN_INVENTORY: list[Method | Property] = [
    quiet("Fqdd", "s"),
    quiet("Comp_ID", "u"),
    quiet("Count", "u"),
    quiet("ComponentType", "u"),
    quiet("CurrentVersionString", "s"),
    quiet("DeviceType", "u"),
    quiet("DisplayName", "s"),
    quiet("Flags", "u"),
    quiet("FriendlyFQDD", "s"),
    quiet("ImpactsTPMmeasurements", "b"),
    quiet("InstallationDate", "u"),
    quiet("InstalledVersionString", "s"),
    quiet("PreviousVersionString", "s"),
    quiet("UpdateStatus", "s"),
    quiet("UpdatePercent", "u"),
    quiet("PSUScanBlock", "b"),
]

ALL = {
    names.COMP_UPDATE: UPDATE,
    names.REGISTRATION: REGISTRATION,
    names.BASE_INVENTORY: BASE_INVENTORY,
    names.TAVRIN_INVENTORY: TAVRIN_INVENTORY,
}


def properties(interface: str) -> list[Property]:
    """The properties of an interface, in order; the update interface begins with methods."""
    methods = 2 if interface == names.COMP_UPDATE else 0
    return [cast(Property, member) for member in ALL[interface][methods:]]


def fresh(interface: str) -> dict[str, Any]:
    """The values of an interface that nobody has filled."""
    of_type = {"s": "", "b": False}
    values = {name: of_type.get(sig, 0) for name, sig, *_ in properties(interface)}
    return values | (TAVRIN_INVENTORY_DEFAULTS if interface == names.TAVRIN_INVENTORY else {})


TAVRIN_INVENTORY_DEFAULTS = {
    "DeviceType": 1,
    "DisplayName": "PBB CPLD",
    "FriendlyFQDD": "PBB CPLD",
    "UpdateStatus": "NotStarted",
}


def registration_of(path: str, fqdd: str, component: int) -> dict[str, Any]:
    """What one CPLD's object tells the coordinator about its update."""
    return {
        "Fqdd": fqdd,
        "Comp_ID": component,
        "Reboot_Type": 0,
        "Serial_Type": 1,
        "fwupdate_service": "com.vexa.bevon.tavrinupdate",
        "fwupdate_object": path,
        "fwupdate_interface": "com.vexa.bevon.cmnupdate.comp_update",
        "fwupdate_methodcall": "CompFirmwareUpdate",
    }
