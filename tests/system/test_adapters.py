"""I2C adapters and CPLDs of another temper: empty reads refused, and slow ones."""

from __future__ import annotations

import time

import pytest
from expected import intake, ports, worker
from support.jobs import followed, run, update
from tavrinsim import names
from tavrinsim.faults import Operation
from tavrinsim.names import KINDS
from tavrinsim.world import World
from watching import wait_for_calls

# -- adapters that refuse reads of no bytes, which is how a register write ends: some before they send anything, some only when the device has obeyed already 


NOT_SUPPORTED = (95, "Operation not supported")


def refuse_once_obeyed(world: World) -> None:
    """The adapter notices the empty read only behind the write."""
    operation: Operation = "write"
    world.board.faults.transfer(
        errno=NOT_SUPPORTED[0], operation=operation, reaches_device=True
    )


@pytest.mark.parametrize("kind", KINDS)
@pytest.mark.parametrize("obeys", [False, True])
def test_no_port_opens_behind_such_an_adapter(ready: World, kind: str, obeys: bool) -> None:
    if obeys:
        refuse_once_obeyed(ready)
    else:
        ready.board.faults.refuse_empty_reads()
    device = ready.board.device(kind)
    done = update(ready, kind)
    assert done.result == 1
    assert done.progress == [(4, 0), (18, 0)]
    refused = [
        *ports.write_failed(device, int(kind == "flop"), *NOT_SUPPORTED),
        *intake.port_not_opened(done.job),
    ]
    assert done.steps[-len(refused) :] == refused
    assert device.version == "1.0.0"
    assert device.loads == 0
    # The job is refused either way, but where the device has obeyed its port is left open.
    assert device.port_open == obeys


def test_a_lock_found_open_is_programmed_and_left_open_with_a_word_about_it(
    ready: World,
) -> None:
    ready.board.faults.refuse_empty_reads()
    device = ready.board.device("pbb")
    device.port_open = True
    done = update(ready, "pbb")
    assert done.steps == [
        *intake.started(done.job, 2),
        *ports.reached(device, 2),
        *ports.before(device, 0x00),
        f"T {ports.LOCKED} : Already enabled\n",
        f"close {device.name}",
        *intake.worker_started(done.job),
        *worker.programmed(done.job),
        *ports.reached(device, 2),
        *ports.before(device, 0x00),
        *ports.write_failed(device, 0x01, *NOT_SUPPORTED),
        *worker.port_not_closed(done.job),
        *worker.succeeded(done.job),
    ]
    # The image is there, and waits for a port that closes.
    assert (device.image_state, device.version, device.port_open) == ("complete", "1.0.0", True)


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
