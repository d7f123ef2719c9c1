"""Tidal displacement of a site: solid Earth and ocean loading (IERS Conventions 2010, chapter 7)."""

from __future__ import annotations

import ctypes
from typing import Any, Tuple

import numpy as np
import numpy.typing as npt

from . import frames as _frames
from . import planets as _planets
from . import times as _times
from ._library import Array, doubles, loops, pointer


def _calendar(times_utc: Any) -> Tuple[npt.NDArray[np.int32], Array]:
    t = _times.as_times(times_utc)
    month = t.astype("datetime64[M]")
    year = t.astype("datetime64[Y]").astype(np.int64) + 1970
    date = np.stack([year, month.astype(np.int64) % 12 + 1, (t.astype("datetime64[D]") - month).astype(np.int64) + 1], axis=1)
    return np.ascontiguousarray(date, dtype=np.int32), _times.to_mjd(t)[1]


def solid_earth(site: Any, times_utc: Any) -> Array:
    """Displacement of a site (3, ITRS [m]) by the solid Earth tide of Sun and Moon at UTC times, n x 3, ITRS [m].

    The permanent tide stays in. Uses the planets loaded by leopod.planets and the orientation loaded by leopod.frames.
    """
    xyz = doubles(site, 3)
    if len(xyz) != 1:
        raise ValueError("one site is expected")
    date, second = _calendar(times_utc)
    tt = _times.convert(times_utc, "utc", "tt")
    bodies = []
    for body in ("sun", "moon"):
        turned = _frames.to_itrs(times_utc, _planets.state(tt, body)[0])
        bodies.append(np.ascontiguousarray(turned))
    hour, leap = second / 3600.0, _times.leap_seconds(times_utc)
    out = np.empty((len(date), 3))
    loops.loops_solid_tide(ctypes.c_long(len(date)), pointer(xyz), pointer(date), pointer(hour), pointer(leap), pointer(bodies[0]),
                           pointer(bodies[1]), pointer(out))  # fmt: skip
    return out


def ocean_loading(table: Any, times_utc: Any) -> Array:
    """Displacement of a site by ocean loading at UTC times (whole seconds), n x 3: radial, south, west [m].

    table: 6 x 11, amplitudes radial, west, south [m], then their phases [degree], of M2 S2 N2 K2 K1 O1 P1 Q1 Mf Mm Ssa (BLQ).
    """
    rows = doubles(table, 6, 11)
    if len(rows) != 1:
        raise ValueError("one table is expected")
    t = _times.as_times(times_utc)
    year = t.astype("datetime64[Y]")
    second = _times.to_mjd(t)[1]
    minute, rest = np.divmod(second, 60.0)
    fields = [year.astype(np.int64) + 1970, (t.astype("datetime64[D]") - year).astype(np.int64) + 1, minute // 60, minute % 60, rest]
    date = np.ascontiguousarray(np.stack(fields, axis=1), dtype=np.float64)
    out = np.empty((len(date), 3))
    loops.loops_ocean_loading(ctypes.c_long(len(date)), pointer(rows), pointer(date), pointer(out))
    return out
