"""A machine that has booted: its console, its bus, and what an operator does with the service on it."""

from __future__ import annotations

import os
import re
import signal
import socket
import subprocess
import tempfile
import time
from pathlib import Path

from root import PAYLOAD_FOLDER, Root
from tavrinsim import names
from tavrinsim.board import Board
from tavrinsim.client import Client
from tavrinsim.loop import LoopThread
from tavrinsim.trace import Line

BOOT_TIMEOUT = 120.0
LEADER = re.compile(r"^X_NSPAWN_LEADER_PID=(\d+)$", re.MULTILINE)
READY = re.compile(r"^READY=1$", re.MULTILINE)


class Machine:
    """Boots at its construction and returns when the boot is over; `close` ends it."""

    def __init__(self, root: Root, console: Path) -> None:
        self.root = root
        self._console = console
        with tempfile.TemporaryDirectory() as folder, console.open("wb") as output:
            news = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
            news.bind(f"{folder}/notify")
            self._process = _start(root, f"{folder}/notify", output.fileno())
            try:
                self._leader = self._wait_ready(news)
            except BaseException:
                self.close()
                raise

    def _wait_ready(self, news: socket.socket) -> str:
        """The first process's number outside, once it says that all is started."""
        told = ""
        deadline = time.monotonic() + BOOT_TIMEOUT
        while not (READY.search(told) and LEADER.search(told)):
            news.settimeout(max(0.001, deadline - time.monotonic()))
            try:
                told += news.recv(4096).decode() + "\n"
            except TimeoutError:
                raise AssertionError(self._console.read_text(errors="replace")) from None
        return LEADER.findall(told)[-1]

    def close(self) -> None:
        """Switches it off, as by pulling the plug where it does not obey."""
        self._process.send_signal(signal.SIGTERM)
        try:
            self._process.wait(30)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()

    @property
    def bus_address(self) -> str:
        """Its system bus, as seen from outside."""
        return f"unix:path=/proc/{self._leader}/root/run/dbus/system_bus_socket"

    def run(self, *words: str, check: bool = True) -> str:
        """What a command in it prints, errors included."""
        done = subprocess.run(
            ["nsenter", f"--target={self._leader}", "--all", "--", *words],
            env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "TERM": "dumb"},
            text=True,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )
        assert done.returncode == 0 or not check, f"{words}: {done.stdout}"
        return done.stdout.strip()

    def unit(self, name: str) -> dict[str, str]:
        """The properties of a unit, as systemd knows them."""
        lines = self.run("systemctl", "show", name).splitlines()
        return dict(line.split("=", 1) for line in lines if "=" in line)


def _start(root: Root, notify: str, output: int) -> subprocess.Popen[bytes]:
    words = ["systemd-nspawn", f"--directory={root.folder}", "--boot", "--register=no"]
    options = ["--keep-unit", "--notify-ready=yes", "--console=pipe"]
    return subprocess.Popen(
        [*words, *options],
        env={**os.environ, "NOTIFY_SOCKET": notify},
        stdin=subprocess.DEVNULL,
        stdout=output,
        stderr=output,
    )


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
