"""What a controller has beside the packages: boards, keys, a payload, the platform's drop-in."""

from __future__ import annotations

from pathlib import Path

from root import Root
from tavrinsim import payload
from tavrinsim.board import Board
from tavrinsim.keys import KeyRing

NEW_VERSION = "2.3.4"
PAYLOAD_FOLDER = "/srv/payload"
BOARD_FOLDER = "/var/board"

# What a platform's image opens in the sandbox for its own libraries.
DROP_IN = f"""\
[Service]
Environment=SIM_BOARD={BOARD_FOLDER} LD_PRELOAD=libsimi2c.so
ReadWritePaths={BOARD_FOLDER}
"""


def fit_out(root: Root) -> Board:
    """Puts one board of each kind into it, and a payload for the PBB's CPLD."""
    drop_in = _inside(root, "/etc/systemd/system/tavrinupdate.service.d/platform.conf")
    drop_in.parent.mkdir(parents=True)
    drop_in.write_text(DROP_IN)
    keys = KeyRing.create(_inside(root, "/etc/shared_keys"))
    contents = payload.make("pbb", NEW_VERSION, keys.private["i2cpld", "default"])
    payload.write(_inside(root, PAYLOAD_FOLDER), contents)
    return Board.create(_inside(root, BOARD_FOLDER), pbb=1, pdb=1, flop=1)


def _inside(root: Root, path: str) -> Path:
    return root.folder / path[1:]
