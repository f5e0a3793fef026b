"""A board, clients on it, and payloads for them."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from sim_client import LIBRARIES, Client
from tavrinsim.board import Board
from tavrinsim.image import Image
from tavrinsim.names import Kind


@pytest.fixture
def board(tmp_path: Path) -> Iterator[Board]:
    """Two PBB, one PDB, one FLOP, all at 1.2.3."""
    versions = {"pbb": "1.2.3", "pdb": "1.2.3", "flop": "1.2.3"}
    board = Board.create(tmp_path / "board", versions=versions)
    yield board
    board.close()


@pytest.fixture
def start_client(board: Board) -> Iterator[Callable[[], Client]]:
    """Starts clients on the board."""
    clients: list[Client] = []

    def start() -> Client:
        clients.append(Client(board.environment(LIBRARIES)))
        return clients[-1]

    yield start
    for client in clients:
        if client.process.poll() is None:
            client.finish()


@pytest.fixture
def client(start_client) -> Client:
    """One client on the board."""
    return start_client()


@pytest.fixture
def make_payload(tmp_path: Path):
    """Writes payloads; nobody here looks at header and signature."""

    def make(kind: Kind, version: str, body: bytes = b"logic" * 100) -> Path:
        path = tmp_path / f"{kind.name}-{version}.payload"
        path.write_bytes(bytes(124) + bytes(Image(kind, version, body)) + bytes(96))
        return path

    return make
