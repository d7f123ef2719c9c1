#!/usr/bin/env python3
"""Writes tests/oracles/dynamics.csv: accelerations and partials at 50 digits, by other formulas than the library's.

Fields are differentiated numerically from their potential; the planets come from the published Chebyshev record.
Needs mpmath. usage: dynamics.py [SHARED_DIRECTORY]   (default: ../shared beside the checkout)

Rows: kind, inputs, expected values; the C++ test knows the widths.
"""
import csv
import math
import pathlib
import sys

import mpmath as mp

mp.mp.dps = 50
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SHARED = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT.parent / "shared"
LEAP = 37.0
GM_EARTH = mp.mpf("3.986004415e14")
C_LIGHT = mp.mpf(299792458)
ARCSEC = mp.pi / 648000

STATES = [  # position [m], velocity [m/s]
    ([4123456.5, -4987654.25, 2345678.125], [3210.5, 5432.125, 4012.25]),
    ([-812345.5, 1456789.75, 6698123.5], [-6789.25, -3333.5, -98.75]),
    ([26560000.0, 1200000.5, -5400000.25], [-650.5, 2400.25, 3010.125]),
]
SUN = [66789012345.5, -120123456789.0, -52123456789.25]
SUN_VEL = [26123.5, 12345.25, 5351.125]
MOON = [-234567890.5, 287654321.25, 101234567.75]
MJD = 59232.34375


def vec(values):
    return mp.matrix([mp.mpf(v) for v in values])


def dot(a, b):
    return sum(a[i] * b[i] for i in range(3))


def cross(a, b):
    return mp.matrix([a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]])


def length(a):
    return mp.sqrt(dot(a, a))


def unit(a):
    return a / length(a)


def gradient(function, r, h=mp.mpf(10) ** -12):
    """Central differences; the error is of the order of 1e-36 of the value at orbit radius."""
    out = []
    for k in range(3):
        step = mp.matrix(3, 1)
        step[k] = h
        out.append((function(r + step) - function(r - step)) / (2 * h))
    return out


# --- planets ---------------------------------------------------------------------------------------------------------

def record():
    text = (SHARED / "data" / "jpl" / "builtin_record_2459216.txt").read_text().split()
    return [mp.mpf(float(v)) for v in text]


LAYOUT = {"EMB": (231, 13, 2), "JUPITER": (342, 8, 1), "MOON": (441, 13, 8), "SUN": (753, 11, 2)}
GM_KM = {"SUN": "132712440041.9394", "MOON": "4902.800066", "JUPITER": "126712764.8"}


def series(coef, body, jd):
    start, count, parts = LAYOUT[body]
    span = (coef[1] - coef[0]) / parts
    part = int(mp.floor((jd - coef[0]) / span))
    t = 2 * (jd - coef[0] - part * span) / span - 1
    first = start - 1 + part * 3 * count
    return mp.matrix([
        sum(coef[first + axis * count + k] * mp.cos(k * mp.acos(t)) for k in range(count)) for axis in range(3)])


def geocentric(coef, body, jd):
    moon = series(coef, "MOON", jd)
    if body == "MOON":
        return moon * 1000
    earth = series(coef, "EMB", jd) - moon / (1 + mp.mpf("81.30056833816509"))
    return (series(coef, body, jd) - earth) * 1000


def third_body_rows():
    coef = record()
    jd = mp.mpf((LEAP + 32.184) / 86400 + MJD + 2400000.5)  # the same rounding as any double evaluation
    bodies = [(mp.mpf(GM_KM[b]) * 10 ** 9, geocentric(coef, b, jd)) for b in ("SUN", "MOON", "JUPITER")]

    def acceleration(r):
        total = mp.matrix(3, 1)
        for gm, s in bodies:
            total += gm * ((s - r) / length(s - r) ** 3 - s / length(s) ** 3)
        return total

    for pos, _ in STATES:
        r = vec(pos)
        partial = [gradient(lambda x, i=i: acceleration(x)[i], r) for i in range(3)]
        yield ["thirdbody", MJD] + pos + list(acceleration(r)) + [v for row in partial for v in row]


