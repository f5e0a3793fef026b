"""A guided tour of the service on a simulated controller; every claim it makes is checked.

`python3 -m tavrinsim.demo` exits with status 0 only if all checks held.
"""

from __future__ import annotations

import argparse
import sys
import time
from collections.abc import Callable
from pathlib import Path

from rich.console import Console

from . import names, payload
from .job import FAILED
from .setting import Setting
from .show import Outcome, show_inventory, show_log, show_update
from .world import BINARY, World

# What each kind is updated to, and where: one CPLD of each.
UPDATES = {"PBBCPLD.Embedded.2": "2.1.0", "PDBCPLD.Embedded.1": "2.0.7", "CPLD.IOBay.1": "3.1.4"}
FORGED = "PBBCPLD.Embedded.1"

# A step of the programming library takes this long, so that a person sees the bar move.
STEP_MS = 120


class Tour:
    """The acts of the demonstration, in their order."""

    def __init__(self, world: World, console: Console) -> None:
        self.world = world
        self.console = console
        self.held = 0
        self.failed: list[str] = []

    def run(self) -> None:
        """All acts."""
        acts: list[Callable[[], None]] = [
            self.start_with_pending_fru_read,
            self.publish,
            self.update_one_of_each_kind,
            self.register,
            self.refuse_a_forged_payload,
            self.restart,
            self.log_file,
        ]
        for number, act in enumerate(acts, start=1):
            self.console.rule(f"[bold]{number}. {act.__doc__ or ''}[/bold]", align="left")
            act()
            self.console.print()

    def check(self, claim: str, holds: bool) -> None:
        """Shows a claim and whether it holds."""
        self.console.print(f"  {'[green]yes[/green]' if holds else '[red]NO [/red]'}  {claim}")
        if holds:
            self.held += 1
        else:
            self.failed.append(claim)

    # -- the acts ----------------------------------------------------------------------

    def start_with_pending_fru_read(self) -> None:
        """A start while the platform's FRU read is pending"""
        world = self.world
        service = world.start()
        world.trace.wait_for(
            what="log",
            text="[Subscribe_FruReadComplete_status] : Registered signal handler for frureadcomplete\n",
        )
        devices = world.board.devices
        self.console.print(f"  {len(devices)} CPLDs: {', '.join(d.fqdd for d in devices)}")
        log = world.log()
        self.check("PBB and PDB versions have been read", log.count(": Maj-") == 3)
        self.check("the FLOP has not been touched", not world.trace.select(device="FLOP[0]"))
        self.check(f"nobody owns {names.SERVICE} yet", world.client.owner() is None)
        (anchor, *_) = world.client.connections_of(service.pid)
        xml = world.client.introspect("/com/vexa/bevon/dummy", anchor)
        self.check("the anchor object answers at the unique name", names.COMP_UPDATE in xml)

    def publish(self) -> None:
        """The FRU read completes: the inventory is published"""
        self.world.fru_reader.complete()
        objects = self.world.wait_published()
        show_inventory(self.world, self.console)
        self.check("four objects are published", len(objects) == len(self.world.board.devices))
        self.check("each shows the version its CPLD runs", self._published_is_real())

    def update_one_of_each_kind(self) -> None:
        """An update of one CPLD of each kind; the coordinator's reports move the bars"""
        self.world.board.faults.programming(step_delay_ms=STEP_MS)
        for fqdd, version in UPDATES.items():
            kind, _ = names.split_fqdd(fqdd)
            outcome, _ = self._update(fqdd, self.world.payload(kind.name, version))
            device = self.world.board.device_of(fqdd)
            self.check(
                f"{fqdd} runs {version}, its port is closed, the coordinator knows",
                outcome.succeeded and device.version == version and not device.port_open,
            )

    def register(self) -> None:
        """The registration with the coordinator, five seconds after the publication"""
        with self.console.status("waiting for the registrations"):
            self.world.wait_registered()
        registered = [r.object_path for r in self.world.coordinator.registrations]
        for path in registered:
            self.console.print(f"  registered {path}", highlight=False)
        expected = [d.kind.object_path(d.index + 1) for d in self.world.board.devices]
        self.check("every CPLD registered once, in order", registered == expected)

    def refuse_a_forged_payload(self) -> None:
        """A payload with one flipped byte"""
        world = self.world
        good = world.signed(names.split_fqdd(FORGED)[0].name, "9.9.9")
        mark = world.trace.mark()
        outcome, statuses = self._update(
            FORGED, world.payload_of(payload.flip(good, offset=len(good) // 2))
        )
        self.check("the update method returned 1: refused", outcome.result == 1)
        self.check("the coordinator got one report, status 18", statuses == [FAILED])
        opened = world.trace.select(start=mark, what="open")
        self.check("no device was opened, so neither was its port", not opened)

    def restart(self) -> None:
        """A restart of the service: the inventory shows the new versions"""
        before = self.world.service
        self.world.restart()
        self.world.wait_published()
        show_inventory(self.world, self.console)
        after = self.world.service
        self.check("it is another process", bool(before and after and before.pid != after.pid))
        self.check("each object shows the version its CPLD runs", self._published_is_real())
        for fqdd, version in UPDATES.items():
            self.check(f"{fqdd} is published with {version}", self._published(fqdd) == version)

    def log_file(self) -> None:
        """The service's own log file"""
        show_log(self.world, self.console)
        log = self.world.log()
        self.check("it stays below 9216 bytes", 0 < len(log.encode()) < 9216)
        self.check("it tells of the refusal", "Failed to verify Payload signature" in log)
        for kind in ("PBB_PLD", "PDB_PLD", "FLOP"):
            self.check(f"it tells of the update of {kind}", f"Successfully updated {kind}" in log)

    # -- what the acts share -----------------------------------------------------------

    def _update(self, fqdd: str, directory: Path) -> tuple[Outcome, list[int]]:
        """Runs an update; its outcome and the statuses that the coordinator received."""
        job = self.world.job(fqdd, directory)
        outcome = show_update(self.world, job, self.console)
        reports = self.world.coordinator.reports_of(job.transaction)
        return outcome, [report.status for report in reports]

    def _published(self, fqdd: str) -> str:
        kind, number = names.split_fqdd(fqdd)
        path = kind.object_path(number)
        value = self.world.client.get(path, names.TAVRIN_INVENTORY, "InstalledVersionString")
        return str(value.value)

    def _published_is_real(self) -> bool:
        return all(self._published(d.fqdd) == d.version for d in self.world.board.devices)


def main() -> int:
    """Entry of `python3 -m tavrinsim.demo`."""
    parser = argparse.ArgumentParser(prog="tavrinsim.demo", description=__doc__)
    parser.add_argument("--binary", type=Path, default=BINARY, help="the service (%(default)s)")
    parser.add_argument("--view", choices=["bwrap", "proot"], help="which view, not the first")
    options = parser.parse_args()

    console = Console(highlight=False)
    begin = time.monotonic()
    with World(options.binary, Setting(fru_complete=False, view=options.view)) as world:
        console.print(f"A simulated controller in {world.folder}, private view: {world.view.name}")
        tour = Tour(world, console)
        tour.run()
    console.rule(align="left")
    seconds = time.monotonic() - begin
    console.print(f"{tour.held} checks held, {len(tour.failed)} did not, in {seconds:.0f} s")
    for claim in tour.failed:
        console.print(f"[red]did not hold:[/red] {claim}")
    return 1 if tour.failed else 0


if __name__ == "__main__":
    sys.exit(main())
