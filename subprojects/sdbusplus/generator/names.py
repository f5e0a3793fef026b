"""C++ names for names of the bus. The bus names themselves never change."""

import re

KEYWORDS = frozenset(
    """
    alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t
    char32_t class compl concept const consteval constexpr constinit const_cast continue co_await
    co_return co_yield decltype default delete do double dynamic_cast else enum explicit export
    extern false float for friend goto if inline int long mutable namespace new noexcept not
    not_eq nullptr operator or or_eq private protected public register reinterpret_cast requires
    return short signed sizeof static static_assert static_cast struct switch template this
    thread_local throw true try typedef typeid typename union unsigned using virtual void volatile
    wchar_t while xor xor_eq
    """.split()
)


def upper_camel(name: str) -> str:
    """fwupdate_service -> FwupdateService, New_FW_ver -> NewFWVer."""
    return re.sub(r"(?:^|_)(.?)", lambda match: match.group(1).upper(), name)


def lower_snake(name: str) -> str:
    """SoftwareVersion -> software_version."""
    separated = re.sub(r"([A-Z]+)([A-Z][a-z])", r"\1_\2", name)
    return re.sub(r"([a-z\d])([A-Z])", r"\1_\2", separated).lower()


def lower_camel(name: str) -> str:
    """
    Resource_URI -> resourceURI, FQDD -> fqdd, PSUScanBlock -> psuScanBlock, IPv4Address ->
    ipv4Address.
    """
    camel = upper_camel(name)
    if re.fullmatch(r"[A-Z\d]+", camel):
        camel = camel.lower()
    elif not re.match(r"[A-Z]{2}", camel):
        camel = camel[:1].lower() + camel[1:]
    else:
        # The last capital of a run begins the next word, but not where a version follows ("IPv4").
        camel = re.sub(
            r"^(?:[A-Z]+(?=v\d)|[A-Z]+(?=[A-Z]))", lambda run: run.group().lower(), camel
        )
    return camel + "_" if camel in KEYWORDS else camel
