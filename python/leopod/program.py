"""The program's commands. Options have the names of the command line, with underscores: `satellites_out` is --satellites-out, `from_`
is --from. A path or a list of paths, a number or a list of numbers, True for a flag.

The program runs as a process of its own, so that nothing that ends it takes the interpreter along.
"""

from __future__ import annotations

import json
import os
import pathlib
import shlex
import shutil
import subprocess
import sys
import tempfile
import threading
from types import SimpleNamespace
from typing import Any, Dict, List, Optional, Tuple

import numpy as np

from .errors import Error
from .tables import Table, read_csv

_here = pathlib.Path(__file__).resolve().parent


def program() -> str:
    """Path of the program: LEOPOD_PROGRAM of the environment, else that of the package's build or prefix, else in PATH. Raises leopod.Error."""
    places = [_here.parents[1] / "host" / "leopod", *(above / "bin" / "leopod" for above in _here.parents[2:4])]
    beside = [str(place) for place in places if place.is_file()]
    found = os.environ.get("LEOPOD_PROGRAM") or (beside[0] if beside else shutil.which("leopod"))
    if not found:
        raise Error("the program leopod is neither in PATH nor named by LEOPOD_PROGRAM")
    return found


def _words(options: Dict[str, Any]) -> List[str]:
    """Options as words of the command line."""
    words: List[str] = []
    for key, value in options.items():
        name = "--" + key.rstrip("_").replace("_", "-")
        if value is None or value is False or (isinstance(value, (list, tuple)) and not value):
            continue
        if value is True:
            words.append(name)
            continue
        values = [value] if isinstance(value, (str, os.PathLike)) or np.ndim(value) == 0 else list(value)
        texts = [os.fspath(v) if isinstance(v, os.PathLike) else str(v) for v in values]
        if all(isinstance(v, (int, float, np.number)) for v in values):
            words += [name, *texts]
        else:
            for text in texts:
                words += [name, text]
    return words


def _end(process: "subprocess.Popen[bytes]") -> None:
    """Ends the program, which takes its unfinished files away."""
    process.terminate()
    try:
        process.wait(5)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def _call(words: List[str], progress: bool) -> Tuple[int, str, str]:
    """Runs the program: exit status, what it printed, what it told on standard error. With `progress` the latter is shown as it comes."""
    master, slave = os.openpty() if progress else (-1, -1)
    process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=slave if progress else subprocess.PIPE)
    told: List[bytes] = []

    def listen() -> None:
        while True:
            try:
                block = os.read(master, 4096)
            except OSError:  # the program has ended
                return
            if not block:
                return
            told.append(block)
            sys.stderr.write(block.decode("utf-8", "replace"))
            sys.stderr.flush()

    listener = threading.Thread(target=listen) if progress else None
    if listener is not None:
        os.close(slave)
        listener.start()
    try:
        printed, errors = process.communicate()
    except BaseException:
        _end(process)
        raise
    finally:
        if listener is not None:
            listener.join()
            os.close(master)
    text = b"".join(told) if progress else errors
    return process.returncode, printed.decode("utf-8", "replace"), text.decode("utf-8", "replace").replace("\r", "\n")


