"""I2C adapters that refuse reads of no bytes, which is how a register write ends.

Such an adapter cannot open or close a programming port. Some refuse before they send anything, some
only when the device has obeyed already.
"""

from __future__ import annotations

import pytest
from expected import intake, ports, worker
from support.jobs import update
from tavrinsim.faults import Operation
from tavrinsim.names import KINDS
from tavrinsim.world import World

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
