"""The loops over the library, and arrays as they take them."""

from __future__ import annotations

import ctypes
import os
import pathlib
from typing import Any, Optional, Tuple

import numpy as np
import numpy.typing as npt

from .errors import Error

Array = npt.NDArray[np.float64]

_path = pathlib.Path(__file__).resolve().parent / "_loops.so"
try:
    loops = ctypes.CDLL(str(_path))
except OSError as error:  # pragma: no cover
    raise ImportError(f"leopod: the compiled part {_path} cannot be loaded ({error})") from error
loops.loops_start()


def message() -> str:
    """The library's last warning or error since the last call."""
    text = ctypes.create_string_buffer(1024)
    loops.loops_message(text, len(text))
    return text.value.decode("utf-8", "replace").strip()


def doubles(values: Any, *shape: int) -> Array:
    """Contiguous doubles whose last dimensions are `shape`; a single element becomes an array of one."""
    array = np.ascontiguousarray(values, dtype=np.float64)
    if array.shape == tuple(shape):
        array = array.reshape((1,) + tuple(shape))
    if array.ndim != 1 + len(shape) or array.shape[1:] != tuple(shape):
        wanted = "n" + "".join(f" x {s}" for s in shape)
        raise ValueError(f"an array of {wanted} is expected, not of shape {np.shape(values)}")
    return array


def same_length(*arrays: npt.NDArray[Any]) -> int:
    """Length that all arrays have."""
    lengths = {len(a) for a in arrays}
    if len(lengths) != 1:
        raise ValueError(f"arrays of different lengths: {sorted(lengths)}")
    return lengths.pop()


def pointer(array: Optional[npt.NDArray[Any]]) -> Optional[ctypes.c_void_p]:
    """Address of an array's memory; nothing for none."""
    return None if array is None else array.ctypes.data_as(ctypes.c_void_p)


def readable(path: "str | os.PathLike[str]") -> bytes:
    """Name of an existing file as the library takes it."""
    name = os.fspath(path)
    if not os.path.isfile(name):
        raise FileNotFoundError(f"{name}: no such file")
    return os.fsencode(name)


def fail(path: "str | os.PathLike[str]", kind: str) -> Error:
    """The error of a file that a loader refused."""
    reason = message()
    return Error(f"{os.fspath(path)}: cannot be read as {kind}" + (f" ({reason})" if reason else ""))


def split(mjd: npt.NDArray[np.int64], second: Array) -> Tuple[npt.NDArray[Any], Array]:
    """Days as C's long, and seconds."""
    return np.ascontiguousarray(mjd, dtype=np.dtype("l")), np.ascontiguousarray(second, dtype=np.float64)
