"""The program's commands from Python: arrays, errors, interrupts, and the example."""
import gzip
import html
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import warnings

import numpy as np

import leopod

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "examples"
EXCERPT = EXAMPLES / "data/grace_b"
DEMO = str(EXAMPLES / "data/demo_")
FRAME = {"eop": EXCERPT / "finals_2010_07.txt.gz", "eop_format": "rapid"}
REAL = {"obs": EXCERPT / "grcb2080_01h05h.10d.gz", "sp3": [EXCERPT / "cod15942_excerpt.sp3.gz"], **FRAME}
FORCES = {"dynamics": EXAMPLES / "fit_leo.cfg", "gravity": EXCERPT / "egm2008_degree90.txt.gz"}
DAY = np.datetime64("2010-07-27", "ns")

try:
    import matplotlib.image
except ImportError:
    matplotlib = None


def reference():
    """Reference orbit of the excerpt: positions by second of the day."""
    rows = gzip.decompress((EXCERPT / "reference_orbit.csv.gz").read_bytes()).decode().split()[1:]
    return {round(float(row.split(",")[0])): np.array(row.split(",")[1:4], dtype=float) for row in rows}


def error(times, positions):
    """3D rms of positions against the reference orbit at the same seconds [m], and how many there are."""
    truth = reference()
    seconds = np.round((times - DAY) / np.timedelta64(1, "s")).astype(int)
    found = [(p - truth[s]) for s, p in zip(seconds, positions) if s in truth]
    return np.sqrt(np.mean(np.sum(np.square(found), axis=1))), len(found)


