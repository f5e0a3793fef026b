"""Names and numbers that the services of a controller agree on."""

from __future__ import annotations

from dataclasses import dataclass

SERVICE = "com.vexa.bevon.tavrinupdate"
OBJECT_ROOT = "/com/vexa/bevon/cpld_updater"
ANCHOR = "/com/vexa/bevon/dummy"

COMP_UPDATE = "com.vexa.bevon.cmnupdate.comp_update"
REGISTRATION = "com.vexa.bevon.cmnupdate.comp_mprop_dri_registration"
BASE_INVENTORY = "com.vexa.bevon.inventory.BaseSwInventory"
TAVRIN_INVENTORY = "com.vexa.bevon.inventory.TavrinInventory"

COORDINATOR = "com.vexa.bevon.cmnfwupd"
COORDINATOR_PATH = "/com/vexa/bevon/cmnfwupd"
COORDINATOR_INTERFACE = "com.vexa.bevon.cmnfwupd.fw_management"

BUS = "org.freedesktop.DBus"
BUS_PATH = "/org/freedesktop/DBus"
PROPERTIES = "org.freedesktop.DBus.Properties"
INTROSPECTABLE = "org.freedesktop.DBus.Introspectable"
OBJECT_MANAGER = "org.freedesktop.DBus.ObjectManager"

LOG_FOLDER = "/var/log"
LOG_FILE = "/var/log/tavrinupdate.log"
KEY_FOLDER = "/etc/shared_keys"


@dataclass(frozen=True)
class Kind:
    """One of the three kinds of board that carry a CPLD."""

    name: str
    component_id: int
    node: str
    fqdd_prefix: str
    key_family: str

    def fqdd(self, number: int) -> str:
        """The FQDD of instance `number`, counted from 1."""
        return f"{self.fqdd_prefix}{number}"

    def object_path(self, number: int) -> str:
        """The D-Bus path of instance `number`, counted from 1."""
        return f"{OBJECT_ROOT}/{self.node}_{number}"


PBB = Kind("pbb", 114678, "PBB_PLD", "PBBCPLD.Embedded.", "i2cpld")
PDB = Kind("pdb", 114747, "PDB_PLD", "PDBCPLD.Embedded.", "i2cpld")
FLOP = Kind("flop", 112102, "FLOP", "CPLD.IOBay.", "flop")

# The order in which the service walks its components.
KINDS = {kind.name: kind for kind in (PBB, PDB, FLOP)}


def split_fqdd(fqdd: str) -> tuple[Kind, int]:
    """Kind and instance number of a well-formed FQDD; ValueError otherwise."""
    for kind in KINDS.values():
        number = fqdd[len(kind.fqdd_prefix) :]
        if fqdd.startswith(kind.fqdd_prefix) and number.isdecimal():
            return kind, int(number)
    raise ValueError(f"no component has the FQDD {fqdd!r}")
