"""A CPLD's programming port, opened and closed over I2C."""

from __future__ import annotations

from tavrinsim.device import Device

from .reports import Lines

LOCKED = "[enable_disable_programingNode_for_pbb_pdb]"
FLOP = "[enable_disable_programingNode_for_flop]"
PARSER_CODES = {"flop": 26, "pbb": 62, "pdb": 44}


def read(device: Device, register: int, *values: int) -> Lines:
    """Registers read in one transfer."""
    data = bytes(values).hex()
    return [
        f"i2c {device.name} w:{register:02x} r:{data}",
        f"E [tavrinWR] : ioctl success: TA:0x63, WL:1, RL:{len(values)}\n",
    ]


def write(device: Device, register: int, value: int) -> Lines:
    """A register written: a second message reads nothing."""
    return [
        f"i2c {device.name} w:{register:02x}{value:02x} r:",
        "E [tavrinWR] : ioctl success: TA:0x63, WL:2, RL:0\n",
    ]


def failed_attempt(
    device: Device, attempt: int, wl: int, rl: int, sent: str, errno: int, text: str
) -> Lines:
    """A transfer that failed; `sent` are the bytes written, in hex."""
    return [
        f"i2c {device.name} w:{sent} r: errno {errno}",
        f"E [tavrinWR] : {attempt}. ioctl failed: TA:0x63, WL:{wl}, RL:{rl} err:{errno}-{text}\n",
    ]


def failed_read(
    device: Device, register: int, length: int, errno: int, text: str, attempts: int = 3
) -> Lines:
    """A read that failed so many times in a row; three are the end of it."""
    tries = range(1, attempts + 1)
    how = (1, length, f"{register:02x}", errno, text)
    return [line for i in tries for line in failed_attempt(device, i, *how)]


def failed_write(
    device: Device, register: int, value: int, errno: int, text: str, attempts: int = 3
) -> Lines:
    """A write that failed so many times in a row."""
    tries = range(1, attempts + 1)
    how = (2, 0, f"{register:02x}{value:02x}", errno, text)
    return [line for i in tries for line in failed_attempt(device, i, *how)]


def write_failed(device: Device, value: int, errno: int, text: str) -> Lines:
    """Three attempts at a write to the port's register, and the words about it."""
    if device.kind.name == "flop":
        tried = failed_write(device, 0x08, value, errno, text)
        words = f"E {FLOP}:read failed for HIP_SW_EN_REG \n"
    else:
        tried = failed_write(device, 0x04, value, errno, text)
        words = f"E {LOCKED} : I2CError: Unable to write HIP_SW_EN register\n"
    return [*tried, words, f"close {device.name}"]


def paths(device: Device, count: int) -> list[str]:
    """The paths of all devices of the kind."""
    return [f"/dev/i2c-sim-{device.kind.name}{i}" for i in range(count)]


def found(device: Device, nodes: list[str]) -> Lines:
    """The port control begins; `nodes` are the paths of all devices of the kind."""
    tag = FLOP if device.kind.name == "flop" else LOCKED
    answer = {"status": 0, "count": len(nodes), "paths": nodes}
    return [
        f"T {tag} : Entering\n",
        f"call i2c_parse_sysinfo({PARSER_CODES[device.kind.name]}) = {answer}",
        f"E {tag} : {device.kind.node} count {len(nodes)}\n",
    ]


def not_described(device: Device, count: int, status: int = 22) -> Lines:
    """The platform's description cannot be read."""
    node, tag = device.kind.node, FLOP if device.kind.name == "flop" else LOCKED
    answer = {"status": status, "count": count, "paths": paths(device, count)}
    return [
        f"T {tag} : Entering\n",
        f"call i2c_parse_sysinfo({PARSER_CODES[device.kind.name]}) = {answer}",
        f"E [getSysinfoNodes] : sysinfo parse failed for {node}, Error: {status}\n",
        f"E {tag} : Failed to get sysinfo node for {node}\n",
    ]


