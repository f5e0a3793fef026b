"""A start of the service, from the first question to the last subscription."""

from __future__ import annotations

from dataclasses import dataclass

from tavrinsim.names import FLOP, OBJECT_ROOT, PBB, PDB, Kind

from . import software
from .reports import Lines

PARSER_CODES = {PBB: 62, PDB: 44, FLOP: 26}
VERSION_REGISTERS = {PBB: "00", PDB: "00", FLOP: "0c"}


@dataclass(frozen=True)
class Cpld:
    """A CPLD as its version registers show it: two bytes in hex, and what they mean."""

    kind: Kind
    index: int
    registers: str
    version: tuple[int, int, int]

    @property
    def name(self) -> str:
        """As it stands in log lines."""
        return f"{self.kind.node}[{self.index}]"

    @property
    def text(self) -> str:
        """The version as text."""
        return ".".join(map(str, self.version))


# The power state ----------------------------------------------------------------------

POWER_STATE_ASKED = (
    "> Get(xyz.openbmc_project.Control.Host.InternalPowerState, InternalPowerState)"
)


def power_state_read(state: str = "On") -> Lines:
    """The host's power state, asked once."""
    return [
        POWER_STATE_ASKED,
        f"T [Read_current_internal_power_state] : Host State: {state}\n",
    ]


def power_state_watched() -> Lines:
    """The subscription to its changes."""
    return [
        "T [Subscribe_Clear_HoldS5] : Registering signal handler for hols5 clear\n",
        "T [Subscribe_Clear_HoldS5] : Registered signal handler for hols5 clear\n",
    ]


# Versions -----------------------------------------------------------------------------


def listed(kind: Kind, count: int) -> Lines:
    """The platform description tells where the CPLDs of a kind are."""
    paths = [f"/dev/i2c-sim-{kind.name}{index}" for index in range(count)]
    answer = {"status": 0, "count": count, "paths": paths}
    return [
        f"T [readCpldVersion] : Inventory collection started for {kind.node}",
        f"call i2c_parse_sysinfo({PARSER_CODES[kind]}) = {answer}",
        f"E [readCpldVersion] : {kind.node} count {count}\n",
    ]


def opened(cpld: Cpld) -> Lines:
    """A CPLD's device is opened to read its version."""
    return [
        f"open {cpld.name}",
        "T [openI2cfdUsingNodename] : Open fd Success, fd:FD\n",
        f"T [readCpldVersion] : {cpld.name}'s fd:FD\n",
    ]


def transferred(cpld: Cpld) -> Lines:
    """The version registers are read and understood."""
    major, minor, maintenance = cpld.version
    return [
        f"i2c {cpld.name} w:{VERSION_REGISTERS[cpld.kind]} r:{cpld.registers}",
        "E [tavrinWR] : ioctl success: TA:0x63, WL:1, RL:2\n",
        f"E [readCpldVersion] : {cpld.name}: " f"Maj-{major} Min-{minor} Maint-{maintenance}\n",
        f"close {cpld.name}",
    ]


def version_read(cpld: Cpld) -> Lines:
    """One CPLD's version."""
    return [*opened(cpld), *transferred(cpld)]


def all_read(kind: Kind) -> Lines:
    """The end of a kind whose versions are all there."""
    return [f"T [readCpldVersion] : Inventory collection successful for all {kind.node}"]


def versions_read(kind: Kind, *cplds: Cpld) -> Lines:
    """The versions of all CPLDs of a kind."""
    return [
        *(platform_asked() if kind is FLOP else []),
        *listed(kind, len(cplds)),
        *(line for cpld in cplds for line in version_read(cpld)),
        *all_read(kind),
    ]


def platform_asked() -> Lines:
    """The platform's number, needed for a FLOP only."""
    return [
        "> Get(xyz.openbmc_project.Platform, PlatformID)",
        "T [GetPlatformID]: Operation completed",
    ]


# The FRU read -------------------------------------------------------------------------

FRU_READ_ASKED = "> Get(com.vexa.bmc.mppd.pcardInfo, FRUreadComplete)"


def fru_status_read(complete: bool) -> Lines:
    """Whether the FRU read is over, asked once."""
    return [
        FRU_READ_ASKED,
        f"E [Read_current_fruread_status] : FruReadComplete status: {int(complete)}\n",
    ]


def fru_read_watched() -> Lines:
    """The subscription to its end."""
    name = "Subscribe_FruReadComplete_status"
    return [
        f"T [{name}] : Registering signal handler for frureadcomplete\n",
        f"T [{name}] : Registered signal handler for frureadcomplete\n",
    ]


def fru_signal_seen(complete: bool = True) -> Lines:
    """The last line about a signal of the FRU reader."""
    return [f"T frureadcompleteHandler : FrureadComplete {int(complete)}\n"]


# Publication --------------------------------------------------------------------------


def published(cpld: Cpld, known: software.Known = software.Known()) -> Lines:
    """One CPLD's objects appear on the bus."""
    number = cpld.index + 1
    return [
        *software.told(cpld.kind, number, cpld.text, known),
        object_registered(cpld.kind, number),
    ]


def object_registered(kind: Kind, number: int) -> str:
    """The line about one CPLD's objects."""
    return (
        "T [registerObjectPaths_PopulateInventory]: Registered object path "
        f"{OBJECT_ROOT}/{kind.node}_{number} for component {kind.node}\n"
    )
