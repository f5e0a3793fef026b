"""The packages on a Debian that is not running: what they bring, and what they leave."""

from __future__ import annotations

from pathlib import Path

from root import Root

PACKAGES = ("tavrinupdate", "tavrinupdate-simulated-platform")
SERVICE = "/usr/libexec/tavrinupdate"
LOG = "/var/log/tavrinupdate.log"

# Where the package manager itself, and what it calls, keep their own records.
RECORDS = (
    "/etc/ld.so.cache",
    "/var/cache/",
    "/var/lib/apt/",
    "/var/lib/dpkg/",
    "/var/log/apt/",
    "/var/log/dpkg.log",
)

# Whether a unit is enabled is the administrator's choice, which outlives a removal.
UNIT_CHOICES = (
    "/etc/systemd/system/multi-user.target.wants/tavrinupdate.service",
    "/var/lib/systemd/deb-systemd-helper-",
)


def left(root: Root, base: Path) -> set[str]:
    """What was not there before the packages were."""
    return {path for path in root.files() - Root(base).files() if not path.startswith(RECORDS)}


def test_apt_installs_them_from_their_files(installed: Root) -> None:
    words = ("--show", "--showformat=${Package} ${db:Status-Status}\n", *PACKAGES)
    shown = installed.run("dpkg-query", *words).splitlines()
    assert shown == [f"{package} installed" for package in PACKAGES]


def test_the_loader_finds_every_library_and_symbol(installed: Root) -> None:
    shown = installed.run("ldd", "-r", SERVICE)
    assert "libsimplatform.so => /" in shown
    assert "not found" not in shown
    assert "undefined symbol" not in shown


def test_the_unit_starts_at_boot(installed: Root) -> None:
    assert installed.run("systemctl", "is-enabled", "tavrinupdate.service") == "enabled\n"


def test_the_manual_has_its_page(installed: Root) -> None:
    page = installed.run("man", "--where", "8", "tavrinupdate")
    assert page == "/usr/share/man/man8/tavrinupdate.8.gz\n"


def test_a_removal_leaves_the_log_and_what_was_enabled(removable: Root, base: Path) -> None:
    (removable.folder / LOG[1:]).write_text("0 : a line of the service's\n")
    removable.run("apt-get", "remove", "--yes", *PACKAGES)
    remains = left(removable, base)
    assert {path for path in remains if not path.startswith(UNIT_CHOICES)} == {LOG}


def test_a_purge_leaves_nothing(removable: Root, base: Path) -> None:
    (removable.folder / LOG[1:]).write_text("0 : a line of the service's\n")
    removable.run("apt-get", "purge", "--yes", *PACKAGES)
    assert left(removable, base) == set()
