"""A person's way into a simulated controller: a prompt with a few commands."""

from __future__ import annotations

import cmd
import shlex
from collections.abc import Callable
from pathlib import Path

from rich.console import Console

from . import names, payload
from .connection import BusError
from .keys import REVISION_CODES, new_key
from .show import show_inventory, show_log, show_trace, show_update
from .world import World

# Ways to forge a payload, by what is done to a good one: a bit of the image or the key
# revision changed, the last byte missing, a stranger's signature, an empty one.
FORGERIES: dict[str, Callable[[bytes], bytes]] = {
    "flip": lambda good: payload.flip(good, offset=len(good) // 2),
    "revision": lambda good: payload.flip(good, payload.REVISION_OFFSET, 0x02),
    "cut": lambda good: payload.cut(good, len(good) - 1),
    "key": lambda good: payload.sign(payload.signed_part(good), new_key()),
    "zero": lambda good: payload.with_signature(payload.signed_part(good), 0, 0),
}


class Prompt(cmd.Cmd):
    """The commands. Each returns nothing; `failures` counts those that went wrong."""

    intro = "Type help for the commands, quit to leave."
    prompt = "controller> "

    def __init__(self, world: World, console: Console) -> None:
        super().__init__()
        self.world = world
        self.console = console
        self.failures = 0

    # -- commands ----------------------------------------------------------------------

    def do_list(self, _: str) -> None:
        """list: the inventory, as published and as the devices have it."""
        show_inventory(self.world, self.console)

    def do_update(self, line: str) -> None:
        """update FQDD VERSION [default|xrev|arev]: update one CPLD with a fresh payload."""
        fqdd, version, *rest = shlex.split(line)
        kind, _ = names.split_fqdd(fqdd)
        revision = rest[0] if rest else "default"
        if revision not in REVISION_CODES:
            raise ValueError(f"no such revision: {revision}")
        self._run(fqdd, self.world.payload(kind.name, version, revision))

    def do_forge(self, line: str) -> None:
        """forge FQDD flip|revision|cut|key|zero: try a payload that must be refused."""
        fqdd, how = shlex.split(line)
        kind, _ = names.split_fqdd(fqdd)
        forged = FORGERIES[how](self.world.signed(kind.name, "15.15.15"))
        self._run(fqdd, self.world.payload_of(forged), expect_success=False)

    def do_payload(self, line: str) -> None:
        """payload FQDD DIRECTORY: update one CPLD from a directory of your own."""
        fqdd, directory = shlex.split(line)
        self._run(fqdd, Path(directory).resolve())

    def do_restart(self, _: str) -> None:
        """restart: stop and start the service; versions are read anew."""
        self.world.restart()
        self.world.wait_published()
        self.console.print("published again")

    def do_kill(self, _: str) -> None:
        """kill: end the service at once, as a crash would."""
        self.world.kill()
        self.console.print("killed; restart brings it back")

    def do_power(self, line: str) -> None:
        """power STATE: the host goes to another power state, such as S5OnPending."""
        self.world.host_state.change(line.strip())

    def do_log(self, _: str) -> None:
        """log: the service's own log file."""
        show_log(self.world, self.console)

    def do_trace(self, line: str) -> None:
        """trace [COUNT] [log|open|transfer|call|device|bus]: what happened last."""
        words = shlex.split(line)
        counts = [int(word) for word in words if word.isdecimal()]
        kinds = [word for word in words if not word.isdecimal()]
        show_trace(self.world, self.console, *counts[:1] or (40,), *kinds[:1])

    def do_where(self, _: str) -> None:
        """where: folder, bus address and process of this controller, for other tools."""
        world = self.world
        pid = world.service.pid if world.service else "-"
        words = (
            f"folder   {world.folder}\nbus      {world.bus.address}\nview     {world.view.name}"
        )
        self.console.print(f"{words}\nprocess  {pid}", highlight=False, soft_wrap=True)

    def do_quit(self, _: str) -> bool:
        """quit: end the controller."""
        return True

    do_EOF = do_quit

    # -- behaviour of the prompt -------------------------------------------------------

    def emptyline(self) -> bool:
        """Does nothing; the default would repeat an update."""
        return False

    def default(self, line: str) -> None:
        """An unknown command."""
        raise ValueError(f"no such command: {line}")

    def onecmd(self, line: str) -> bool:
        """Runs one line; what goes wrong is shown and counted, and the prompt goes on."""
        try:
            return bool(super().onecmd(line))
        except (ValueError, KeyError, BusError, TimeoutError, RuntimeError) as error:
            self.failures += 1
            self.console.print(f"[red]{type(error).__name__}[/red]: {error}", highlight=False)
            return False

    def _run(self, fqdd: str, directory: Path, expect_success: bool = True) -> None:
        outcome = show_update(self.world, self.world.job(fqdd, directory), self.console)
        self.failures += outcome.succeeded is not expect_success