# --- relativity ------------------------------------------------------------------------------------------------------

def relativity_rows():
    gm_sun = mp.mpf("1.327124400419394e20")
    J = vec([0, 0, 980000000.0000001])
    for pos, vel in STATES:
        r, v, R, V = vec(pos), vec(vel), -vec(SUN), -vec(SUN_VEL)
        n = length(r)
        a = GM_EARTH / (C_LIGHT ** 2 * n ** 3) * ((4 * GM_EARTH / n - dot(v, v)) * r + 4 * dot(r, v) * v)
        a += 2 * GM_EARTH / (C_LIGHT ** 2 * n ** 3) * (3 / n ** 2 * cross(r, v) * dot(r, J) + cross(v, J))
        a += 3 * cross(cross(V, -gm_sun * R / (C_LIGHT ** 2 * length(R) ** 3)), v)
        yield ["relativity"] + pos + vel + SUN + SUN_VEL + list(a)


# --- empirical accelerations -----------------------------------------------------------------------------------------

KINDS = ["A0", "C0", "R0", "AC", "AS", "CC", "CS", "RC", "RS", "D0"]


def empirical_rows():
    start = 59232.125
    for pos, vel in STATES:
        r, v = vec(pos), vec(vel)
        normal = unit(cross(r, v))
        axes = {"R": -unit(r), "C": normal, "A": -cross(normal, unit(r)), "D": mp.matrix(3, 1)}
        a = 1 / (2 / length(r) - dot(v, v) / GM_EARTH)
        phase = mp.sqrt(GM_EARTH / a ** 3) * (mp.mpf(MJD) - start) * 86400
        factor = {"0": mp.mpf(1), "C": mp.cos(phase), "S": mp.sin(phase)}
        partials = [axes[k[0]] * factor[k[1]] * mp.mpf(1e-9) for k in KINDS]
        values = [1.5 - 0.75 * k for k in range(len(KINDS))]
        total = sum((values[k] * partials[k] for k in range(len(KINDS))), mp.matrix(3, 1))
        flat = [partials[k][i] for i in range(3) for k in range(len(KINDS))]
        yield ["empirical", MJD, start] + pos + vel + values + list(total) + flat


def ecom_rows():
    for pos, vel in STATES:
        r, v, sun = vec(pos), vec(vel), vec(SUN)
        normal = unit(cross(r, v))
        d = unit(sun - r)
        y = unit(cross(d, -unit(r)))
        b = unit(cross(d, y))
        beta = math.asin(float(dot(d, normal)))
        in_plane = unit(unit(sun) - normal * mp.sin(beta))
        node = unit(cross(vec([0, 0, 1]), normal))
        # Angles from the node about the normal, each by its sine alone.
        arms = [cross(node, x) for x in (unit(r), in_plane)]
        angle = [mp.sign(dot(arm, normal)) * mp.asin(length(arm)) for arm in arms]
        du = angle[0] - angle[1]
        columns = {
            0: [d, y, b, b * mp.cos(du), b * mp.sin(du)],
            1: [d, d * mp.cos(2 * du), d * mp.sin(2 * du), y, b, b * mp.cos(du), b * mp.sin(du)],
        }
        for mode in (0, 1):
            values = [2.5 - 0.875 * k for k in range(7)]
            n = len(columns[mode])
            total = sum((values[k] * columns[mode][k] for k in range(n)), mp.matrix(3, 1)) * mp.mpf(1e-9)
            partials = [columns[mode][k][i] * mp.mpf(1e-9) if k < n else mp.mpf(0) for i in range(3) for k in range(7)]
            yield ["ecom", mode, beta] + pos + vel + SUN + values + list(total) + partials


# --- Earth's field with its variable part ----------------------------------------------------------------------------

DEGREE = 8  # the library is asked for one more, whose row it leaves out of the acceleration


