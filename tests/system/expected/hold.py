"""The release of the power-on hold line, through the platform's hardware abstraction."""

from __future__ import annotations

from .reports import Lines

LINE = "HOLD_S5_FLOP_CPLD_UPDATE"
TAG = "[cpld_update_holdS5]"


def begun(found: bool = True) -> Lines:
    """The request, and the line's configuration."""
    return [f"T {TAG} : x:0\n", configuration(found)]


def configuration(found: bool = True) -> str:
    """The configuration is read."""
    return f"call hal.read_config({LINE}) = {found}"


def written(status: int = 0, errno: int = 0) -> str:
    """The bit is written."""
    return f"call hal.write_bit({LINE}, 0) = {{'status': {status}, 'errno': {errno}}}"


def cleared() -> str:
    """The line about the success; it has no end."""
    return f"T {TAG}: Successfully cleared {LINE} flag"


def failed(status: int, text: str) -> str:
    """The line about a failed attempt; it has no end."""
    return (
        f"E {TAG}: Error clearing {LINE} flag; "
        f"HAL write operation returned status {status} error={text}"
    )


def released() -> Lines:
    """The configuration object is given back."""
    return [
        f"call hal.has_interrupt({LINE}) = False",
        f"call hal.destroy({LINE})",
        f"L 5/273 [~HAL_cfgdata]: Deleted halData for [{LINE}]",
    ]


def whole() -> Lines:
    """A release that succeeds at once."""
    return [*begun(), written(), cleared(), *released()]
