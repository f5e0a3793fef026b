"""The programming ports: a lock bit of PBB and PDB, an enable bit of the FLOP that moved between versions.

What can go wrong at one of them, transfer by transfer, is asked of the port alone, by its unit tests.
"""

from __future__ import annotations

import signal

import pytest
from expected import intake, ports, worker
from expected.ports import FLOP
from expected.reports import Lines
from support.jobs import break_library, run, scan_blocked, update
from tavrinsim.device import Device
from tavrinsim.world import World

LOCK, BYTE3, BYTE8 = 0x04, 0x03, 0x08
IO_ERROR = (5, "Input/output error")
ASKED = "> Get(xyz.openbmc_project.Platform, PlatformID)"
ANSWERED = "T [GetPlatformID]: Operation completed"
NOT_ANSWERED = "E [GetPlatformID]: Exception occurred"


@pytest.mark.parametrize("fqdd", ["PBBCPLD.Embedded.2", "PDBCPLD.Embedded.1"])
def test_only_the_lock_bit_changes(quick: World, fqdd: str) -> None:
    device = quick.board.device_of(fqdd)
    count = quick.setting.counts[device.kind.name]
    for value in (0x01, 0x03, 0x02, 0xFF):
        device.registers[LOCK] = value
        done = run(quick, fqdd, quick.payload(device.kind.name, "2.3.4"))
        assert done.steps == [
            *intake.started(done.job, count),
            *ports.unlocked(device, count, value),
            *intake.worker_started(done.job),
            *worker.broken(done.job),
            *ports.locked(device, count, value & 0xFE),
            *worker.given_up(done.job),
        ], hex(value)


@pytest.mark.parametrize(
    "version, platform, register, questions",
    [
        ("0.0.5", 4, BYTE3, 1),
        ("0.0.5", 5, BYTE3, 2),
        ("0.0.0", 5, BYTE3, 2),
        ("0.0.5", 3, BYTE8, 2),
        ("0.0.5", 0, BYTE8, 2),
        ("0.0.6", 4, BYTE8, 0),
        ("0.0.6", 5, BYTE8, 0),
        ("0.1.0", 4, BYTE8, 0),
        ("1.0.0", 5, BYTE8, 0),
        ("15.15.15", 4, BYTE8, 0),
    ],
)
def test_old_firmware_on_two_platforms_has_its_port_in_byte_3(
    quick: World, version: str, platform: int, register: int, questions: int
) -> None:
    device = quick.board.device("flop")
    device.version = version
    quick.become_platform(platform)
    major, minor, maintenance = map(int, version.split("."))
    beginning = [
        *ports.reached(device, 1),
        *ports.flop_version(device, (major, minor, maintenance)),
        *[ASKED, ANSWERED] * questions,
    ]
    done = update(quick, "flop")
    assert done.steps == [
        *intake.started(done.job, 1),
        *beginning,
        *ports.flop_switched(device, register, 0x00, 0x01),
        *intake.worker_started(done.job),
        *worker.broken(done.job),
        *beginning,
        *ports.flop_switched(device, register, 0x01, 0x00),
        *worker.given_up(done.job),
    ]


def test_without_a_platform_service_it_is_byte_8(ready: World) -> None:
    device = ready.board.device("flop")
    device.version = "0.0.5"
    ready.platform.stop()
    ready.board.faults.transfer(device, IO_ERROR[0], BYTE8, "read")
    done = update(ready, "flop")
    assert done.steps == [
        *intake.started(done.job, 1),
        *ports.reached(device, 1),
        *ports.flop_version(device, (0, 0, 5)),
        NOT_ANSWERED,
        NOT_ANSWERED,
        f"T {FLOP}:HIP_SW_EN is BYTE8.0 \n",
        *ports.failed_read(device, BYTE8, 1, *IO_ERROR),
        f"E {FLOP}:read failed for HIP_SW_EN_REG \n",
        f"close {device.name}",
        *intake.port_not_opened(done.job),
    ]


# -- a port that cannot be switched ------------------------------------------------------


def not_written(device: Device, count: int, closing: bool) -> Lines:
    """All goes well up to the write to the port's register, which fails three times."""
    if device.kind.name != "flop":
        return [
            *ports.reached(device, count),
            *ports.before(device, int(not closing)),
            *ports.write_failed(device, int(closing), *IO_ERROR),
        ]
    current, wanted, how = (1, 0, "Clear") if closing else (0, 1, "SET")
    return [
        *ports.reached(device, count),
        *ports.flop_version(device, (1, 0, 0)),
        f"T {FLOP}:HIP_SW_EN is BYTE8.0 \n",
        *ports.read(device, BYTE8, current),
        f"T {FLOP}:current BYTE-8 REG value : {current:#x} \n",
        f"T {FLOP}:{how} HIP_SW_EN BYTE-8 REG value : {wanted:#x} \n",
        *ports.write_failed(device, wanted, *IO_ERROR),
    ]


@pytest.mark.parametrize("kind, count", [("pbb", 2), ("flop", 1)])
def test_a_port_that_does_not_open_ends_the_job(ready: World, kind: str, count: int) -> None:
    device = ready.board.device(kind)
    ready.board.faults.transfer(device, IO_ERROR[0], operation="write")
    done = update(ready, kind)
    assert done.result == 1
    assert done.steps == [
        *intake.started(done.job, count),
        *not_written(device, count, False),
        *intake.port_not_opened(done.job),
    ]
    assert done.progress == [(4, 0), (18, 0)]
    assert scan_blocked(ready, done.job.fqdd)


@pytest.mark.parametrize("kind, count", [("pbb", 2), ("flop", 1)])
def test_a_port_that_does_not_close_is_logged(quick: World, kind: str, count: int) -> None:
    device = quick.board.device(kind)
    quick.board.faults.transfer(device, IO_ERROR[0], operation="write", after=1)
    done = update(quick, kind)
    opened = ports.enabled(device) if kind == "flop" else ports.unlocked(device, count)
    assert done.steps == [
        *intake.started(done.job, count),
        *opened,
        *intake.worker_started(done.job),
        *worker.broken(done.job),
        *not_written(device, count, True),
        *worker.port_not_closed(done.job),
        *worker.given_up(done.job),
    ]


def test_a_job_may_be_sent_again_after_its_port_did_not_open(quick: World) -> None:
    fault = quick.board.faults.parser(quick.board.device("pbb").kind, status=1)
    assert update(quick, "pbb").result == 1
    fault.remove()
    assert update(quick, "pbb").result == 0


def test_a_failing_device_does_not_keep_its_neighbour_from_an_update(ready: World) -> None:
    break_library(ready)
    ready.board.faults.transfer(ready.board.device("pbb", 0), errno=6)
    assert update(ready, "pbb", 1).result == 1
    assert update(ready, "pbb", 2).result == 0


def test_a_description_with_fewer_paths_than_devices_ends_the_process(service: World) -> None:
    device = service.board.device("pbb", 1)
    service.board.faults.parser(device.kind, paths=[service.board.device("pbb").path])
    job = service.job(device.fqdd, service.payload("pbb", "2.3.4"))
    service.coordinator.begin_update(job)
    assert service.service is not None
    assert service.service.wait() == -signal.SIGABRT
    lines = service.trace.logs(level=1)
    assert lines[-1].startswith("[openI2cfdUsingNodename] : No device node for PBB_PLD[1]")
