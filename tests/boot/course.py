"""What happens to the booted controller, by the tools that an operator has there."""

from __future__ import annotations

from machine import Machine
from root import PAYLOAD_FOLDER
from tavrinsim import names
from tavrinsim.board import Board
from tavrinsim.client import Client
from tavrinsim.loop import LoopThread
from tavrinsim.trace import Line

UNIT = "tavrinupdate.service"
OBJECT = names.PBB.object_path(1)
TIMEOUT = 60.0


class Course:
    """A controller and its board, and the steps that are taken with them one after the other."""

    def __init__(self, machine: Machine, board: Board) -> None:
        self.machine = machine
        self.board = board
        self.answer_to_update = ""
        self.killed_pid = ""
        self._wait_until_it_listens(start=0)
        self.names_before_fru_read = machine.run("busctl", "list", "--acquired")

    @property
    def pid(self) -> str:
        """The service's process, as numbered in the controller."""
        return self.machine.unit(UNIT)["MainPID"]

    def _wait_until_it_listens(self, start: int) -> None:
        # There is no FRU reader, which is the last thing that a start asks for.
        def is_answer(line: Line) -> bool:
            return str(line["text"]).startswith("[Read_current_fruread_status] : Exception:")

        self.board.trace.wait_for(is_answer, TIMEOUT, start, what="log")

    def complete_fru_read(self) -> None:
        """Says that the FRU data is read, and waits for the service's name."""
        changed = ("org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as")
        values = ("com.vexa.bmc.mppd.pcardInfo", "1", "FRUreadComplete", "b", "true", "0")
        self.machine.run("busctl", "emit", "/com/vexa/bmc/mppd/info", *changed, *values)
        loop = LoopThread()
        client = Client(loop, self.machine.bus_address)
        client.wait_for_name(names.SERVICE, TIMEOUT)
        client.managed_objects()
        client.close()
        loop.stop()

    def update(self) -> None:
        """Updates the PBB's CPLD with busctl alone, and waits for the end."""
        service = (names.SERVICE, OBJECT, names.COMP_UPDATE)
        for job in (
            ("Jobid", "s", "JID_1"),
            ("Component_id", "u", str(names.PBB.component_id)),
            ("Resource_URI", "s", PAYLOAD_FOLDER),
        ):
            self.machine.run("busctl", "set-property", *service, *job)
        call = ("CompFirmwareUpdate", "su", names.PBB.fqdd(1), "1")
        self.answer_to_update = self.machine.run("busctl", "call", *service, *call)
        self.board.trace.wait_for(name="cpldfwupdate.destroy", timeout=TIMEOUT)

    def kill_service(self) -> None:
        """Kills the service, and waits until another one listens in its place."""
        mark = self.board.trace.mark()
        self.killed_pid = self.pid
        self.machine.run("sh", "-c", f"kill -9 {self.killed_pid}")
        self._wait_until_it_listens(mark)

    def version(self, path: str) -> str:
        """The version that an object shows."""
        words = (names.SERVICE, path, names.BASE_INVENTORY, "InstalledVersionString")
        return self.machine.run("busctl", "get-property", *words)
