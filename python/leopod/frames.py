"""Celestial and terrestrial frames: GCRS and ITRS, IAU 2006/2000A (IERS Conventions 2010, chapter 5), with the earth orientation loaded."""

from __future__ import annotations

import ctypes
import os
from typing import Any, Optional, Tuple

import numpy as np

from . import times as _times
from ._library import Array, doubles, fail, loops, pointer, readable, same_length

_FORMATS = {"c04": "c", "rapid": "r", "keyword": "k", "built-in": "d"}


def load_earth_orientation(file: "str | os.PathLike[str] | None", format: str = "c04") -> Tuple[float, float]:
    """Reads earth orientation: format "c04", "rapid" (finals), "keyword", or "built-in" without a file (17 to 19 January 2021).

    Returns the first and last UTC date [MJD]. Raises leopod.Error for a file without records.
    """
    if format not in _FORMATS:
        raise ValueError(f"format {format}: one of {', '.join(_FORMATS)} is expected")
    name = None if format == "built-in" else readable(file if file is not None else "")
    loops.loops_orientation.restype = ctypes.c_long
    if loops.loops_orientation(name, ord(_FORMATS[format])) <= 0:
        raise fail(file or "", f"earth orientation of format {format}")
    first, last = ctypes.c_double(), ctypes.c_double()
    loops.loops_orientation_span(ctypes.byref(first), ctypes.byref(last))
    return first.value, last.value


def matrix(times_utc: Any) -> Tuple[Array, Array]:
    """Rotations GCRS to ITRS and their rates, n x 3 x 3 each [1, 1/s]: r_itrs = matrix @ r_gcrs.

    Without earth orientation UT1 = UTC and no polar motion.
    """
    mjd = _times.mjd_of(times_utc)
    rotation, rate = np.empty((len(mjd), 3, 3)), np.empty((len(mjd), 3, 3))
    loops.loops_matrices(ctypes.c_long(len(mjd)), pointer(mjd), pointer(rotation), pointer(rate))
    return rotation, rate


def _turn(times_utc: Any, position: Any, velocity: Any, to_celestial: int) -> "Array | Tuple[Array, Array]":
    mjd, r = _times.mjd_of(times_utc), doubles(position, 3)
    v: Optional[Array] = None if velocity is None else doubles(velocity, 3)
    n = same_length(mjd, r) if v is None else same_length(mjd, r, v)
    r_out, v_out = np.empty_like(r), None if v is None else np.empty_like(v)
    loops.loops_turn(ctypes.c_long(n), pointer(mjd), pointer(r), pointer(v), pointer(r_out), pointer(v_out), to_celestial)
    return r_out if v_out is None else (r_out, v_out)


def to_itrs(times_utc: Any, position: Any, velocity: Any = None) -> "Array | Tuple[Array, Array]":
    """GCRS to ITRS: positions n x 3 [m], or with velocities n x 3 [m/s] both."""
    return _turn(times_utc, position, velocity, 0)


def to_gcrs(times_utc: Any, position: Any, velocity: Any = None) -> "Array | Tuple[Array, Array]":
    """ITRS to GCRS, the inverse of to_itrs."""
    return _turn(times_utc, position, velocity, 1)
