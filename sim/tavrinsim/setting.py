"""What may differ between two simulated controllers."""

from __future__ import annotations

from collections.abc import Mapping
from dataclasses import dataclass, field
from pathlib import Path

from .board import Versions
from .bus import POLICY


@dataclass(frozen=True)
class Setting:
    """The choices before a world is built; the defaults make a healthy controller.

    `counts` are the CPLDs of each kind and `versions` what they run (see
    `Board.create`); `platform_id` is the platform's number, `fru_complete` whether the
    FRU read is over at the start, `power_state` the host's state. `policy` is the
    service's D-Bus policy, `read_only` are paths of the view that refuse writing, `view`
    is "bwrap" or "proot" where the choice matters. Without `monitored`, the trace holds no
    lines "bus": for runs that would be slowed down by the record of every message.
    """

    counts: Mapping[str, int] = field(default_factory=lambda: {"pbb": 2, "pdb": 1, "flop": 1})
    versions: Versions = field(default_factory=dict)
    platform_id: int = 6
    fru_complete: bool = True
    power_state: str = "On"
    policy: Path = POLICY
    read_only: tuple[str, ...] = ()
    view: str | None = None
    monitored: bool = True
