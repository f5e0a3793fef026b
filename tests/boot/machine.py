"""A root folder that has booted, with systemd as its first process."""

from __future__ import annotations

import os
import re
import signal
import socket
import subprocess
import tempfile
import time
from pathlib import Path

from root import Root

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
