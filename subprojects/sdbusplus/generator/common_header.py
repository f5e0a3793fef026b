"""common.hpp: what is known of an interface without serving or calling it."""

from .definition import Interface
from .text import banner, comment, in_namespace


def render(interface: Interface) -> str:
    struct = (
        f"{comment(interface.description)}"
        f"struct {interface.class_name}\n"
        "{\n"
        "    /** The interface's name on the bus. */\n"
        f'    static constexpr const char* interface = "{interface.name}";\n'
        "};\n"
    )
    return (
        f"{banner(interface)}#pragma once\n\n"
        f"{in_namespace(f'sdbusplus::common::{interface.namespace}', struct)}"
    )
