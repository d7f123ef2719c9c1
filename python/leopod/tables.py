"""Tables that the program writes."""

from __future__ import annotations

import csv
import os
from typing import Any, Dict, Iterator, List

import numpy as np

from . import times as _times


class Table:
    """Columns of a CSV file by name: numbers as doubles (not a number where empty), texts as they are."""

    def __init__(self, columns: Dict[str, Any]) -> None:
        self._columns = columns

    def __getitem__(self, name: str) -> Any:
        return self._columns[name]

    def __contains__(self, name: object) -> bool:
        return name in self._columns

    def __len__(self) -> int:
        return len(next(iter(self._columns.values()))) if self._columns else 0

    def __iter__(self) -> Iterator[str]:
        return iter(self._columns)

    @property
    def names(self) -> List[str]:
        """Names of the columns, as in the file."""
        return list(self._columns)

    @property
    def time(self) -> Any:
        """Times of the rows, datetime64[ns], GPST."""
        return np.asarray(self["epoch_gpst"]).astype("datetime64[ns]")

    @property
    def gpst(self) -> Any:
        """Times of the rows in seconds since 1980-01-06 00:00 GPST."""
        return _times.gps_seconds(self.time)

    @property
    def position(self) -> Any:
        """Earth-fixed positions n x 3 [m]: of the filter where the table has them, of a truth at its tags."""
        columns = ("filter_{}_ecef_m", "{}_ecef_m", "{}_tag")
        name = next((c for c in columns if c.format("x") in self), columns[1])
        return np.stack([self[name.format(axis)] for axis in "xyz"], axis=1)

    def to_pandas(self) -> Any:
        """The same as a pandas DataFrame, indexed by the time where there is one."""
        import pandas  # type: ignore[import]  # only who asks for it needs it

        frame = pandas.DataFrame(self._columns)
        return frame.set_index(pandas.DatetimeIndex(self.time, name="gpst")) if "epoch_gpst" in self else frame


def read_csv(file: "str | os.PathLike[str]") -> Table:
    """Reads a CSV file with a line of names."""
    with open(file, newline="", encoding="utf-8") as stream:
        rows = csv.reader(stream)
        names: List[str] = next(rows, [])
        values = list(rows)
    return Table({name: _column([row[k] for row in values]) for k, name in enumerate(names)})


def _column(texts: List[str]) -> Any:
    try:
        return np.array([float(t) if t else np.nan for t in texts])
    except ValueError:
        return np.array(texts)
