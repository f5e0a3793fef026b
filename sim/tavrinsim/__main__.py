"""Brings a simulated controller up and hands it to a person.

Without COMMANDs there is a prompt. With them each is run as if typed there, for
instance:  python3 -m tavrinsim list "update PBBCPLD.Embedded.1 1.2.3" restart list
The exit status is 0 only if all of them went well (a forged payload goes well when it
is refused).
"""

from __future__ import annotations

import argparse
import contextlib
import sys
from pathlib import Path

from rich.console import Console

from .console import Prompt
from .names import KINDS
from .setting import Setting
from .world import BINARY, World


def parser() -> argparse.ArgumentParser:
    """The command line."""
    top = argparse.ArgumentParser(
        prog="tavrinsim",
        description=__doc__,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    top.add_argument("commands", nargs="*", metavar="COMMAND", help="a line of the prompt")
    top.add_argument("--binary", type=Path, default=BINARY, help="the service (%(default)s)")
    counts = Setting().counts
    for name in KINDS:
        text = f"how many {name.upper()} CPLDs (%(default)s)"
        top.add_argument(f"--{name}", type=int, default=counts[name], help=text)
    top.add_argument("--platform", type=int, default=Setting().platform_id, help="its number")
    top.add_argument("--view", choices=["bwrap", "proot"], help="which view, not the first")
    return top


def main() -> int:
    """Entry of `python3 -m tavrinsim`."""
    options = parser().parse_args()
    console = Console()
    setting = Setting(
        counts={name: getattr(options, name) for name in KINDS},
        platform_id=options.platform,
        view=options.view,
    )
    with World(options.binary, setting) as world:
        world.start()
        world.wait_published()
        console.print(f"Controller up in {world.folder} (view: {world.view.name})")
        prompt = Prompt(world, console)
        if not options.commands:
            with contextlib.suppress(KeyboardInterrupt):
                prompt.cmdloop()
            return 0
        for command in options.commands:
            console.print(f"[bold]> {command}[/bold]", highlight=False)
            if prompt.onecmd(command):
                break
        return min(prompt.failures, 1)


if __name__ == "__main__":
    sys.exit(main())
