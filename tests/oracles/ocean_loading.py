#!/usr/bin/env python3
"""Writes tests/oracles/ocean_loading.csv: ocean-loading displacements by numpy, scipy's splines and the calendar of datetime.

TT-UTC comes from the leap seconds, the end slopes of the splines from fitted parabolas, and the sum over the lines is formed directly.
Needs numpy and scipy. usage: ocean_loading.py [SHARED_DIRECTORY]   (default: ../shared beside the checkout)

Rows: 66 table values (6 rows of 11), year, day of the year, hour, minute, second, then radial, south, west [m].
"""
import csv
import datetime
import pathlib
import sys

import numpy as np
from scipy.interpolate import CubicSpline

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SHARED = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT.parent / "shared"

DELAUNAY = [  # [degree], powers of centuries from J2000.0
    [134.9634025100, 477198.8675605000, 0.0088553333, 0.0000143431, -0.0000000680],
    [357.5291091806, 35999.0502911389, -0.0001536667, 0.0000000378, -0.0000000032],
    [93.2720906200, 483202.0174577222, -0.0035420000, -0.0000002881, 0.0000000012],
    [297.8501954694, 445267.1114469445, -0.0017696111, 0.0000018314, -0.0000000088],
    [125.0445550100, -1934.1362619722, 0.0020756111, 0.0000021394, -0.0000000165],
]
RATES = np.array([[0.0362916471, 1.3e-9], [0.0027377786, 0], [0.0367481951, -5e-10], [0.0338631920, -3e-10],
                  [-0.0001470938, 3e-10]])  # [cycles/day]
# tau, s, h, p, N', ps from l, l', F, D, Om
DOODSON = np.array([[0, 0, 0, -1, 0], [0, 0, 1, 0, 1], [0, 0, 1, -1, 1], [-1, 0, 1, 0, 1], [0, 0, 0, 0, -1],
                    [0, -1, 1, -1, 1]])
LEAPS = {1995: 29, 2009: 34, 2021: 37, 2030: 37}  # TAI-UTC on the days used

ONSALA = [
    [.00352, .00123, .00080, .00032, .00187, .00112, .00063, .00003, .00082, .00044, .00037],
    [.00144, .00035, .00035, .00008, .00053, .00049, .00018, .00009, .00012, .00005, .00006],
    [.00086, .00023, .00023, .00006, .00029, .00028, .00010, .00007, .00004, .00002, .00001],
    [-64.7, -52.0, -96.2, -55.2, -58.8, -151.4, -65.6, -138.1, 8.4, 5.2, 2.1],
    [85.5, 114.5, 56.5, 113.6, 99.4, 19.1, 94.1, -10.4, -167.4, -170.0, -177.7],
    [109.5, 147.0, 92.7, 148.8, 50.5, -55.1, 36.4, -170.4, -15.0, 2.3, 5.2],
]
INVENTED = [  # phases that turn through half a cycle between neighbours, and a vanishing constituent
    [.0421, .0133, .0089, .0037, .0112, .0071, .0036, .0015, .0011, .0007, .0006],
    [.0102, .0044, .0, .0012, .0021, .0014, .0007, .0003, .0002, .0001, .0001],
    [.0077, .0021, .0013, .0006, .0031, .0022, .0010, .0005, .0003, .0002, .0001],
    [-64.3, 179.0, -96.2, 15.2, -58.8, 151.4, -65.6, -138.1, 8.4, 95.2, 172.1],
    [85.5, -114.5, 56.5, 113.6, -99.4, 19.1, 94.1, -10.4, 167.4, -170.0, -77.7],
    [309.5, 147.0, 92.7, 248.8, 50.5, -55.1, 36.4, 170.4, -15.0, 2.3, 359.2],
]


def table(name):
    with open(SHARED / "reference" / "tables" / (name + ".csv"), newline="") as file:
        return [row for row in csv.reader(file)][1:]


LINES = np.array([[float(v) for v in row] for row in table("hardisp_lines")])
COLUMNS = np.array([[int(v) for v in row[1:]] for row in table("hardisp_constituents")])


def end_slope(x, y):
    return np.polynomial.Polynomial.fit(x, y, 2).deriv()(x[0])


def admittance(frequency, value):
    if len(frequency) <= 3:
        return lambda f: np.interp(f, frequency, value)
    slopes = end_slope(frequency[:3], value[:3]), end_slope(frequency[-1:-4:-1], value[-1:-4:-1])
    curve = CubicSpline(frequency, value, bc_type=((1, slopes[0]), (1, slopes[1])))
    return lambda f: curve(np.clip(f, frequency[0], frequency[-1]))


def displacement(loading, time):
    utc_days = (time - datetime.datetime(2000, 1, 1, 12)) / datetime.timedelta(days=1)
    t = (utc_days + (LEAPS[time.year] + 32.184) / 86400) / 36525
    angles = DOODSON @ np.array([np.polynomial.polynomial.polyval(t, c) for c in DELAUNAY])
    angles[0] += 360 * ((utc_days + 0.5) % 1)
    rates = DOODSON @ (RATES @ [1, t])
    rates[0] += 1
    frequency = LINES[:, :6] @ rates
    phase = np.radians(LINES[:, :6] @ angles + np.choose(LINES[:, 0].astype(int), [180, 90, 0]))
    out = []
    for component in (0, 2, 1):
        amplitude, lag = np.array(loading[component]), np.radians(loading[component + 3])
        total = 0.0
        for species in (0, 1, 2):
            own = COLUMNS[:, 0] == species
            heights = [LINES[(LINES[:, :6] == c).all(axis=1), 6][0] for c in COLUMNS[own]]
            x = COLUMNS[own] @ rates
            z = amplitude[own] / np.abs(heights) * np.exp(-1j * lag[own])
            order = np.argsort(x)
            lines = LINES[:, 0] == species
            real = admittance(x[order], z.real[order])(frequency[lines])
            imag = admittance(x[order], z.imag[order])(frequency[lines])
            total += np.sum(LINES[lines, 6] * ((real + 1j * imag) * np.exp(1j * phase[lines])).real)
        out.append(total)
    return out


def main():
    hour = datetime.timedelta(hours=1)
    start = datetime.datetime(2009, 6, 25, 1, 10, 45)
    cases = [(ONSALA, start + k * hour) for k in range(24)]
    cases += [(INVENTED, datetime.datetime(y, m, d, 23, 59, 30)) for y, m, d in
              ((1995, 3, 1), (2021, 1, 18), (2021, 12, 31), (2030, 8, 9))]
    with open(ROOT / "tests" / "oracles" / "ocean_loading.csv", "w", newline="") as file:
        file.write("# generated by ocean_loading.py\n")
        for loading, time in cases:
            row = [f"{v:g}" for line in loading for v in line]
            row += [str(v) for v in (time.year, time.timetuple().tm_yday, time.hour, time.minute, time.second)]
            row += [f"{v:.12f}" for v in displacement(loading, time)]
            file.write(",".join(row) + "\n")


main()
