"""Either of the two services on a bus of its own."""

from __future__ import annotations

from collections.abc import Callable, Iterator, Mapping, Sequence
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path

from tavrinsim import names
from tavrinsim.setting import Setting
from tavrinsim.world import World

from ..bench import Bench
from .calls import Call, make_calls

BLOCKS = 5
# Of a start with many objects under a profiler, in seconds.
PATIENCE = 120


@dataclass(frozen=True)
class Cost:
    """What a call takes, in ns: from the caller's side, and of the service's processor."""

    latency: float
    processor: float


@dataclass(frozen=True)
class Served:
    """A running service with all its objects published."""

    bench: Bench
    world: World

    @classmethod
    @contextmanager
    def ours(cls, bench: Bench, counts: Mapping[str, int]) -> Iterator[Served]:
        """The service, at rest after its registration with the coordinator."""
        with started(bench, counts, our_command(bench)) as world:
            world.wait_registered(PATIENCE)
            yield cls(bench, world)

    @classmethod
    @contextmanager
    def minimal(cls, bench: Bench, counts: Mapping[str, int]) -> Iterator[Served]:
        """What it is measured beside."""
        with started(bench, counts, minimal_command(bench, counts)) as world:
            yield cls(bench, world)

    def time(self, call: Call) -> Cost:
        """What one such call takes: the least of some blocks, and the mean of all of them."""
        begin = self._processor_time()
        latency = make_calls(self.bench, self.world, call, BLOCKS, call.timed)
        return Cost(latency, (self._processor_time() - begin) / (BLOCKS * call.timed))

    def _processor_time(self) -> int:
        """Nanoseconds that the main thread has run."""
        assert self.world.service is not None
        return int(Path(f"/proc/{self.world.service.pid}/schedstat").read_text().split()[0])


@contextmanager
def started(
    bench: Bench,
    counts: Mapping[str, int],
    command: Sequence[str],
    profiler: Callable[[World], Sequence[str]] = lambda world: (),
) -> Iterator[World]:
    """A controller in which the command serves, with a platform log that takes no time.

    What has no hardware goes without the simulated one, which would make it open files slowly.
    """
    with World(bench.binary, Setting(counts=counts, monitored=False)) as world:
        program, *arguments = [*profiler(world), *command]
        log = bench.program("bus/libquiet_log.so")
        simulated = {} if str(bench.binary) in command else {"LD_PRELOAD": str(log)}
        world.start([log], simulated, program=Path(program), arguments=arguments)
        world.wait_published(PATIENCE)
        yield world


def our_command(bench: Bench) -> list[str]:
    """The service's command line."""
    return [str(bench.binary)]


def minimal_command(bench: Bench, counts: Mapping[str, int]) -> list[str]:
    """The minimal service's command line."""
    return [
        str(bench.program("bus/minimal_service")),
        *(str(counts[kind]) for kind in names.KINDS),
    ]


def assert_same(ours: Served, minimal: Served) -> None:
    """A comparison with something that does less is none."""
    mine, theirs = (served.world.client for served in (ours, minimal))
    objects = mine.managed_objects()
    assert objects, "nothing is published"
    # With all interfaces, names, types and values.
    assert objects == theirs.managed_objects()
    path = next(iter(objects))
    assert mine.introspect(path) == theirs.introspect(path)
    assert mine.introspect(names.OBJECT_ROOT) == theirs.introspect(names.OBJECT_ROOT)
