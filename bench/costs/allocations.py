"""Who asks the allocator for memory: the service, or which of its libraries."""

from __future__ import annotations

import re
from collections import Counter, defaultdict
from collections.abc import Mapping

from .callgrind import Function, Profile

# A recursive call has a number behind its name.
_ALLOCATOR = re.compile(r"(?:malloc|calloc|realloc|posix_memalign|aligned_alloc)(?:'\d+)?$")

# These ask on behalf of their callers: C++'s operator and the C library's copies of texts.
_ON_BEHALF = re.compile(r"operator new|(?:__)?strn?dup(?:'\d+)?$")

# Of the stubs through which libraries call one another.
_NO_FILE = "???"

# Not the service's, and they would not be there on a controller.
_SIMULATION = re.compile(r"libsim\w+\.so")

Callers = Mapping[Function, Mapping[Function, int]]


def by_library(profile: Profile) -> Counter[str]:
    """Calls of the allocator by the library or program whose code asked, the most first."""
    callers = _callers(profile)
    asked: Counter[str] = Counter()
    for function, number in _askers(callers).items():
        for file, share in _shares(function, callers).items():
            if not _SIMULATION.match(file):
                asked[file.partition(".so")[0]] += round(number * share)
    return Counter({library: number for library, number in asked.most_common() if number})


def _callers(profile: Profile) -> Callers:
    """Of every function who called it how often."""
    callers: defaultdict[Function, dict[Function, int]] = defaultdict(dict)
    for (caller, called), number in profile.calls.items():
        callers[called][caller] = number
    return callers


def _askers(callers: Callers) -> dict[Function, int]:
    """Who calls the allocator how often, but for its own functions, which use one another."""
    asked: Counter[Function] = Counter()
    for called, of_called in callers.items():
        if _ALLOCATOR.match(called.name):
            asked.update(of_called)
    return {function: n for function, n in asked.items() if not _ALLOCATOR.match(function.name)}


def _shares(function: Function, callers: Callers) -> dict[str, float]:
    """The files on whose behalf a function asks, each with its share."""
    of_function = callers.get(function, {})
    if not of_function or not (function.file == _NO_FILE or _ON_BEHALF.match(function.name)):
        return {function.file: 1}
    shares: defaultdict[str, float] = defaultdict(float)
    for caller, number in of_function.items():
        for file, share in _shares(caller, callers).items():
            shares[file] += share * number / sum(of_function.values())
    return shares
