"""CPLDs that take their time: on the bus, and while they are programmed.

No figure of the service hangs on a device's speed, so that twice the slowest must do: 25 ms is what
SMBus lets a device stretch one transfer's clock, 1 s is after how long an adapter gives it up, and
10 s is more than the erasing of a CPLD's whole flash takes.
"""

from __future__ import annotations

import time

import pytest
from expected import intake, ports, worker
from support.jobs import followed, run, update
from tavrinsim import names
from tavrinsim.world import World
from watching import wait_for_calls

STRETCHED_MS = 2 * 25
GIVEN_UP_MS = 2 * 1000
ERASED_MS = 2 * 10_000


@pytest.mark.parametrize("kind", names.KINDS)
def test_a_device_that_stretches_every_transfer_is_updated(ready: World, kind: str) -> None:
    device = ready.board.device(kind)
    ready.board.faults.transfer(device, delay_ms=STRETCHED_MS)
    start = ready.trace.mark()
    done = update(ready, kind)
    assert done.progress[-1] == (28, 100)
    assert (device.version, device.image_state, device.port_open) == ("2.3.4", "valid", False)
    # Late answers are no failures: nothing was sent twice.
    transfers = ready.trace.select(start=start, what="transfer")
    assert len(transfers) == (8 if kind == "flop" else 6)
    assert all(line["errno"] == 0 for line in transfers)


def test_a_transfer_longer_than_an_adapters_patience_is_waited_for(ready: World) -> None:
    device = ready.board.device("pdb")
    ready.board.faults.transfer(device, operation="write", delay_ms=GIVEN_UP_MS, times=1)
    begun = time.monotonic()
    done = update(ready, "pdb")
    assert time.monotonic() - begun > GIVEN_UP_MS / 1000
    assert done.steps == [
        *intake.started(done.job, 1),
        *ports.unlocked(device, 1),
        *intake.worker_started(done.job),
        *worker.programmed(done.job),
        *ports.locked(device, 1),
        *worker.succeeded(done.job),
    ]


def test_an_update_may_last_as_long_as_it_likes(service: World) -> None:
    device = service.board.device("pbb")
    service.board.faults.programming(percents=[0, 100], step_delay_ms=ERASED_MS // 2)
    job = service.job(device.fqdd, service.payload("pbb", "2.3.4"))
    with followed(service, job) as done:
        assert service.coordinator.update(job) == 0
        wait_for_calls(service, 4)  # the registration goes on beside it
        assert run(service, "PBBCPLD.Embedded.2", job.directory).result == 1
        assert len(service.client.managed_objects()) == 4
        service.coordinator.wait_outcome(job.transaction)
    assert done.progress == [(4, 0), (4, 0), (4, 100), (28, 100)]
    assert (device.version, device.image_state, device.port_open) == ("2.3.4", "valid", False)
