"""Updates alone and under readers, which must not differ; and everything at once: updates, storms, registrations, signals, reads and writes."""

from __future__ import annotations

import threading
from collections.abc import Callable, Iterator
from concurrent.futures import Future, ThreadPoolExecutor
from contextlib import contextmanager
from dataclasses import dataclass, field
from difflib import unified_diff

from dbus_next import Variant
from support.jobs import put_back, run_job, threads, wait_until
from support.resources import Resources
from tavrinsim import names
from tavrinsim.world import World

from .crowd import Crowd
from .readers import CLIENTS, Waits, reading

# All of a job that the log shows is the same in each of its runs.
TRANSACTION = 4711


@dataclass
class Comparison:
    """What the updates did alone and under load, in the lines of `sequence`."""

    alone: list[str] = field(default_factory=list)
    loaded: list[str] = field(default_factory=list)
    waits: Waits = field(default_factory=Waits)
    grown: list[str] = field(default_factory=list)

    def violations(self) -> list[str]:
        """What differs, what grew, and what the readers complain of."""
        changed = list(unified_diff(self.alone, self.loaded, "alone", "under load", n=2))
        words = ["".join(["the updates differ:", *(f"\n  {line}" for line in changed)])]
        return (words if changed else []) + self.grown + self.waits.violations()


def compare(world: World, clients: int = CLIENTS) -> Comparison:
    """Updates one CPLD of each kind, first alone, then while everything is read."""
    assert world.service is not None
    payloads = {kind: str(world.payload(kind, "2.3.4")) for kind in names.KINDS}
    result = Comparison(alone=_updates(world, payloads))
    before = Resources.of(world.service.pid)
    with reading(world, clients) as result.waits:
        result.loaded = _updates(world, payloads)
    result.grown = Resources.of(world.service.pid).grown_since(before)
    return result


def _updates(world: World, payloads: dict[str, str]) -> list[str]:
    steps = []
    for name, kind in names.KINDS.items():
        put_back(world)
        job = world.job(kind.fqdd(1), payloads[name], transaction=TRANSACTION)
        done = run_job(world, job)
        version = world.board.device(kind).version
        steps += [f"job of {job.fqdd}", *done.steps, f"result {done.result}, runs {version}"]
    return steps


# -- everything at once ----------------------------------------------------------------


# Enough readers that one always waits for an answer, few enough that the others get theirs.
READERS = 4

# Between two signals of a kind, in seconds: some of them in every phase of an update.
PAUSE = 0.02

PENDING = "S5OnPending"


@dataclass
class Mixture:
    """What was done at the same time, and what went wrong with it."""

    calls: int = 0
    updates: int = 0
    passes: int = 0
    signals: int = 0
    writes: int = 0
    waits: Waits = field(default_factory=Waits)
    violations: list[str] = field(default_factory=list)


class _Neighbours:
    """What everybody else does while updates run; each method is one round of one neighbour."""

    def __init__(self, world: World, mixture: Mixture) -> None:
        self._world = world
        self._mixture = mixture
        self._registrations = len(world.board.devices)

    def registration(self) -> None:
        """The coordinator asks everybody to register, and waits for it."""
        self._world.coordinator.ask_for_registrations()
        self._registrations += len(self._world.board.devices)
        self._world.coordinator.wait_registered(self._registrations)
        self._mixture.passes += 1

    def signal(self) -> None:
        """The FRU reader and the host say how they are."""
        self._world.fru_reader.complete(self._mixture.signals % 2 == 0)
        self._world.host_state.change(PENDING if self._mixture.signals % 3 else "On")
        self._mixture.signals += 2

    def write(self) -> None:
        """The operator writes properties that no job is made of, and reads them again."""
        for device in self._world.board.devices:
            path = device.kind.object_path(device.index + 1)
            self._write(path, names.COMP_UPDATE, "Timeout", "u", self._mixture.writes)
            status = f"round {self._mixture.writes}"
            self._write(path, names.TAVRIN_INVENTORY, "UpdateStatus", "s", status)

    def _write(self, path: str, interface: str, name: str, kind: str, value: object) -> None:
        self._world.client.set(path, interface, name, Variant(kind, value))
        self._mixture.writes += 1
        read = self._world.client.get(path, interface, name).value
        if read != value:
            self._mixture.violations.append(f"{name} of {path}: wrote {value}, read {read}")


def mix(world: World, crowd: Crowd, updates: int) -> Mixture:
    """Goes on until so many updates have been accepted and are over."""
    mixture = Mixture()
    world.wait_registered()
    neighbours = _Neighbours(world, mixture)
    rounds = (neighbours.registration, neighbours.signal, neighbours.write)
    with reading(world, READERS) as mixture.waits, _repeated(*rounds):
        storm(world, crowd, updates)
    mixture.calls, mixture.updates = len(crowd.calls), len(crowd.accepted())
    mixture.violations += crowd.violations() + mixture.waits.violations()
    return mixture


def storm(world: World, crowd: Crowd, updates: int) -> None:
    """The crowd shouts again and again until so many of its calls are jobs that are over."""
    assert world.service is not None
    idle = threads(world)
    accepted: list[int] = []
    while len(accepted) < updates:
        accepted += [call.transaction for call in crowd.shout() if call.accepted]
    for transaction in accepted:
        world.coordinator.wait_outcome(transaction)
    wait_until(lambda: threads(world) <= idle, "the last worker is gone")


@contextmanager
def _repeated(*rounds: Callable[[], None]) -> Iterator[None]:
    """Repeats each of them on a thread of its own; their exceptions are raised at the end."""
    over = threading.Event()

    def repeat(once: Callable[[], None]) -> None:
        while not over.is_set():
            once()
            over.wait(PAUSE)

    with ThreadPoolExecutor(len(rounds)) as pool:
        running: list[Future[None]] = [pool.submit(repeat, once) for once in rounds]
        try:
            yield
        finally:
            over.set()
        for one in running:
            one.result()
