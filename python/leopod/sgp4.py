"""Two-line elements by the near-earth SGP4 model of 1980 (Spacetrack Report 3, WGS-72)."""

from __future__ import annotations

import ctypes
from typing import Any, Tuple

import numpy as np

from . import times as _times
from ._library import Array, loops, pointer


class Elements:
    """One set of two-line elements.

    epoch: datetime64[ns], UTC. Raises ValueError for lines of a wrong checksum or of different satellites.
    The model has no deep-space terms: it does not serve periods above 225 minutes.
    """

    def __init__(self, line1: str, line2: str) -> None:
        self._record = ctypes.create_string_buffer(loops.loops_tle_size())
        day, second = ctypes.c_long(), ctypes.c_double()
        lines = [line.rstrip().encode("ascii", "replace") for line in (line1, line2)]
        result = loops.loops_tle(lines[0], lines[1], self._record, ctypes.byref(day), ctypes.byref(second))
        if result != 1:
            raise ValueError("wrong checksum of an element line" if result == 0 else "the lines are no set of elements")
        self.epoch: np.datetime64 = _times.from_mjd([day.value], [second.value])[0]

    def state_minutes(self, minutes: Any) -> Tuple[Array, Array]:
        """Position n x 3 [m] and velocity n x 3 [m/s] in TEME, at minutes since the epoch (n)."""
        since = np.ascontiguousarray(np.atleast_1d(minutes), dtype=np.float64)
        rows = np.empty((len(since), 6))
        loops.loops_sgp4(ctypes.c_long(len(since)), self._record, pointer(since), pointer(rows))
        return rows[:, :3], rows[:, 3:]

    def state(self, times_utc: Any) -> Tuple[Array, Array]:
        """The same at UTC times (n)."""
        elapsed = (_times.as_times(times_utc) - self.epoch).astype(np.int64)
        return self.state_minutes(elapsed * (1e-9 / 60.0))
