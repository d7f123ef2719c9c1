"""The Earth's static gravity field: EGM2008 to degree 30 built in, or a file of coefficients (degree, order, C, S, fully normalised)."""

from __future__ import annotations

import ctypes
import os
import pathlib
import tempfile
from typing import Any, Tuple

import numpy as np

from ._library import Array, doubles, fail, loops, pointer, readable

_DEGREE_OF_HARMONICS = 118  # two rows of harmonics above the field's degree are needed
_loaded = False


def load(file: "str | os.PathLike[str] | None" = None) -> None:
    """Reads a field, or without a file takes the built-in one. Raises leopod.Error."""
    global _loaded
    loops.initialize_global_earth_gravity()
    _loaded = True
    if file is None:
        return
    name = readable(pathlib.Path(file).resolve())
    here = os.getcwd()
    with tempfile.TemporaryDirectory() as scratch:  # the reader leaves a listing below the working directory
        os.mkdir(os.path.join(scratch, "testdata"))
        os.chdir(scratch)
        try:
            loops.load_earth_coef_EGM.restype = ctypes.c_bool
            if not loops.load_earth_coef_EGM(name):
                raise fail(file, "gravity coefficients")
        finally:
            os.chdir(here)


def acceleration(position: Any, degree: int = 28, gradient: bool = False) -> "Array | Tuple[Array, Array]":
    """Acceleration at earth-fixed positions n x 3 [m], complete to `degree` (1 to 118; 28 with the built-in field): n x 3 [m/s^2].

    With `gradient` also its derivative by the position, n x 3 x 3 [1/s^2].
    Source: Cunningham (1970); Montenbruck and Gill, Satellite Orbits (2000), section 3.2.
    """
    if not 1 <= degree <= _DEGREE_OF_HARMONICS:
        raise ValueError(f"degree {degree}: 1 to {_DEGREE_OF_HARMONICS} is expected")
    if not _loaded:
        load()
    r = doubles(position, 3)
    if not (np.linalg.norm(r, axis=1) > 1.0).all():
        raise ValueError("the centre of the Earth has no gravity field")
    a = np.empty_like(r)
    g = np.empty((len(r), 3, 3)) if gradient else None
    loops.loops_gravity(ctypes.c_long(len(r)), degree, pointer(r), pointer(a), pointer(g))
    return a if g is None else (a, g)
