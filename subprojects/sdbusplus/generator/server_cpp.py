"""server.cpp: the vtable of an interface and what stands behind its properties."""

from .definition import Interface, Method, Property
from .text import arguments, banner, in_namespace

USED = """\
namespace vtable = sdbusplus::vtable;
using sdbusplus::detail::serve_get;
using sdbusplus::detail::serve_method;
using sdbusplus::detail::serve_set;

"""

CONSTRUCTOR = """\
{name}::{name}(sdbusplus::bus_t& bus, const char* path) :
    interface_(bus, path, interface, vtable_, this)
{{
}}

"""

CONSTRUCTOR_WITH_VALUES = """\
{name}::{name}(sdbusplus::bus_t& bus, const char* path,
{indent}const std::map<std::string, PropertiesVariant>& values, bool skipSignal) :
    {name}(bus, path)
{{
    for (const auto& [name, value] : values)
    {{
        setPropertyByName(name, value, skipSignal);
    }}
}}

"""

PROPERTY = """\
{type} {name}::{id}() const
{{
    return values_.{id};
}}

{type} {name}::{id}({type} value, bool skipSignal)
{{
    if (values_.{id} != value)
    {{
        values_.{id} = {value};
        if (!skipSignal)
        {{
            interface_.property_changed("{bus_name}");
        }}
    }}
    return values_.{id};
}}

{type} {name}::{id}({type} value)
{{
    return {id}({value}, false);
}}

"""

SET_BY_NAME = """\
    if (name == "{bus_name}")
    {{
        {id}(std::get<{type}>(value), skipSignal);
        return;
    }}
"""

GET_BY_NAME = """\
    if (name == "{bus_name}")
    {{
        return {id}();
    }}
"""


def render(interface: Interface) -> str:
    body = (
        f"{USED}"
        f"{_vtable(interface)}"
        f"{CONSTRUCTOR.format(name=interface.class_name)}"
        f"{_properties(interface) if interface.properties else ''}"
    )
    return (
        f"{banner(interface)}"
        f"#include <{interface.folder}/server.hpp>\n\n"
        "#include <sdbusplus/detail/served.hpp>\n\n"
        "#include <utility>\n\n"
        f"{in_namespace(f'sdbusplus::server::{interface.namespace}', body)}"
    )


def _vtable(interface: Interface) -> str:
    name = interface.class_name
    entries = [
        *(_method_entry(name, method) for method in interface.methods),
        *(_property_entry(name, prop) for prop in interface.properties),
    ]
    return (
        f"const sdbusplus::vtable_t {name}::vtable_[] = {{\n"
        "    vtable::start(),\n"
        f"{''.join(entries)}"
        "    vtable::end(),\n"
        "};\n\n"
    )


def _method_entry(name: str, method: Method) -> str:
    signature = "".join(p.type.signature for p in method.parameters)
    result = method.result.type.signature if method.result else ""
    parts = [
        f'"{method.name}", "{signature}", "{result}"',
        f"serve_method<{name}, &{name}::{method.identifier}>",
    ]
    return arguments("    vtable::method(", parts + _flags(method.flags), "),")


def _property_entry(name: str, prop: Property) -> str:
    served = f"<{name}, {prop.type.cpp}, &{name}::{prop.identifier}>"
    parts = [f'"{prop.name}", "{prop.type.signature}"', f"serve_get{served}"]
    if prop.writable:
        parts.append(f"serve_set{served}")
    return arguments("    vtable::property(", parts + _flags(prop.flags), "),")


def _flags(flags: list[str]) -> list[str]:
    return [" | ".join(f"vtable::{flag}" for flag in flags)] if flags else []


def _properties(interface: Interface) -> str:
    name = interface.class_name
    accessors = "".join(_fill(PROPERTY, interface, prop) for prop in interface.properties)
    setters = "".join(_fill(SET_BY_NAME, interface, prop) for prop in interface.properties)
    getters = "".join(_fill(GET_BY_NAME, interface, prop) for prop in interface.properties)
    head = f"void {name}::setPropertyByName("
    return (
        f"{CONSTRUCTOR_WITH_VALUES.format(name=name, indent=' ' * (2 * len(name) + 3))}"
        f"{accessors}"
        f"{head}const std::string& name, const PropertiesVariant& value,\n"
        f"{' ' * len(head)}bool skipSignal)\n{{\n{setters}}}\n\n"
        f"{name}::PropertiesVariant {name}::getPropertyByName(const std::string& name)\n"
        f"{{\n{getters}    return {{}};\n}}\n"
    )


def _fill(template: str, interface: Interface, prop: Property) -> str:
    return template.format(
        name=interface.class_name,
        bus_name=prop.name,
        id=prop.identifier,
        type=prop.type.cpp,
        value="std::move(value)" if prop.type.is_class else "value",
    )
