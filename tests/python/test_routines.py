"""The array routines against the oracles of the C++ tests, and what a call costs."""
import csv
import ctypes
import gzip
import os
import pathlib
import tempfile
import time
import unittest
from unittest import mock

import numpy as np

import leopod
from leopod import frames, gravity, planets, satellites, sgp4, tides, times
from leopod._library import loops, pointer

try:
    import erfa
except ImportError:
    erfa = None
try:
    from sgp4.api import WGS72, Satrec
except ImportError:
    Satrec = None

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXCERPT = ROOT / "examples/data/grace_b"
START = np.datetime64("2010-07-27T01:00:00", "ns")
SCRATCH = tempfile.TemporaryDirectory(prefix="leopod-test-")
TIMES = START + np.arange(1000) * np.timedelta64(10, "s")


def plain(name):
    """An excerpt's file without its compression."""
    target = os.path.join(SCRATCH.name, pathlib.Path(name).stem)
    pathlib.Path(target).write_bytes(gzip.decompress((EXCERPT / name).read_bytes()))
    return target


class Clock:
    """The compiled loops, with the time that is spent in them."""

    inside = 0.0

    def __getattr__(self, name):
        def call(*arguments):
            start = time.perf_counter()
            try:
                return getattr(loops, name)(*arguments)
            finally:
                self.inside += time.perf_counter() - start

        return call


