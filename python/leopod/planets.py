"""Sun, Moon and planets from a JPL ephemeris (ASCII, header and records in one file) or the built-in record of January 2021."""

from __future__ import annotations

import ctypes
import os
from typing import Any, Tuple

import numpy as np

from . import times as _times
from ._library import Array, fail, loops, pointer, readable
from .errors import Error

_BODIES = {
    "earth": 0, "mercury": 1, "venus": 2, "earth-moon": 3, "mars": 4, "jupiter": 5, "saturn": 6, "uranus": 7, "neptune": 8,
    "pluto": 9, "moon": 10, "sun": 11, "barycentre": 16,
}  # fmt: skip
_loaded = False


def load(file: "str | os.PathLike[str] | None" = None) -> Tuple[float, float]:
    """Reads an ephemeris, or without a file takes the built-in record. Returns its first and last TT Julian date. Raises leopod.Error."""
    global _loaded
    first, last = ctypes.c_double(), ctypes.c_double()
    name = None if file is None else readable(file)
    if not loops.loops_ephemeris(name, ctypes.byref(first), ctypes.byref(last)):
        raise fail(file or "", "a JPL ephemeris with records")
    _loaded = True
    return first.value, last.value


def state(times_tt: Any, target: str, centre: str = "earth") -> Tuple[Array, Array]:
    """Position n x 3 [m] and velocity n x 3 [m/s] of a body from another one, ICRF axes. Raises leopod.Error for a date not covered."""
    for body in (target, centre):
        if body not in _BODIES:
            raise ValueError(f"body {body}: one of {', '.join(_BODIES)} is expected")
    if not _loaded:
        load()
    jd = _times.mjd_of(times_tt) + 2400000.5
    rows, ok = np.zeros((len(jd), 6)), np.zeros(len(jd), dtype=np.uint8)
    loops.loops_planet(ctypes.c_long(len(jd)), pointer(jd), _BODIES[centre], _BODIES[target], pointer(rows), pointer(ok))
    if not ok.all():
        raise Error(f"{target}: the ephemeris does not cover {np.atleast_1d(times_tt)[int(np.argmin(ok))]} TT")
    return rows[:, :3] * 1e3, rows[:, 3:] * 1e3
