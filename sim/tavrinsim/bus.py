"""A private dbus-daemon that is the system bus of one simulated controller."""

from __future__ import annotations

import os
import pwd
import subprocess
from collections.abc import Iterable
from pathlib import Path
from xml.sax.saxutils import escape

from . import names
from .loop import LoopThread

POLICY = Path(__file__).parents[2] / "packaging" / f"{names.SERVICE}.conf"

# The longest path that fits into a Unix socket's address.
SOCKET_PATH_LIMIT = 107

PEERS = (
    names.COORDINATOR,
    "com.vexa.bmc.mppd",
    "xyz.openbmc_project.State.Host",
    "xyz.openbmc_project.Platform",
)

# The rules of a stock system bus, then what stands for the policies of the other
# services: the operator owns their names and may call them. The service's anchor object
# is there before its name is, so it can be looked at through its path only.
CONFIGURATION = """<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path={socket}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus"
           send_interface="org.freedesktop.DBus"/>
    <allow send_destination="org.freedesktop.DBus"
           send_interface="org.freedesktop.DBus.Introspectable"/>
    <allow send_destination="org.freedesktop.DBus"
           send_interface="org.freedesktop.DBus.Properties"/>
    <deny send_destination="org.freedesktop.DBus"
          send_interface="org.freedesktop.DBus"
          send_member="UpdateActivationEnvironment"/>
  </policy>
  <policy user="{operator}">
    <allow send_destination="org.freedesktop.DBus"
           send_interface="org.freedesktop.DBus.Monitoring"/>
    <allow send_type="method_call" send_path="{anchor}"/>
{peers}
  </policy>
  <include>{policy}</include>
</busconfig>
"""


class BusFailure(RuntimeError):
    """The private bus could not be started."""


class PrivateBus:
    """Runs until `stop`; `address` is what a client connects to.

    The operator, who owns the world, stands for root in the service's own policy.
    """

    def __init__(self, loop: LoopThread, folder: Path, policy: Path = POLICY) -> None:
        folder.mkdir(parents=True, exist_ok=True)
        self.log = folder / "daemon.log"
        socket = folder / "socket"
        if len(str(socket)) > SOCKET_PATH_LIMIT:
            raise BusFailure(f"too long for a socket: {socket}")
        configuration = folder / "bus.conf"
        configuration.write_text(_configuration(socket, _policy_for_operator(policy, folder)))
        self._daemon = loop.call(self._start, configuration)
        assert self._daemon.stdout is not None
        self.address = self._daemon.stdout.readline().strip()
        if not self.address:
            raise BusFailure(f"dbus-daemon: {self.log.read_text(errors='replace')}")

    def environment(self) -> dict[str, str]:
        """What makes this bus the system bus of a process."""
        return {
            "DBUS_SYSTEM_BUS_ADDRESS": self.address,
            # A service started by hand has no other way to know its default bus.
            "DBUS_STARTER_BUS_TYPE": "system",
        }

    def stop(self) -> None:
        """Ends the daemon; everyone still connected loses the connection. Safe to call twice."""
        if self._daemon.returncode is None:
            self._daemon.kill()
            self._daemon.communicate()

    def call_as(
        self, user: str, words: Iterable[str], timeout: float = 30
    ) -> subprocess.CompletedProcess[str]:
        """Runs `busctl` on this bus as another user; needs a world that runs as root.

        `words` are busctl's, e.g. ["get-property", service, path, interface, name].
        """
        entry = pwd.getpwnam(user)
        become = [f"--reuid={entry.pw_uid}", f"--regid={entry.pw_gid}", "--clear-groups"]
        return subprocess.run(
            ["setpriv", *become, "busctl", f"--address={self.address}", *words],
            text=True,
            capture_output=True,
            timeout=timeout,
            check=False,
        )

    def _start(self, configuration: Path) -> subprocess.Popen[str]:
        with self.log.open("w") as log:
            return subprocess.Popen(
                [
                    *("setpriv", "--pdeathsig", "KILL", "dbus-daemon"),
                    *(f"--config-file={configuration}", "--nofork", "--nopidfile"),
                    *("--nosyslog", "--print-address=1"),
                ],
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=log,
                text=True,
                start_new_session=True,
            )


def _configuration(socket: Path, policy: Path) -> str:
    rules = []
    for name in PEERS:
        rules.append(f'    <allow own="{name}"/>\n    <allow send_destination="{name}"/>')
    return CONFIGURATION.format(
        socket=escape(str(socket)),
        operator=os.getuid(),
        anchor=names.ANCHOR,
        peers="\n".join(rules),
        policy=escape(str(policy)),
    )


def _policy_for_operator(policy: Path, folder: Path) -> Path:
    """The policy itself for root, else a copy in which the operator stands for root."""
    if os.getuid() == 0:
        return policy
    text = policy.read_text()
    if 'user="root"' not in text:
        raise BusFailure(f"{policy} grants root nothing")
    copy = folder / "policy.conf"
    copy.write_text(text.replace('user="root"', f'user="{os.getuid()}"'))
    return copy