def reached(device: Device, count: int) -> Lines:
    """The port control begins and has opened the device's path."""
    return [
        *found(device, paths(device, count)),
        f"open {device.name}",
        "T [openI2cfdUsingNodename] : Open fd Success, fd:FD\n",
    ]


# -- PBB and PDB: register 4, bit 0 locks -----------------------------------------------


def before(device: Device, value: int) -> Lines:
    """The lock register as it is found."""
    text = f"T {LOCKED} : Before Setting: HIP_SW_EN register value : {value:#x}\n"
    return [*read(device, 0x04, value), text]


def after(device: Device, value: int) -> Lines:
    """The lock register read back."""
    text = f"T {LOCKED} : After setting: HIP_SW_EN register value : {value:#x}\n"
    return [*read(device, 0x04, value), text]


def lock_cleared(device: Device) -> Lines:
    """The end of opening."""
    node = device.kind.node
    return [
        f"T {LOCKED} : {node} CPLD_LOCK_I2C_PLDFW BIT CLEARED : HARDIP enabled \n",
        f"T {LOCKED} : Exiting properly\n",
        f"close {device.name}",
    ]


def unlocked(device: Device, count: int, value: int = 0x01) -> Lines:
    """Opened, from a register that holds `value`."""
    return [
        *reached(device, count),
        *before(device, value),
        *write(device, 0x04, value & 0xFE),
        *after(device, value & 0xFE),
        *lock_cleared(device),
    ]


def locked(device: Device, count: int, value: int = 0x00) -> Lines:
    """Closed, from a register that holds `value`."""
    return [
        *reached(device, count),
        *before(device, value),
        *write(device, 0x04, value | 0x01),
        *after(device, value | 0x01),
        f"T {LOCKED} : Exiting properly\n",
        f"close {device.name}",
    ]


# -- FLOP: register 8 or 3, bit 0 enables -----------------------------------------------


def flop_version(device: Device, version: tuple[int, int, int]) -> Lines:
    """The FLOP's own version, which decides about the register."""
    major, minor, maintenance = version
    return [
        *read(device, 0x0C, minor << 4 | maintenance, major << 4),
        flop_version_line(version),
    ]


def flop_version_line(version: tuple[int, int, int]) -> str:
    """The line about it alone."""
    major, minor, maintenance = version
    return f"T {FLOP}:Current CPLD version is Maj-{major} Min-{minor} Maint-{maintenance} \n"


def flop_switched(device: Device, register: int, current: int, wanted: int) -> Lines:
    """The chosen register brought to the wanted value, and read back."""
    how = "SET" if wanted & 1 else "Clear"
    return [
        f"T {FLOP}:HIP_SW_EN is BYTE{register}.0 \n",
        *read(device, register, current),
        f"T {FLOP}:current BYTE-{register} REG value : {_hex(current)} \n",
        f"T {FLOP}:{how} HIP_SW_EN BYTE-{register} REG value : {_hex(wanted)} \n",
        *write(device, register, wanted),
        *read(device, register, wanted),
        f"T {FLOP}:HIP_SW_EN_REG : {_hex(wanted)} \n",
        f"T {FLOP}:HIP_SW_EN_REG write Verified \n",
        f"close {device.name}",
    ]


def enabled(device: Device, version: tuple[int, int, int] = (1, 0, 0)) -> Lines:
    """Opened, at a version that has the port in byte 8."""
    return [
        *reached(device, 1),
        *flop_version(device, version),
        *flop_switched(device, 8, 0x00, 0x01),
    ]


def disabled(device: Device, version: tuple[int, int, int] = (1, 0, 0)) -> Lines:
    """Closed again, as above."""
    return [
        *reached(device, 1),
        *flop_version(device, version),
        *flop_switched(device, 8, 0x01, 0x00),
    ]


def _hex(value: int) -> str:
    return f"{value:#x}"
