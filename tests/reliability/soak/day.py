"""The signals of one day on a controller, in the order and at the places in which they come.

A day has 1440 power-state changes, one a minute, and 144 wishes for registration, one every ten
minutes. That is far more than a server sees; sent in a fraction of the time, it is a load as well.
"""

from __future__ import annotations

from tavrinsim.world import World

MINUTES = 24 * 60
MINUTES_BETWEEN_REGISTRATIONS = 10
REGISTRATIONS = MINUTES // MINUTES_BETWEEN_REGISTRATIONS

PENDING = "xyz.openbmc_project.Control.Host.InternalPowerState.S5OnPending"
STATES = ("On", "S5", PENDING, "S5ToOn")


class Day:
    """One day told to one service, spread evenly over a number of updates."""

    def __init__(self, world: World, updates: int) -> None:
        self._world = world
        self._updates = updates
        self._minute = 0
        self.wishes = 0  # for registration, sent so far

    def go_on(self, done: int) -> None:
        """Sends what belongs to the time until `done` of the updates are done."""
        until = MINUTES * done // self._updates
        for minute in range(self._minute, until):
            self._world.host_state.change(STATES[minute % len(STATES)])
            if minute % MINUTES_BETWEEN_REGISTRATIONS == 0:
                self._world.coordinator.ask_for_registrations()
                self.wishes += 1
        self._minute = until