def static_field():
    cs = {(0, 0): [mp.mpf(1), mp.mpf(0)]}
    for line in (SHARED / "data" / "gravity" / "EGM2008.txt").read_text().splitlines():
        f = line.split()
        if len(f) >= 4 and f[0].isdigit() and int(f[0]) <= DEGREE:
            cs[int(f[0]), int(f[1])] = [mp.mpf(f[2].replace("D", "E")), mp.mpf(f[3].replace("D", "E"))]
    return cs


def legendre(n, m, u):
    """Normalised, from the derivative of Rodrigues' polynomial."""
    poly = [mp.mpf(0)] * (2 * n + 1)
    for k in range(n + 1):
        poly[2 * k] = mp.binomial(n, k) * (-1) ** (n - k)
    for _ in range(n + m):
        poly = [k * poly[k] for k in range(1, len(poly))] or [mp.mpf(0)]
    value = sum(c * u ** k for k, c in enumerate(poly)) / (2 ** n * mp.factorial(n)) * (1 - u * u) ** (mp.mpf(m) / 2)
    scale = (1 if m == 0 else 2) * (2 * n + 1) * mp.factorial(n - m) / mp.factorial(n + m)
    return mp.sqrt(scale) * value


def potential(cs, r):
    n0 = length(r)
    u, lon = r[2] / n0, mp.atan2(r[1], r[0])
    radius = mp.mpf("6378136.3")
    total = mp.mpf(0)
    for (n, m), (c, s) in cs.items():
        total += (radius / n0) ** n * legendre(n, m, u) * (c * mp.cos(m * lon) + s * mp.sin(m * lon))
    return GM_EARTH / n0 * total


def mean_pole(mjd):
    t = (mp.mpf(mjd) - mp.mpf("51544.5")) / mp.mpf("365.25")
    return (mp.mpf("23.513") + mp.mpf("7.6141") * t) / 1000, (mp.mpf("358.891") - mp.mpf("0.6287") * t) / 1000


def delaunay(t):
    rows = [  # l, l', F, D, Om of the IERS Conventions (2003): degrees, arcseconds by powers of t
        ("134.96340251", ["1717915923.2178", "31.8792", "0.051635", "-0.00024470"]),
        ("357.52910918", ["129596581.0481", "-0.5532", "0.000136", "-0.00001149"]),
        ("93.27209062", ["1739527262.8478", "-12.7512", "-0.001037", "0.00000417"]),
        ("297.85019547", ["1602961601.2090", "-6.3706", "0.006593", "-0.00003169"]),
        ("125.04455501", ["-6962890.5431", "7.4722", "0.007702", "-0.00005939"]),
    ]
    return [mp.mpf(a) * mp.pi / 180 + sum(mp.mpf(p) * t ** (k + 1) for k, p in enumerate(b)) * ARCSEC for a, b in rows]


def tide_angle(row, mjd_utc, jd_tt):
    """The argument by Delaunay multipliers, theta = m (sidereal time + pi) - N.F, where the library sums Doodson arguments."""
    day = mp.mpf(mjd_utc) - mp.mpf("51544.5")
    era = 2 * mp.pi * (mp.mpf("0.7790572732640") + mp.mpf("1.00273781191135448") * day)
    t = mp.mpf(jd_tt) / 36525  # settled in the library: the whole Julian date enters the precession in right ascension
    precession = sum(mp.mpf(p) * t ** k for k, p in enumerate(
        ["0.014506", "4612.15739966", "1.39667721", "-0.00009344", "0.00001882"])) * ARCSEC
    arguments = delaunay((mp.mpf(jd_tt) - 2451545) / 36525)
    return int(row["tau"]) * (era + precession + mp.pi) - sum(
        int(row[k]) * a for k, a in zip(("l", "lp", "f", "d", "om"), arguments))


def tide_table(name):
    with open(SHARED / "reference" / "tables" / name, newline="") as table:
        return list(csv.DictReader(table))


