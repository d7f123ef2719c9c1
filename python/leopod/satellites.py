"""Satellites of the navigation systems from broadcast records (GPS, BeiDou) or precise products. The stores belong to the process."""

from __future__ import annotations

import ctypes
import os
from typing import Any, Iterable, Tuple

import numpy as np
import numpy.typing as npt

from . import times as _times
from ._library import Array, fail, loops, pointer, readable, split

Paths = "str | os.PathLike[str] | Iterable[str | os.PathLike[str]]"
_precise = False


def _list(paths: Any) -> "list[str | os.PathLike[str]]":
    return [paths] if isinstance(paths, (str, os.PathLike)) else list(paths)


def load(nav: Any = (), sp3: Any = (), clk: Any = ()) -> None:
    """Reads navigation files, or precise orbits (SP3) and clocks, a path or a list each, in place of what was loaded before.

    Plain text; the program reads compressed files. Raises leopod.Error, ValueError without a file.
    """
    global _precise
    files = [(f, "n", "a RINEX navigation file") for f in _list(nav)]
    files += [(f, "s", "an SP3 file") for f in _list(sp3)] + [(f, "c", "a RINEX clock file") for f in _list(clk)]
    if not files:
        raise ValueError("no file is given")
    names = [readable(f) for f, _, _ in files]
    if not loops.loops_products():
        raise MemoryError("no memory for the stores of satellites")
    for (file, letter, kind), name in zip(files, names):
        _check(file, letter, kind)
        if not loops.loops_load(name, ord(letter)):
            raise fail(file, kind)
    _precise = len(_list(sp3)) + len(_list(clk)) > 0


def _check(file: "str | os.PathLike[str]", letter: str, kind: str) -> None:
    """The head of the file: a loader that meets another kind may end the process."""
    with open(file, "rb") as stream:
        head = stream.readline(200)
    good = head[:1] == b"#" if letter == "s" else head[20:21] == letter.upper().encode()
    if not good:
        raise fail(file, kind)


def state(satellite: str, times_gpst: Any) -> Tuple[Array, Array, Array, npt.NDArray[np.bool_]]:
    """Of one satellite ("G05", "C21"; "L01" in SP3 files) at times of transmission in GPST:

    earth-fixed position n x 3 [m] and velocity n x 3 [m/s], clock n x 2 [s, s/s] with the relativistic term, and whether the records
    serve each time (n); rows of times that they do not serve are not a number.
    """
    index = loops.loops_index(satellite.encode("ascii"))
    if not 0 <= index < 97:
        raise ValueError(f"satellite {satellite}: a name such as G05 or C21 is expected")
    days, seconds = split(*_times.to_mjd(times_gpst))
    n = len(days)
    rows, clock, ok = np.zeros((n, 6)), np.zeros((n, 2)), np.zeros(n, dtype=np.uint8)
    loops.loops_satellite(ctypes.c_long(n), pointer(days), pointer(seconds), index, int(_precise), pointer(rows), pointer(clock),
                          pointer(ok))  # fmt: skip
    served = ok.astype(np.bool_)
    rows[~served], clock[~served] = np.nan, np.nan
    return rows[:, :3], rows[:, 3:], clock, served
