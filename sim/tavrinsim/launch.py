#!/usr/bin/python3
"""Starts one program inside a private view and says what became of it.

Run by `service.py`, never by hand: the one argument is a JSON object with "argv" and
"environment". Standard output gets two JSON lines, {"pid": n} and {"status": n}
(negative for a signal, as in `subprocess`); the program's own output goes to standard
error. The view programs cannot be asked for either: each translates an end by signal
in its own way.
"""

import ctypes
import json
import signal
import subprocess
import sys

PR_SET_PDEATHSIG = 1


def die_with_parent() -> None:
    """Nothing of a world may outlive it, however it ends."""
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)


def begin_as_a_service() -> None:
    """As its supervisor would start it; a shell's background jobs ignore some signals."""
    die_with_parent()
    for number in (signal.SIGINT, signal.SIGQUIT):
        signal.signal(number, signal.SIG_DFL)


def say(**fields: int) -> None:
    """One line to the world."""
    print(json.dumps(fields), flush=True)


def main() -> None:
    """Starts the program and waits for its end."""
    die_with_parent()
    order = json.loads(sys.argv[1])
    program = subprocess.Popen(
        order["argv"],
        env=order["environment"],
        stdin=subprocess.DEVNULL,
        stdout=sys.stderr,
        preexec_fn=begin_as_a_service,
    )
    say(pid=program.pid)
    say(status=program.wait())


if __name__ == "__main__":
    main()
