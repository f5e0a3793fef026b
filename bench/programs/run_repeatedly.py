#!/usr/bin/python3
"""Runs one program several times inside a private view, one run after the other.

usage: run_repeatedly.py COUNT PROGRAM [ARGUMENT...]

Standard output gets a JSON list with, for each run, the processor time in seconds, the wall
time in seconds, and the largest memory in KiB. A run that fails ends everything.
"""

import json
import os
import sys
import time


def run(argv: list[str]) -> list[float]:
    """One run; neither its output nor its errors are anybody's business."""
    quiet = [(os.POSIX_SPAWN_OPEN, number, "/dev/null", os.O_WRONLY, 0) for number in (1, 2)]
    begin = time.monotonic()
    pid = os.posix_spawn(argv[0], argv, os.environ, file_actions=quiet)
    _, status, usage = os.wait4(pid, 0)
    wall = time.monotonic() - begin
    if status != 0:
        sys.exit(f"{argv[0]}: status {os.waitstatus_to_exitcode(status)}")
    return [usage.ru_utime + usage.ru_stime, wall, usage.ru_maxrss]


if __name__ == "__main__":
    print(json.dumps([run(sys.argv[2:]) for _ in range(int(sys.argv[1]))]))