def field_rows():
    mjd_tt = MJD + (LEAP + 32.184) / 86400
    jd_tt = mjd_tt + 2400000.5
    for pos, _ in STATES:
        cs = static_field()
        c20, c22, s22 = cs[2, 0][0], cs[2, 2][0], cs[2, 2][1]
        # drift and mean pole, IERS Conventions (2010), 6.1
        t = (mp.mpf(mjd_tt) - mp.mpf("51544.5")) / mp.mpf("365.25")
        for (n, rate) in ((2, "1.16e-11"), (3, "4.9e-12"), (4, "4.7e-12")):
            cs[n, 0][0] += mp.mpf(rate) * t
        xp, yp = (v * ARCSEC for v in mean_pole(mjd_tt))
        cs[2, 1] = [mp.sqrt(3) * xp * c20 - xp * c22 + yp * s22, -mp.sqrt(3) * yp * c20 - yp * c22 - xp * s22]
        # pole tide of solid Earth and ocean with the pole itself at zero
        xm, ym = mean_pole(MJD)
        m1, m2 = -xm, ym
        cs[2, 1][0] += mp.mpf("-1.333e-9") * (m1 + mp.mpf("0.0115") * m2) - mp.mpf("2.1778e-10") * (m1 - mp.mpf("0.01724") * m2)
        cs[2, 1][1] += mp.mpf("-1.333e-9") * (m2 - mp.mpf("0.0115") * m1) - mp.mpf("1.7232e-10") * (m2 - mp.mpf("0.03365") * m1)
        # solid tide, step 1
        love = {(2, 0): "0.29525", (2, 1): "0.2947", (2, 2): "0.29801", (3, 0): "0.093", (3, 1): "0.093", (3, 2): "0.093",
                (3, 3): "0.094"}
        plus = {0: "-0.00087", 1: "-0.00079", 2: "-0.00057"}
        for body, gm in ((SUN, "1.327124400419394e20"), (MOON, "4902789000000.0")):
            b = vec(body)
            n0 = length(b)
            lon = mp.atan2(b[1], b[0])
            for (n, m), k in love.items():
                f = mp.mpf(gm) / GM_EARTH * (mp.mpf(6378137) / n0) ** (n + 1) * legendre(n, m, b[2] / n0) / (2 * n + 1)
                cs[n, m][0] += mp.mpf(k) * f * mp.cos(m * lon)
                cs[n, m][1] += mp.mpf(k) * f * mp.sin(m * lon)
                if n == 2:
                    cs[4, m][0] += mp.mpf(plus[m]) * f * mp.cos(m * lon)
                    cs[4, m][1] += mp.mpf(plus[m]) * f * mp.sin(m * lon)
        # step 2
        for m, name in ((0, "gravity_tide_6_5b_c20.csv"), (1, "gravity_tide_6_5a_c21.csv"), (2, "gravity_tide_6_5c_c22.csv")):
            for row in tide_table(name):
                theta = tide_angle(row, MJD, jd_tt)
                a, c = mp.mpf(row["amp_ip"]) * mp.mpf("1e-12"), mp.mpf(row["amp_op"]) * mp.mpf("1e-12")
                if m == 1:
                    cs[2, 1][0] += a * mp.sin(theta) + c * mp.cos(theta)
                    cs[2, 1][1] += a * mp.cos(theta) - c * mp.sin(theta)
                else:
                    cs[2, m][0] += a * mp.cos(theta) - c * mp.sin(theta)
                    cs[2, m][1] -= a * mp.sin(theta) if m == 2 else 0
        acceleration = gradient(lambda x: potential(cs, x), vec(pos))
        still = gradient(lambda x: potential(static_field_cached, x), vec(pos))
        variable = length(vec(acceleration) - vec(still))
        yield ["field", MJD, LEAP] + pos + SUN + MOON + list(acceleration) + [variable]


static_field_cached = static_field()


def main():
    rows = []
    for make in (third_body_rows, relativity_rows, empirical_rows, ecom_rows, field_rows):
        rows += make()
    with open(ROOT / "tests" / "oracles" / "dynamics.csv", "w", newline="") as out:
        out.write("# written by dynamics.py: kind, inputs, expected values\n")
        for row in rows:
            out.write(",".join([row[0]] + [repr(float(v)) for v in row[1:]]) + "\n")


if __name__ == "__main__":
    main()
