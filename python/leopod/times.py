"""Time scales. Times are numpy's datetime64 in nanoseconds, each in a named scale: "gpst", "utc", "tai", "tt", "bdst", "galt"."""

from __future__ import annotations

import ctypes
from typing import Any, Tuple

import numpy as np
import numpy.typing as npt

from ._library import Array, loops, pointer, split

Times = npt.NDArray[np.datetime64]

_SYSTEMS = {"gpst": 1, "galt": 2, "bdst": 3, "utc": 4, "tai": 5, "tt": 6}
_MJD_OF_1970 = 40587
_GPS_ORIGIN = np.datetime64("1980-01-06T00:00:00", "ns")
_FIRST = np.datetime64("1972-07-02T00:00:00", "ns")  # leap seconds begin
_LAST = np.datetime64("2099-12-31T00:00:00", "ns")


def as_times(values: Any) -> Times:
    """One dimension of datetime64[ns] from what numpy takes as dates. Raises ValueError outside of 1972-07-02 to 2099-12-31."""
    times: Times = np.atleast_1d(np.asarray(values, dtype="datetime64[ns]"))
    if times.ndim != 1:
        raise ValueError("times have one dimension")
    if np.isnat(times).any() or (len(times) > 0 and (times.min() < _FIRST or times.max() > _LAST)):
        raise ValueError("times from 1972-07-02 to 2099-12-31 are expected")
    return times


def to_mjd(times: Any) -> Tuple[npt.NDArray[np.int64], Array]:
    """Days (MJD) and seconds of day, n each, exact to the nanosecond."""
    count = as_times(times).astype(np.int64)
    day, rest = np.divmod(count, 86_400_000_000_000)
    return day + _MJD_OF_1970, rest * 1e-9


def from_mjd(day: Any, second: Any) -> Times:
    """datetime64[ns] from days (MJD) and seconds of day, rounded to the nanosecond."""
    days = np.asarray(day, dtype=np.int64) - _MJD_OF_1970
    nanoseconds = np.rint(np.asarray(second, dtype=np.float64) * 1e9).astype(np.int64)
    times: Times = (days * 86_400_000_000_000 + nanoseconds).astype("datetime64[ns]")
    return times


def _system(name: str) -> int:
    if name not in _SYSTEMS:
        raise ValueError(f"time scale {name}: one of {', '.join(_SYSTEMS)} is expected")
    return _SYSTEMS[name]


def convert(times: Any, source: str, target: str) -> Times:
    """Times of one scale in another one, n. A leap second counts from one day before its step, as in the library."""
    day, second = to_mjd(times)
    days, seconds = split(day, second)
    loops.loops_convert(ctypes.c_long(len(days)), pointer(days), pointer(seconds), _system(source), _system(target))
    return from_mjd(days, seconds)


def leap_seconds(times_utc: Any) -> Array:
    """TAI - UTC, n [s]."""
    mjd = mjd_of(times_utc)
    seconds = np.empty(len(mjd))
    loops.loops_leap_seconds(ctypes.c_long(len(mjd)), pointer(mjd), pointer(seconds))
    return seconds


def mjd_of(times: Any) -> Array:
    """Modified Julian dates as single numbers, n [day]: good to a microsecond."""
    day, second = to_mjd(times)
    return day + second / 86400.0


def gps_seconds(times_gpst: Any) -> Array:
    """Seconds since 1980-01-06 00:00 GPST, n."""
    elapsed = (as_times(times_gpst) - _GPS_ORIGIN).astype(np.int64)
    whole, rest = np.divmod(elapsed, 1_000_000_000)
    seconds: Array = whole + rest * 1e-9
    return seconds
