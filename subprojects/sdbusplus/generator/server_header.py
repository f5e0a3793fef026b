"""server.hpp: the class that serves an interface."""

from .definition import Interface, Method, Property
from .text import arguments, banner, comment, in_namespace

INCLUDES = """\
#include <{folder}/common.hpp>

#include <sdbusplus/server.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

"""

CONSTRUCTION = """\
    /** Registers the interface at a path. The bus must outlive the object. */
    {name}(sdbusplus::bus_t& bus, const char* path);
{with_values}\

    {name}(const {name}&) = delete;
    {name}& operator=(const {name}&) = delete;
    {name}({name}&&) = delete;
    {name}& operator=({name}&&) = delete;
    virtual ~{name}() = default;

"""

WITH_VALUES = """\
    /** Also sets properties by their names on the bus. */
    {name}(sdbusplus::bus_t& bus, const char* path,
    {indent}const std::map<std::string, PropertiesVariant>& values, bool skipSignal = false);
"""

PROPERTY = """\
{comment}\
    virtual {type} {id}() const;
    virtual {type} {id}({type} value, bool skipSignal);
    virtual {type} {id}({type} value);

"""

BY_NAME = """\
    /** Sets a property by its name on the bus; an unknown name is ignored. */
    void setPropertyByName(const std::string& name, const PropertiesVariant& value,
                           bool skipSignal = false);
    /** A property by its name on the bus; empty where the name is unknown. */
    PropertiesVariant getPropertyByName(const std::string& name);

"""

SIGNALS = """\
    /** Announces this interface alone. */
    void emit_added() { interface_.emit_added(); }
    /** Takes that back. */
    void emit_removed() { interface_.emit_removed(); }

    /** The bus given at construction. */
    sdbusplus::bus_t& get_bus() { return interface_.bus(); }

"""


def render(interface: Interface) -> str:
    namespace = f"sdbusplus::server::{interface.namespace}"
    return (
        f"{banner(interface)}#pragma once\n\n"
        f"{INCLUDES.format(folder=interface.folder)}"
        f"{in_namespace(namespace, _class(interface))}"
    )


def _class(interface: Interface) -> str:
    name = interface.class_name
    return (
        f"{comment(interface.description)}"
        f"class {name} : public sdbusplus::common::{interface.namespace}::{name}\n"
        "{\n"
        "  public:\n"
        f"{_construction(interface)}"
        f"{''.join(_method(method) for method in interface.methods)}"
        f"{''.join(_property(prop) for prop in interface.properties)}"
        f"{BY_NAME if interface.properties else ''}"
        f"{SIGNALS}"
        f"{_private(interface)}"
        "};\n"
    )


def _construction(interface: Interface) -> str:
    name = interface.class_name
    if not interface.properties:
        return CONSTRUCTION.format(name=name, with_values="")
    return (
        "    /** Any value of a property. */\n"
        f"    using PropertiesVariant = {interface.variant};\n\n"
        + CONSTRUCTION.format(
            name=name, with_values=WITH_VALUES.format(name=name, indent=" " * (len(name) + 1))
        )
    )


def _method(method: Method) -> str:
    result = method.result.type.cpp if method.result else "void"
    parameters = [f"{p.type.cpp} {p.identifier}" for p in method.parameters]
    declaration = arguments(
        f"    virtual {result} {method.identifier}(", parameters, ") = 0;"
    )
    return f"{comment(method.description, '    ')}{declaration}\n"


def _property(prop: Property) -> str:
    return PROPERTY.format(
        comment=comment(prop.description, "    "), type=prop.type.cpp, id=prop.identifier
    )


def _private(interface: Interface) -> str:
    text = "  private:\n    static const sdbusplus::vtable_t vtable_[];\n\n"
    if interface.properties:
        members = "".join(
            f"        {p.type.cpp} {p.identifier}{p.initial};\n" for p in interface.properties
        )
        text += f"    struct\n    {{\n{members}    }} values_;\n"
    return text + "    sdbusplus::server::interface_t interface_;\n"
