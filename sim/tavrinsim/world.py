"""One simulated controller, from its boards to its bus, and the service in it.

    with World(binary) as world:
        world.start()
        world.wait_published()
        job = world.job("PBBCPLD.Embedded.1", world.payload("pbb", "1.2.3"))
        assert world.coordinator.update(job) == 0
        assert world.coordinator.wait_outcome(job.transaction).status == SUCCEEDED

Every world has its own folder, bus and boards, so any number of them can run beside each
other. A world ends with the Python process at the latest, and takes all its processes
with it.
"""

from __future__ import annotations

import atexit
import itertools
import os
import signal
from collections.abc import Iterable, Mapping
from contextlib import ExitStack, suppress
from pathlib import Path
from typing import Any

from . import names, payload
from .board import Board
from .bus import PrivateBus
from .client import Client, Interfaces
from .connection import BusMonitor
from .coordinator import Coordinator
from .folder import ScratchFolder
from .image import Version
from .job import Job
from .keys import REVISION_CODES, KeyRing
from .loop import LoopThread
from .machine import emulator
from .neighbours import FruReader, HostState, PlatformIdentity
from .peer import Peer
from .service import LAUNCHER, ServiceError, ServiceProcess
from .setting import Setting
from .view import Bind, ScratchRoot, View, choose_view

BINARY = Path(__file__).parents[2] / "build" / "tavrinupdate"

# The options of a sanitizer's build of the service, where the environment sets none. The address
# sanitizer would refuse to start behind the simulated libraries.
SANITIZER_OPTIONS = {
    "ASAN_OPTIONS": "verify_asan_link_order=0",
    "TSAN_OPTIONS": "",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}

# How long a service may take to end by itself when its world does, in seconds.
PATIENCE = 3.0


