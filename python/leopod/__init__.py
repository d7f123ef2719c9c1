"""leopod: orbits of low-earth-orbit satellites from their GNSS receivers.

`run`, `fit`, `orbit`, `propagate`, `simulate` and `report` run the program with the options of its command line and return its results as arrays. The modules
times, frames, gravity, planets, satellites, sgp4 and tides call the library's routines on arrays.
"""

from __future__ import annotations

from . import frames, gravity, planets, satellites, sgp4, tides, times
from .errors import Error
from .program import Result, fit, orbit, program, propagate, report, run, simulate
from .tables import Table, read_csv

__all__ = [
    "Error", "Result", "Table", "fit", "frames", "gravity", "orbit", "planets", "program", "propagate", "read_csv", "report", "run", "satellites", "sgp4",
    "simulate", "tides", "times",
]  # fmt: skip
