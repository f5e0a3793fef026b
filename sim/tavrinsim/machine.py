"""Programs of another kind of machine run here under user-mode emulation."""

from __future__ import annotations

import os
import shutil
from pathlib import Path

# By the number in a program's header that says what machine it is for.
EMULATED = {62: "x86_64", 183: "aarch64"}


def emulator(program: Path) -> list[str]:
    """What goes in front of a program's command line; nothing for one of this machine.

    The emulator looks for libraries and files where the program would, so what it needs of another
    machine's libraries must be installed beside this one's.
    """
    with program.open("rb") as file:
        header = file.read(20)
    machine = EMULATED.get(int.from_bytes(header[18:20], "little"))
    if header[:4] != b"\x7fELF" or machine in (None, os.uname().machine):
        return []
    name = f"qemu-{machine}-static"
    found = shutil.which(name)
    if found is None:
        raise FileNotFoundError(
            f"{program} is for {machine}: install qemu-user-static for {name}"
        )
    return [found]
