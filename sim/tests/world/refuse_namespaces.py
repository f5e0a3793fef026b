#!/usr/bin/python3
"""Runs a command as strict containers do: new namespaces and mounts are refused.

Usage: refuse_namespaces.py COMMAND [ARGUMENT]...

Shows on an ordinary machine that the simulated controller also comes up where the system
call filter of a container refuses bubblewrap.
"""

import ctypes
import errno
import os
import platform
import struct
import sys

PR_SET_NO_NEW_PRIVS, PR_SET_SECCOMP, SECCOMP_MODE_FILTER = 38, 22, 2
LOAD, JUMP_EQUAL, JUMP_ANY_BIT, RETURN = 0x20, 0x15, 0x45, 0x06
ALLOW, REFUSE = 0x7FFF0000, 0x00050000
NUMBER_OFFSET, FIRST_ARGUMENT_OFFSET = 0, 16
NAMESPACE_FLAGS = 0x7E020080  # every CLONE_NEW* that clone() takes

# clone, clone3, unshare, mount
CALLS = {"x86_64": (56, 435, 272, 165), "aarch64": (220, 435, 97, 40)}

Instruction = tuple[int, int, int, int]


def filter_program() -> list[Instruction]:
    """The filter as classic BPF: operation, steps if true, steps if false, operand."""
    clone, clone3, unshare, mount = CALLS[platform.machine()]
    return [
        (LOAD, 0, 0, NUMBER_OFFSET),
        # The flags of clone3 lie in memory, out of a filter's reach: without it the C
        # library takes clone.
        (JUMP_EQUAL, 7, 0, clone3),
        (JUMP_EQUAL, 4, 0, unshare),
        (JUMP_EQUAL, 3, 0, mount),
        (JUMP_EQUAL, 0, 3, clone),
        (LOAD, 0, 0, FIRST_ARGUMENT_OFFSET),
        (JUMP_ANY_BIT, 0, 1, NAMESPACE_FLAGS),
        (RETURN, 0, 0, REFUSE | errno.EPERM),
        (RETURN, 0, 0, ALLOW),
        (RETURN, 0, 0, REFUSE | errno.ENOSYS),
    ]


def install(program: list[Instruction]) -> None:
    """Puts the filter in force for this process and all its children."""
    code = b"".join(struct.pack("=HBBI", *line) for line in program)
    buffer = ctypes.create_string_buffer(code, len(code))
    order = struct.pack("@HP", len(program), ctypes.addressof(buffer))
    prctl = ctypes.CDLL(None, use_errno=True).prctl
    prctl.argtypes = [ctypes.c_int, ctypes.c_ulong, ctypes.c_char_p, *[ctypes.c_ulong] * 2]
    for option, value, pointer in (
        (PR_SET_NO_NEW_PRIVS, 1, None),
        (PR_SET_SECCOMP, SECCOMP_MODE_FILTER, order),
    ):
        if prctl(option, value, pointer, 0, 0) != 0:
            sys.exit(f"refuse_namespaces: {os.strerror(ctypes.get_errno())}")


if __name__ == "__main__":
    install(filter_program())
    os.execvp(sys.argv[1], sys.argv[1:])