class World:
    """A simulated controller. Built whole by its constructor, without the service.

    Parts for direct use: `board`, `trace`, `keys`, `bus`, `client`, `view`, and the peers
    `coordinator`, `fru_reader`, `host_state`, `platform`, which are on the bus from the
    start. `folder` has the same path inside and outside the view.
    """

    def __init__(self, binary: Path = BINARY, setting: Setting | None = None) -> None:
        self.setting = setting or Setting()
        self.binary = Path(binary).resolve()
        self.service: ServiceProcess | None = None
        self._payloads = itertools.count(1)
        self._end = ExitStack()
        atexit.register(self.close)
        try:
            self._build()
        except BaseException:
            self.close()
            raise

    def _build(self) -> None:
        scratch = ScratchFolder()
        self._end.callback(scratch.remove)
        self.folder = scratch.path
        self.root = self._scratch_root()
        self.view: View = choose_view(self.root, self.setting.view)
        self.keys = KeyRing.create(self.root.inside(names.KEY_FOLDER))
        self.board = self._create_board()
        self.trace = self.board.trace
        self._loop = LoopThread()
        self._end.callback(self._loop.stop)
        self._build_bus()
        self._end.callback(self.let_service_end)

    def _scratch_root(self) -> ScratchRoot:
        # The build tree is writable: coverage counters are written beside the objects.
        shown = [Bind(self.binary.parent, writable=True), Bind(self.folder, writable=True)]
        root = self.folder / "root"
        return ScratchRoot(root, [Bind(LAUNCHER.parent), *shown], self.setting.read_only)

    def _create_board(self) -> Board:
        setting = self.setting
        return Board.create(
            self.folder / "board",
            **setting.counts,
            platform_id=setting.platform_id,
            versions=setting.versions,
        )

    def _build_bus(self) -> None:
        setting = self.setting
        self.bus = PrivateBus(self._loop, self.folder / "bus", setting.policy)
        self._end.callback(self.bus.stop)
        where = (self._loop, self.bus.address)
        if setting.monitored:
            self._end.callback(BusMonitor(*where, self.trace).stop)
        self.coordinator = Coordinator(*where)
        self.fru_reader = FruReader(*where, setting.fru_complete)
        self.host_state = HostState(*where, setting.power_state)
        self.platform = PlatformIdentity(*where, setting.platform_id)
        for peer in self.peers:
            self._end.callback(peer.stop)
            peer.start()
        self.client = self.another_client()

    @property
    def peers(self) -> tuple[Peer, ...]:
        """The other services of the controller."""
        return (self.coordinator, self.fru_reader, self.host_state, self.platform)

    def peer(self, name: str) -> Peer:
        """One more peer, on the bus already: a rival for the service's name, say."""
        peer = Peer(self._loop, self.bus.address, name)
        self._end.callback(peer.stop)
        peer.start()
        return peer

    def another_client(self) -> Client:
        """One more client with a connection of its own."""
        client = Client(self._loop, self.bus.address)
        self._end.callback(client.close)
        return client

    # -- the service -------------------------------------------------------------------

    def start(
        self,
        preload: Iterable[Path] = (),
        environment: Mapping[str, str] | None = None,
        bus: bool = True,
        program: Path | None = None,
        arguments: Iterable[str] = (),
    ) -> ServiceProcess:
        """Starts the service, or another program in its place.

        `preload` are libraries that go before the simulated ones, `environment` adds to
        (or replaces) what the service gets, `bus=False` leaves it without a system bus.
        `arguments` are the command line's after the program's name; the service asks for none.
        """
        if self.running:
            raise ServiceError("already running")
        self._abandon_service()
        variables = self._environment(preload, bus) | dict(environment or {})
        if program is None:
            program = self.binary
        else:
            self.root.show(Bind(program.parent))
        argv = [*emulator(program), str(program), *arguments]
        self.service = ServiceProcess(self._loop, self.view, argv, variables, self.output)
        return self.service

    def stop(self, number: int = signal.SIGTERM, timeout: float = 20) -> int:
        """Ends the service by a signal; its exit status, negative for a signal."""
        if self.service is None:
            raise ServiceError("never started")
        return self.service.end(number, timeout)

    def kill(self) -> int:
        """Ends the service without a chance to tidy up."""
        return self.stop(signal.SIGKILL)

    def restart(self, **options: Any) -> ServiceProcess:
        """Stops the service where it runs, and starts it again."""
        if self.running:
            self.stop()
        return self.start(**options)

    def let_service_end(self) -> None:
        """Takes the bus away, without which the service ends by itself.

        A killed one would write no coverage counters, and nobody would look for its leaks.
        """
        if self.running:
            assert self.service is not None
            self.bus.stop()
            with suppress(ServiceError):
                self.service.wait(PATIENCE)
        self._abandon_service()

    @property
    def running(self) -> bool:
        """Whether the service runs."""
        return self.service is not None and self.service.running

    @property
    def emulated(self) -> bool:
        """Whether the service is for another machine: its process is the emulator's then, too."""
        return bool(emulator(self.binary))

    def wait_published(self, timeout: float = 20) -> dict[str, Interfaces]:
        """Waits for the service's objects on the bus; returns all of them."""
        pid = self.service.pid if self.service else None
        self.client.wait_for_name(names.SERVICE, timeout, pid)
        # The service publishes in one go: it answers only when all objects are there.
        return self.client.managed_objects()

    def wait_registered(self, timeout: float = 30) -> None:
        """Waits until each CPLD has registered with the coordinator once."""
        self.coordinator.wait_registered(sum(self.setting.counts.values()), timeout)

    # -- its files ---------------------------------------------------------------------

    @property
    def output(self) -> Path:
        """The service's standard output and error, over all its runs."""
        return self.folder / "service.out"

    @property
    def log_file(self) -> Path:
        """The service's own log file, as seen from outside the view."""
        return self.root.inside(names.LOG_FILE)

    def log(self) -> str:
        """Contents of the log file; empty where there is none."""
        file = self.log_file
        return file.read_text(errors="replace") if file.exists() else ""

    # -- jobs --------------------------------------------------------------------------

    def signed(self, kind: str, version: str | Version, revision: str = "default") -> bytes:
        """The bytes of a valid payload; `revision` "default", "xrev" or "arev"."""
        key = self.keys.private[names.KINDS[kind].key_family, revision]
        return payload.make(kind, version, key, REVISION_CODES[revision])

    def payload(self, kind: str, version: str | Version, revision: str = "default") -> Path:
        """A fresh directory with one valid payload."""
        return self.payload_of(self.signed(kind, version, revision))

    def payload_of(self, contents: bytes, name: str = "firmware.payload") -> Path:
        """A fresh directory with any bytes as its payload."""
        return payload.write(self.payload_folder(), contents, name)

    def payload_folder(self) -> Path:
        """A fresh, empty payload directory."""
        folder = self.folder / "payloads" / str(next(self._payloads))
        folder.mkdir(parents=True)
        return folder

    def job(self, fqdd: str, directory: Path | str, **fields: Any) -> Job:
        """A job for `coordinator.update`; `fields` as in `Job`."""
        return self.coordinator.job(fqdd, directory, **fields)

    # -- the platform and the end ------------------------------------------------------

    def become_platform(self, number: int) -> None:
        """Another platform from now on, for the devices and for who asks on the bus."""
        self.board.platform_id = number
        self.platform.identify(number)

    def close(self) -> None:
        """Ends everything and removes the folder; safe to call twice."""
        atexit.unregister(self.close)
        self._end.close()

    def __enter__(self) -> World:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def _abandon_service(self) -> None:
        if self.service is not None:
            self.service.abandon()

    def _environment(self, preload: Iterable[Path], bus: bool) -> dict[str, str]:
        variables = self.board.environment(self._libraries())
        libraries = [*preload, *map(Path, variables["LD_PRELOAD"].split(":"))]
        for library in libraries:
            self.root.show(Bind(library.parent))
        variables |= {
            "LD_PRELOAD": ":".join(map(str, libraries)),
            "PATH": "/usr/bin:/bin",
            "LC_ALL": "C.UTF-8",
        }
        variables |= self._sanitizer_options()
        return variables | self.bus.environment() if bus else variables

    def _sanitizer_options(self) -> dict[str, str]:
        options = {
            name: os.environ.get(name, SANITIZER_OPTIONS[name]) for name in SANITIZER_OPTIONS
        }
        if self.view.traces or self.emulated:
            options["ASAN_OPTIONS"] += ":detect_leaks=0"  # which is a tracer's work
        return options

    def _libraries(self) -> str | None:
        """The simulated libraries of the same build as the service, where it has them."""
        beside = self.binary.parent / "sim"
        return None if "SIM_LIBDIR" in os.environ or not beside.exists() else str(beside)