class Result:
    """What a command gave.

    text     the printed summary
    summary  the same as attributes, such as result.summary.epochs.solved (the JSON of --summary)
    status   exit status of the program: 0
    files    the files that it wrote, by option
    tables   the CSV files that it wrote, by option: "out", "satellites_out", "residuals", ...
    words    the command line, without the files that were written for these tables alone

    time (datetime64[ns], GPST), gpst (seconds since 1980-01-06), position (n x 3 [m], earth-fixed) and state (texts, n) are those of the
    main table; `residuals` is the table of residuals where there is one.
    """

    def __init__(self, command: str, words: List[str], text: str, summary: Any, files: Dict[str, str], tables: Dict[str, Table]) -> None:
        self.command, self.words, self.text, self.summary = command, words, text, summary
        self.files, self.tables, self.status = files, tables, 0

    def __repr__(self) -> str:
        return f"<leopod {self.command}: {', '.join(f'{k} of {len(t)} rows' for k, t in self.tables.items())}>"

    @property
    def table(self) -> Table:
        """The main table: epochs of a run, trajectory of a fit or propagation."""
        for name in ("out", "truth_out"):
            if name in self.tables:
                return self.tables[name]
        raise Error(f"leopod {self.command} wrote no table of epochs")

    @property
    def residuals(self) -> Table:
        """Residuals: of a fit's positions, or of the satellites of a run or orbit."""
        for name in ("residuals", "satellites_out"):
            if name in self.tables:
                return self.tables[name]
        raise Error(f"leopod {self.command} wrote no residuals")

    @property
    def time(self) -> Any:
        """Times of the main table, datetime64[ns], GPST."""
        return self.table.time

    @property
    def gpst(self) -> Any:
        """The same in seconds since 1980-01-06 00:00 GPST."""
        return self.table.gpst

    @property
    def position(self) -> Any:
        """Earth-fixed positions n x 3 [m]: of the filter in a run. Not a number where an epoch was not solved."""
        return self.table.position

    @property
    def state(self) -> Any:
        """Status of each epoch (texts, n), in a run the filter's where there is one: "OK" where the row is worth using."""
        status = self.table["status"] if "status" in self.table else np.full(len(self.table), "OK")
        if "filter_status" not in self.table or self.table["filter_status"].dtype.kind != "U":
            return status
        return np.where(status == "OK", self.table["filter_status"], status)

    def plot(self, axes: Any = None) -> Any:
        """Draws the residuals with matplotlib: of a fit, or the phases by satellite; without any the distance from the Earth's centre.
        Returns the axes."""
        import matplotlib.dates  # type: ignore[import]  # only who draws needs it
        import matplotlib.pyplot as plt  # type: ignore[import]

        ax = axes if axes is not None else plt.subplots(figsize=(9, 4), layout="constrained")[1]
        lines = self._lines()
        for index, (name, time, values) in enumerate(lines):  # a colour and a sign for each
            ax.plot(time, values, "osD^v"[index // 10 % 5], markersize=2, color=f"C{index % 10}", label=name)
        ax.set_ylabel("residual [m]" if "residuals" in self.tables else
                      "phase residual [m]" if "satellites_out" in self.tables else "distance from the Earth's centre [km]")  # fmt: skip
        ax.set_xlabel("GPST")
        ax.xaxis.set_major_formatter(matplotlib.dates.ConciseDateFormatter(ax.xaxis.get_major_locator()))
        if len(lines) > 1:
            ax.legend(ncol=1 + len(lines) // 17, fontsize="small", markerscale=2.5, loc="upper left", bbox_to_anchor=(1.01, 1.0))
        ax.set_title(f"leopod {self.command}")
        return ax

    def _lines(self) -> List[Tuple[str, Any, Any]]:
        """What `plot` draws: names, times and values."""
        if "residuals" in self.tables:
            t = self.tables["residuals"]
            return [(name[:-2], t.time, t[name]) for name in ("radial_m", "along_m", "cross_m")]
        if "satellites_out" in self.tables:
            t = self.tables["satellites_out"]
            rows = [(name, t["satellite"] == name) for name in np.unique(t["satellite"])]
            return [(str(name), t.time[row], t["phase_if_residual_m"][row]) for name, row in rows]
        return [("", self.time, np.linalg.norm(self.position, axis=1) * 1e-3)]


def _object(value: Any) -> Any:
    """JSON with attributes; keys that are no names stay reachable by vars()."""
    if isinstance(value, dict):
        return SimpleNamespace(**{str(k): _object(v) for k, v in value.items()})
    return [_object(v) for v in value] if isinstance(value, list) else value


def _command(command: str, tables: Tuple[str, ...], options: Dict[str, Any], progress: Optional[bool]) -> Result:
    shown = sys.stderr is not None and sys.stderr.isatty() if progress is None else progress
    given = [command, *_words(options)]
    with tempfile.TemporaryDirectory(prefix="leopod-") as scratch:
        for name in tables:
            options.setdefault(name, os.path.join(scratch, name + ".csv"))
        options.setdefault("summary", os.path.join(scratch, "summary.json"))
        words = [program(), command, *_words(options)]
        status, printed, told = _call(words, shown)
        if status != 0:
            lines = [line for line in (told.strip() or printed.strip()).splitlines() if line.strip()]
            raise Error("\n".join(lines[-12:]) or f"leopod {command} ended with status {status}", status)
        files = {k: os.fspath(v) for k, v in options.items() if isinstance(v, (str, os.PathLike)) and os.path.isfile(v)}
        read = {k: read_csv(files[k]) for k in _TABLES if k in files}
        summary: Any = SimpleNamespace()
        if "summary" in files:
            with open(files["summary"], encoding="utf-8") as stream:
                summary = _object(json.load(stream))
        kept = {k: v for k, v in files.items() if k in _OUTPUTS and not v.startswith(scratch)}
    return Result(command, given, printed, summary, kept, read)


_TABLES = ("out", "satellites_out", "residuals", "parameters", "history", "edits_out", "formal_out", "crd_out", "truth_out", "events_out")
_OUTPUTS = _TABLES + ("sp3_out", "oem_out", "plot", "summary", "obs_out", "att_out", "rows_out")


def run(*, progress: Optional[bool] = None, **options: Any) -> Result:
    """`leopod run`: observations in, an orbit epoch by epoch out. Options as of the command line: obs, nav, sp3, clk, att, eop, truth, ...

    progress: shows what the program tells while it works; None: where standard error is a terminal.
    Raises leopod.Error with the program's text where it ends with another status than 0.
    """
    return _command("run", ("out", "satellites_out"), options, progress)


def fit(*, progress: Optional[bool] = None, **options: Any) -> Result:
    """`leopod fit`: an orbit through positions. Options as of the command line: positions, dynamics, gravity, eop, truth, ...

    positions may be a Result of `run` that was written with `out`. Raises leopod.Error.
    """
    positions = options.get("positions")
    if isinstance(positions, Result):
        if "out" not in positions.files:
            raise ValueError("the run's table was not kept: give it a file with out=...")
        options["positions"] = positions.files["out"]
    return _command("fit", ("out", "residuals", "parameters", "history"), options, progress)


def orbit(*, progress: Optional[bool] = None, **options: Any) -> Result:
    """`leopod orbit`: a reduced-dynamic orbit from the observations of a whole arc. Raises leopod.Error."""
    return _command("orbit", () if "compare" in options else ("out", "satellites_out", "edits_out"), options, progress)


def propagate(*, progress: Optional[bool] = None, **options: Any) -> Result:
    """`leopod propagate`: a state (six numbers, or a file) in, a trajectory out. Raises leopod.Error."""
    return _command("propagate", ("out",), options, progress)


def report(out: "str | os.PathLike[str]", result: Optional[Result] = None, *, fitted: Optional[Result] = None, **options: Any) -> str:
    """`leopod report`: one HTML page of a run, or of a run and its fit. Returns its path.

    result (of run or orbit) and fitted stand for the files that they wrote: given with out=..., satellites_out=..., residuals=...,
    summary=... Raises leopod.Error.
    """
    given = [r for r in (result, fitted) if r is not None]
    if result is not None:
        options.setdefault("fit" if result.command == "orbit" else "in", result.files.get("out"))
        options.setdefault("satellites", result.files.get("satellites_out"))
    if fitted is not None:
        options.setdefault("fit", fitted.files.get("out"))
        options.setdefault("residuals", fitted.files.get("residuals"))
    options.setdefault("summary", [r.files["summary"] for r in given if "summary" in r.files])
    options.setdefault("command", [shlex.join(["leopod", *r.words]) for r in given])
    words = [program(), "report", "--out", os.fspath(out), *_words(options)]
    status, printed, told = _call(words, False)
    if status != 0:
        raise Error((told.strip() or printed.strip()), status)
    return os.fspath(out)


def simulate(*, progress: Optional[bool] = None, **options: Any) -> Result:
    """`leopod simulate`: an orbit in, the observations of a receiver on it out (obs_out). The main table is the truth. Raises leopod.Error."""
    return _command("simulate", ("truth_out", "events_out"), options, progress)