class Routines(unittest.TestCase):
    def test_times(self):
        utc = np.datetime64("2016-12-30T12:00:00.123456789", "ns")
        tai = times.convert(utc, "utc", "tai")
        self.assertEqual((tai[0] - utc) / np.timedelta64(1, "s"), 36)
        for scale in ("gpst", "tt", "bdst"):
            there = times.convert(utc, "utc", scale)
            self.assertLessEqual(abs(times.convert(there, scale, "utc")[0] - utc), np.timedelta64(1, "ns"))
        self.assertEqual(times.gps_seconds("1980-01-06T00:00:01.5")[0], 1.5)
        self.assertEqual(times.leap_seconds("2010-07-27")[0], 34)
        for bad in ("1969-01-01", "NaT"):  # the library would end the process
            with self.assertRaises(ValueError):
                times.convert(bad, "utc", "tai")

    @unittest.skipIf(erfa is None, "python3-erfa is not installed")
    def test_frames(self):
        frames.load_earth_orientation(plain("finals_2010_07.txt.gz"), "rapid")
        rotation, rate = frames.matrix(TIMES)

        def expected(when, leap, dut1, x, y):
            mjd = times.mjd_of(when)
            tt, ut1 = mjd + (leap + 32.184) / 86400, mjd + dut1 / 86400
            return erfa.c2t06a(2400000.5, tt, 2400000.5, ut1, x * erfa.DAS2R, y * erfa.DAS2R)

        # Values of that day without their tides, and a day without orientation, which counts as UT1 = UTC.
        self.assertLess(np.abs(rotation - expected(TIMES, 34, -0.0540, 0.12, 0.47)).max(), 5e-7)
        later = TIMES + np.timedelta64(4000, "D")
        self.assertLess(np.abs(frames.matrix(later)[0] - expected(later, 37, 0, 0, 0)).max(), 1e-10)
        r = np.random.default_rng(1).normal(size=(1000, 3)) * 7e6
        fixed, v = frames.to_itrs(TIMES, r, r * 1e-3)
        np.testing.assert_allclose(fixed, np.einsum("nij,nj->ni", rotation, r), rtol=0, atol=1e-8)
        np.testing.assert_allclose(v, np.einsum("nij,nj->ni", rate, r) + fixed * 1e-3, rtol=0, atol=1e-9)
        np.testing.assert_allclose(frames.to_gcrs(TIMES, fixed), r, rtol=0, atol=1e-7)

    def test_gravity(self):
        oracle = os.environ.get("LEOPOD_FIELD_ORACLE")
        if not oracle:
            self.skipTest("GeographicLib is not installed")
        gravity.load(plain("egm2008_degree90.txt.gz"))
        r = np.random.default_rng(2).normal(size=(50, 3))
        r *= np.linspace(6.7e6, 4.2e7, 50)[:, None] / np.linalg.norm(r, axis=1)[:, None]
        a, g = gravity.acceleration(r, 60, gradient=True)
        expected = np.empty_like(r)
        library = ctypes.CDLL(oracle)
        library.field_acceleration(ctypes.c_char_p(plain("egm2008_degree90.txt.gz").encode()), 60, len(r), pointer(r), pointer(expected))
        np.testing.assert_allclose(a, expected, rtol=0, atol=1e-11)
        step = 10.0
        for k in range(3):
            ahead, behind = r.copy(), r.copy()
            ahead[:, k] += step
            behind[:, k] -= step
            difference = (gravity.acceleration(ahead, 2) - gravity.acceleration(behind, 2)) / (2 * step)
            np.testing.assert_allclose(gravity.acceleration(r, 2, gradient=True)[1][:, :, k], difference, rtol=0, atol=2e-9)

    @unittest.skipIf(erfa is None, "python3-erfa is not installed")
    def test_planets_and_tides(self):
        planets.load()
        days = np.datetime64("2021-01-10", "ns") + np.arange(8) * np.timedelta64(1, "D")
        position, velocity = planets.state(days, "sun")
        earth = erfa.epv00(2400000.5, times.mjd_of(days))[0]
        np.testing.assert_allclose(position, -earth["p"] * erfa.DAU, rtol=0, atol=2e4)
        np.testing.assert_allclose(velocity, -earth["v"] * erfa.DAU / 86400, rtol=0, atol=0.1)
        with self.assertRaises(leopod.Error):
            planets.state("2010-07-27", "sun")
        sites = np.array([[4075578.385, 931852.890, 4801570.154]])
        sun, moon = (np.array([v]) for v in ([137859926952.015, 54228127881.4350, 23509422341.6960],
                                             [-179996231.920342, -312468450.131567, -169288918.592160]))
        out = np.empty((1, 3))
        date = np.array([[2009, 4, 13]], dtype=np.int32)
        loops.loops_solid_tide(ctypes.c_long(1), pointer(sites), pointer(date), pointer(np.zeros(1)), pointer(np.full(1, 34.0)), pointer(sun),
                               pointer(moon), pointer(out))
        np.testing.assert_allclose(out[0], [0.07700420357108125, 0.06304056321824967, 0.05516568152597246], rtol=0, atol=1e-12)
        self.assertLess(np.abs(tides.solid_earth(sites[0], days)).max(), 0.5)

    def test_ocean_loading(self):
        with open(ROOT / "tests/oracles/ocean_loading.csv", encoding="ascii") as stream:
            rows = [[float(x) for x in row] for row in csv.reader(line for line in stream if line[0] != "#")]
        for row in rows[::9]:
            year, day, hour, minute, second = (int(x) for x in row[66:71])
            when = np.datetime64(f"{year}-01-01", "ns") + np.timedelta64(((day - 1) * 24 + hour) * 3600 + minute * 60 + second, "s")
            got = tides.ocean_loading(np.reshape(row[:66], (6, 11)), when)
            np.testing.assert_allclose(got[0], row[71:74], rtol=0, atol=1e-11)

    @unittest.skipIf(Satrec is None, "python3-sgp4 is not installed")
    def test_sgp4(self):
        lines = [line.split("#")[0].rstrip()[:69] for line in (ROOT / "tests/data/tle.tle").read_text().splitlines()]
        compared = 0
        for first, second in zip(lines, lines[1:]):
            if not (first.startswith("1 ") and second.startswith("2 ")):
                continue
            try:
                ours, other = sgp4.Elements(first, second), Satrec.twoline2rv(first, second, WGS72)
            except ValueError:
                continue
            error, r, v = other.sgp4(other.jdsatepoch, other.jdsatepochF + 0.25)
            if error or other.method == "d" or other.em < 1e-4 or abs(other.am / other.a - 1) > 0.1:
                continue
            position, velocity = ours.state_minutes(360.0)
            np.testing.assert_allclose(position[0], np.array(r) * 1e3, rtol=0, atol=0.2)
            np.testing.assert_allclose(velocity[0], np.array(v) * 1e3, rtol=0, atol=1e-3)
            compared += 1
        self.assertGreater(compared, 3)
        with self.assertRaises(ValueError):
            sgp4.Elements("1 nonsense", "2 nonsense")

    def test_precise_satellites(self):
        satellites.load(sp3=plain("cod15942_excerpt.sp3.gz"))
        r, v, clock, ok = satellites.state("G05", TIMES)
        self.assertTrue(ok.all())
        rows, epoch = [], None
        for line in gzip.decompress((EXCERPT / "cod15942_excerpt.sp3.gz").read_bytes()).decode().splitlines():
            if line.startswith("*"):
                y, mo, d, h, mi = (int(x) for x in line[3:20].split())
                epoch = np.datetime64(f"{y}-{mo:02d}-{d:02d}T{h:02d}:{mi:02d}", "ns")
            elif line.startswith("PG05"):
                rows.append(((epoch - START) / np.timedelta64(1, "s"), *(float(x) * 1e3 for x in line[4:46].split())))
        table = np.array(rows)
        for at in (0, 333, 999):  # a polynomial through the same eleven rows
            t = at * 10.0
            nearest = np.argsort(np.abs(table[:, 0] - t))[:11]
            x = (table[nearest, 0] - t) / 9000
            for k in range(3):
                value = np.polynomial.Polynomial.fit(x, table[nearest, 1 + k], 10, domain=[-1, 1])(0.0)
                self.assertAlmostEqual(r[at, k], value, delta=1e-3)
        self.assertAlmostEqual(np.linalg.norm(v[0]), 3000, delta=400)
        self.assertFalse(satellites.state("G05", TIMES[:1] + np.timedelta64(2, "D"))[3][0])
        with self.assertRaises(leopod.Error):
            satellites.load(nav=__file__)

    def test_broadcast_satellites(self):
        satellites.load(nav=plain("../../../tests/arc21/arc.nav.gz"))
        with gzip.open(ROOT / "tests/arc21/truth_satellites.csv.gz", "rt", encoding="ascii") as stream:
            rows = list(csv.DictReader(stream))
        midnight = np.datetime64("2021-01-18", "ns")
        for name in sorted({row["sat"] for row in rows}):
            mine = [row for row in rows if row["sat"] == name]
            truth = np.array([[float(row[k]) for k in ("sod_tx", "x_tx", "y_tx", "z_tx", "vx_tx", "vy_tx", "vz_tx", "clk_s")] for row in mine])
            r, v, clock, ok = satellites.state(name, midnight + np.round(truth[:, 0] * 1e9).astype("timedelta64[ns]"))
            self.assertTrue(ok.all(), name)
            np.testing.assert_allclose(r, truth[:, 1:4], rtol=0, atol=2e-3)
            np.testing.assert_allclose(v, truth[:, 4:7], rtol=0, atol=1e-3)
            np.testing.assert_allclose(clock[:, 0], truth[:, 7], rtol=0, atol=1e-12)
        self.assertFalse(satellites.state("G01", midnight + np.timedelta64(1, "D"))[3][0])

    def test_calls_cost_little_more_than_in_c(self):
        r, site, late = np.full((1000, 3), 4e6), [4075578.385, 931852.890, 4801570.154], TIMES + np.timedelta64(3826, "D")
        frames.load_earth_orientation(plain("finals_2010_07.txt.gz"), "rapid")
        gravity.load()
        planets.load()
        elements = sgp4.Elements("1 00005U 58002B   00179.78495062  .00000023  00000-0  28098-4 0  4753",
                                 "2 00005  34.2682 348.7242 1859667 331.7664  19.3264 10.82419157413667")  # fmt: skip
        satellites.load(sp3=plain("cod15942_excerpt.sp3.gz"))
        clock = Clock()
        for module in (times, frames, gravity, planets, satellites, sgp4, tides):
            patch = mock.patch.object(module, "loops", clock)
            patch.start()
            self.addCleanup(patch.stop)
        for name, call in (
            ("times.convert", lambda: times.convert(TIMES, "gpst", "utc")),
            ("times.leap_seconds", lambda: times.leap_seconds(TIMES)),
            ("frames.matrix", lambda: frames.matrix(TIMES)),
            ("frames.to_itrs", lambda: frames.to_itrs(TIMES, r, r)),
            ("gravity.acceleration, degree 30, with gradient", lambda: gravity.acceleration(r, 30, gradient=True)),
            ("planets.state", lambda: planets.state(late, "moon")),
            ("satellites.state, precise", lambda: satellites.state("G05", TIMES)),
            ("sgp4", lambda: elements.state_minutes(np.arange(1000.0))),
            ("tides.solid_earth", lambda: tides.solid_earth(site, late)),
            ("tides.ocean_loading", lambda: tides.ocean_loading(np.full((6, 11), 0.01), late)),
        ):
            whole, inside = [], []
            for _ in range(7):
                clock.inside = 0.0
                start = time.perf_counter()
                call()
                whole.append(time.perf_counter() - start)
                inside.append(clock.inside)
            more = min(w - i for w, i in zip(whole, inside))
            print(f"{name:48} {1e3 * min(inside):7.3f} us an element in C, {1e3 * more:6.3f} us more from Python")
            self.assertLess(more / 1000, 3e-6, name)


if __name__ == "__main__":
    unittest.main()