class Program(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="leopod-test-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def test_results_are_arrays(self):
        run = leopod.run(**REAL, sigma_phase=0.02, out=self.folder / "run.csv")
        good = run.state == "OK"
        fit = leopod.fit(positions=run, interval=60, **FORCES, **FRAME)
        orbit = leopod.orbit(**REAL, gravity=FORCES["gravity"], interval=60)
        start = [*fit.position[0], *(fit.table[f"v{axis}_ecef_mps"][0] for axis in "xyz")]
        ahead = leopod.propagate(state=start, epoch=str(fit.time[0]), duration=3600, **FORCES, **FRAME)
        made = leopod.simulate(orbit=DEMO + "truth.csv", nav=DEMO + "bds.nav", obs_out=self.folder / "made.obs", duration=600.0)
        truth = made.position
        for result, count, chosen, limit, summary, residual in (
            (run, 1441, good, 1.2, run.summary.epochs.count, "phase_if_residual_m"),
            (fit, 481, fit.state == "OK", 0.6, 481, "radial_m"),
            (orbit, 481, orbit.state == "OK", 0.6, 481, "phase_if_residual_m"),
            (ahead, 121, ahead.state == "OK", 3.0, 121, None),
            (made, 21, slice(0, 0), None, 21, None),
        ):
            with self.subTest(result=repr(result)):
                self.assertEqual((result.time.dtype, result.gpst.dtype), (np.dtype("datetime64[ns]"), np.dtype(float)))
                self.assertEqual((result.position.shape, result.gpst.shape, len(result.state)), ((count, 3), (count,), summary))
                since = (result.time - np.datetime64("1980-01-06", "ns")) / np.timedelta64(1, "s")
                np.testing.assert_allclose(result.gpst, since, rtol=0, atol=1e-6)
                if limit:
                    self.assertLess(error(result.time[chosen], result.position[chosen])[0], limit)
                if residual:
                    self.assertLess(np.nanstd(result.residuals[residual]), 1.0)
                    self.assertEqual(result.residuals.time.dtype, np.dtype("datetime64[ns]"))
                    if matplotlib:
                        self.assertGreaterEqual(len(result.plot().lines), 3)
                self.assertEqual(result.status, 0)
        self.assertEqual(good.sum(), run.summary.epochs.filter.OK)
        self.assertTrue(np.isnan(run.position[run.state == "LACK_OF_SATELLITES"]).all())
        self.assertGreater(len(orbit.tables["edits_out"]), 3)
        self.assertTrue(fit.summary.converged and "converged" in fit.text)
        demo = leopod.run(obs=made.files["obs_out"], nav=DEMO + "bds.nav", truth=DEMO + "truth.csv")
        self.assertLess(np.abs(demo.position - truth)[-5:].max(), 5.0)
        try:
            frame = run.table.to_pandas()
            self.assertEqual((len(frame), frame.index.name, frame["satellites"].max()), (1441, "gpst", run.table["satellites"].max()))
        except ImportError:
            warnings.warn("pandas is not installed")

    def test_failures_are_exceptions_with_the_programs_text(self):
        demo = {"obs": DEMO + "bds.obs", "nav": DEMO + "bds.nav"}
        for call, options, status, text in (
            (leopod.run, {**demo, "nav": "/nowhere/a.nav"}, 2, "/nowhere/a.nav: cannot open"),
            (leopod.run, {**demo, "nvv": 3}, 2, "run has no option --nvv; did you mean --nav?"),
            (leopod.run, {**demo, "from_": 300, "to": 200}, 2, "--from 300 --to 200: nothing lies between them"),
            (leopod.fit, {"positions": DEMO + "truth.csv"}, 2, "--dynamics is required"),
            (leopod.propagate, {"state": [7e6, 0, 0, 0, -980.0, 7543], "epoch": "2021-01-18T00:00:00", "duration": 600,
                                "dynamics": EXAMPLES / "demo_orbit.cfg"}, 1, "NO EARTH ORIENTATION"),
            (lambda **o: leopod.report(self.folder / "page.html", **o), {"in_": "/nowhere/b.csv"}, 2, "/nowhere/b.csv: cannot open"),
        ):  # fmt: skip
            with self.subTest(text=text):
                with self.assertRaises(leopod.Error) as raised:
                    call(**options)
                self.assertEqual(raised.exception.status, status)
                self.assertIn(text, str(raised.exception))
        with self.assertRaises(ValueError):
            leopod.fit(positions=leopod.run(**demo, truth=DEMO + "truth.csv"), dynamics=EXAMPLES / "demo_orbit.cfg")

    def test_progress_is_shown_and_an_interrupt_ends_the_program(self):
        code = "import leopod, sys; leopod.propagate(state=[6.9e6, 0, 0, 0, -980, 7543], frame='eci', epoch='2010-07-22T00:00:00', " \
            f"duration=8e5, dynamics={str(FORCES['dynamics'])!r}, gravity={str(FORCES['gravity'])!r}, " \
            f"eop={str(FRAME['eop'])!r}, out={str(self.folder / 'out.csv')!r}, progress=True)"  # fmt: skip
        child = subprocess.Popen([sys.executable, "-c", code], stderr=subprocess.PIPE, start_new_session=True)
        shown = b""
        while b"%" not in shown:
            block = os.read(child.stderr.fileno(), 4096)
            self.assertTrue(block, shown)
            shown += block
        child.send_signal(signal.SIGINT)  # to Python alone
        said = child.communicate(timeout=20)[1]
        self.assertIn(b"KeyboardInterrupt", said)
        time.sleep(0.1)
        with self.assertRaises(ProcessLookupError):  # nothing of the session goes on
            os.killpg(child.pid, 0)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_example(self):
        self.assertLessEqual(len((EXAMPLES / "orbit.py").read_text().splitlines()), 25)
        observations = REAL["obs"]
        if shutil.which("compress"):  # as archives deliver it
            plain = self.folder / "grcb2080.10d"
            plain.write_bytes(gzip.decompress(observations.read_bytes()))
            subprocess.run(["compress", plain], check=True)
            observations = self.folder / "grcb2080.10d.Z"
        if not matplotlib:
            self.skipTest("matplotlib is not installed")
        made = self.folder / "made"
        said = subprocess.run([sys.executable, EXAMPLES / "orbit.py", observations, REAL["sp3"][0], FRAME["eop"], FORCES["gravity"],
                               FORCES["dynamics"], made], stdout=subprocess.PIPE, check=True).stdout.decode()  # fmt: skip
        self.assertRegex(said, r"1\d\d\d of 1441 epochs, fitted from 2010-07-27T01:00:00")
        # The orbit is a decimetre better than the positions that it was fitted to, and the ephemeris is the same orbit.
        fitted, run = (leopod.read_csv(made / name) for name in ("orbit.csv", "epochs.csv"))
        size, count = error(fitted.time, fitted.position)
        self.assertEqual(count, 481)
        solved = run["filter_status"] == "OK"
        self.assertLess(size, min(0.6, error(run.time[solved], run.position[solved])[0] - 0.1))
        rows = [line.split() for line in (made / "orbit.oem").read_text().splitlines() if line.startswith("2010-")]
        seconds = (np.array([row[0] for row in rows], dtype="datetime64[ns]") - fitted.time) / np.timedelta64(1, "s")
        speed = np.stack([fitted[f"v{axis}_ecef_mps"] for axis in "xyz"], axis=1)
        at = fitted.position + speed * seconds[:, None]
        np.testing.assert_allclose(np.array([row[1:4] for row in rows], dtype=float) * 1e3, at, rtol=0, atol=5e-3)
        # The page holds the values of the files; the picture shows something.
        page = (made / "report.html").read_text()
        charts = re.search(r'<script[^>]*id="data"[^>]*>(.*?)</script>', page, re.S)
        if charts:  # dygraphs is installed
            titles = [chart["title"] for chart in json.loads(charts[1])["charts"]]
            self.assertTrue({"Residuals of the phase, by satellite", "Residuals of the fit", "Receiver clock"} <= set(titles), titles)
        for text in ("leopod run --obs", "leopod fit --positions", "leopod report", "<th>SETTLING</th>", "Ground track"):
            self.assertIn(text, html.unescape(page))
        picture = matplotlib.image.imread(made / "residuals.png")
        self.assertGreater(min(picture.shape[:2]), 300)
        self.assertGreater(np.std(picture[..., :3]), 0.02)


if __name__ == "__main__":
    unittest.main()
