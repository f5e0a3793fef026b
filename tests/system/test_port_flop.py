"""The programming port of the FLOP: an enable bit in a byte that moved between versions."""

from __future__ import annotations

import pytest
from dbus_next import Variant
from expected import intake, ports, worker
from expected.ports import FLOP
from expected.reports import Lines
from support.jobs import followed, update
from tavrinsim.answers import Failure, Reply
from tavrinsim.world import World

VERSION_REGISTER, BYTE3, BYTE8 = 0x0C, 0x03, 0x08
IO_ERROR = (5, "Input/output error")
ASKED = "> Get(xyz.openbmc_project.Platform, PlatformID)"
ANSWERED = "T [GetPlatformID]: Operation completed"
NOT_ANSWERED = "E [GetPlatformID]: Exception occurred"
NOT_WRITTEN = f"E {FLOP}:read failed for HIP_SW_EN_REG \n"


def asked(times: int, answer: str = ANSWERED) -> Lines:
    """The platform's identity, asked for so often."""
    return [ASKED, answer] * times


def version_line(text: str) -> Lines:
    """The FLOP's version as it is read."""
    major, minor, maintenance = map(int, text.split("."))
    return [ports.flop_version_line((major, minor, maintenance))]


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
        *asked(questions),
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


@pytest.mark.parametrize(
    "answers, register",
    [((3, 5), BYTE3), ((5, 4), BYTE8), ((5, 5), BYTE3), ((4,), BYTE3)],
)
def test_the_platform_is_asked_again_unless_it_is_4(
    ready: World, answers: tuple[int, ...], register: int
) -> None:
    device = ready.board.device("flop")
    device.version = "0.0.5"
    replies = [Reply("v", Variant("i", number)) for number in answers]
    ready.platform.once("Get", *replies)
    ready.board.faults.transfer(device, IO_ERROR[0], register, "read")
    done = update(ready, "flop")
    assert done.steps == [
        *intake.started(done.job, 1),
        *ports.reached(device, 1),
        *ports.flop_version(device, (0, 0, 5)),
        *asked(len(answers)),
        f"T {FLOP}:HIP_SW_EN is BYTE{register}.0 \n",
        *ports.failed_read(device, register, 1, *IO_ERROR),
        NOT_WRITTEN,
        f"close {device.name}",
        *intake.port_not_opened(done.job),
    ]


@pytest.mark.parametrize(
    "answer, line",
    [
        (Failure("org.example.Error.Busy", "later"), NOT_ANSWERED),
        (Reply("v", Variant("s", "4")), ANSWERED),
        (Reply("v", Variant("u", 4)), ANSWERED),
        (Reply("s", "4"), NOT_ANSWERED),
    ],
    ids=["error", "string", "unsigned", "no variant"],
)
def test_a_platform_service_that_does_not_give_a_number_means_byte_8(
    quick: World, answer: Reply | Failure, line: str
) -> None:
    device = quick.board.device("flop")
    device.version = "0.0.5"
    quick.platform.always("Get", answer)
    done = update(quick, "flop")
    beginning = [
        *ports.reached(device, 1),
        *ports.flop_version(device, (0, 0, 5)),
        *asked(2, line),
    ]
    assert done.steps == [
        *intake.started(done.job, 1),
        *beginning,
        *ports.flop_switched(device, BYTE8, 0x00, 0x01),
        *intake.worker_started(done.job),
        *worker.broken(done.job),
        *beginning,
        *ports.flop_switched(device, BYTE8, 0x01, 0x00),
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
        NOT_WRITTEN,
        f"close {device.name}",
        *intake.port_not_opened(done.job),
    ]


def test_a_version_that_cannot_be_read_counts_as_the_oldest(quick: World) -> None:
    device = quick.board.device("flop")
    device.version = "0.0.5"
    quick.become_platform(4)
    quick.board.faults.transfer(device, IO_ERROR[0], VERSION_REGISTER)
    beginning = [
        *ports.reached(device, 1),
        *ports.failed_read(device, VERSION_REGISTER, 2, *IO_ERROR),
        f"E {FLOP}:read failed for Byte12-version details \n",
        *version_line("0.0.0"),
        *asked(1),
    ]
    done = update(quick, "flop")
    assert done.steps == [
        *intake.started(done.job, 1),
        *beginning,
        *ports.flop_switched(device, BYTE3, 0x00, 0x01),
        *intake.worker_started(done.job),
        *worker.broken(done.job),
        *beginning,
        *ports.flop_switched(device, BYTE3, 0x01, 0x00),
        *worker.given_up(done.job),
    ]


def test_enabling_sets_one_bit_and_disabling_clears_the_whole_byte(ready: World) -> None:
    device = ready.board.device("flop")
    device.registers[BYTE8] = 0x40
    gate = ready.board.faults.gate()
    ready.board.faults.programming(pause_at=0, gate=gate, throw_at=0, exception_text="no clock")
    job = ready.job(device.fqdd, ready.payload("flop", "2.3.4"))
    beginning = [*ports.reached(device, 1), *ports.flop_version(device, (1, 0, 0))]
    with followed(ready, job) as done:
        assert ready.coordinator.update(job) == 0
        gate.wait_reached()
        device.registers[BYTE8] = 0xFF
        gate.open()
    assert done.steps == [
        *intake.started(job, 1),
        *beginning,
        *ports.flop_switched(device, BYTE8, 0x40, 0x41),
        *intake.worker_started(job),
        *worker.broken(job),
        *beginning,
        *ports.flop_switched(device, BYTE8, 0xFF, 0x00),
        *worker.given_up(job),
    ]
