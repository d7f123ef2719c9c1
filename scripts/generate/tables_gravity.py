#!/usr/bin/env python3
"""Writes the number tables of the earth_gravity module into src/tables/.

Usage: tables_gravity.py [shared directory, default ../shared beside the checkout]

- gravity_egm2008_{n,c,s}.inc: normalisation factors and unnormalised EGM2008 coefficients to degree and order 30,
  from the ICGEM-format coefficient list (degree, order, Cbar, Sbar, sigmas), with C = N * Cbar in double precision.
- gravity_tide_6_5{a,b,c}.inc: frequency-dependent corrections of the IERS Conventions (2010).
"""
import csv
import math
import pathlib
import sys

DEGREE = 30
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SHARED = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT.parent / "shared"
TABLES = ROOT / "src" / "tables"


def k(n, m):
    """Triangular index of degree n, order m."""
    return n * (n + 1) // 2 + m


SIZE = k(DEGREE, DEGREE) + 1


def normal_factors():
    """Factors from normalised to unnormalised coefficients, by recurrence in double precision."""
    factor = [0.0] * SIZE
    factor[0] = 1.0
    for n in range(1, DEGREE + 1):
        factor[k(n, 0)] = factor[k(n - 1, 0)] * math.sqrt((2 * n + 1) / (2 * n - 1))
    for m in range(1, DEGREE + 1):
        factor[k(m, m)] = factor[k(m - 1, m - 1)] * math.sqrt((2 * m + 1) / (2 * m - 1) / (2 * m - 1) / (2 * m))
        for n in range(m + 1, DEGREE + 1):
            factor[k(n, m)] = factor[k(n - 1, m)] * math.sqrt((2 * n + 1) * (n - m) / (2 * n - 1) / (n + m))
    for m in range(1, DEGREE + 1):
        for n in range(m, DEGREE + 1):
            factor[k(n, m)] *= 1.4142135623730951
    return factor


def coefficients(path):
    """Fully normalised coefficients up to DEGREE; degree 0 is 1, degree 1 is 0 (origin in the geocentre)."""
    cosine = [0.0] * SIZE
    sine = [0.0] * SIZE
    cosine[0] = 1.0
    for line in path.read_text().splitlines():
        n, m, c, s = line.split()[:4]
        if int(n) <= DEGREE:
            cosine[k(int(n), int(m))] = float(c)
            sine[k(int(n), int(m))] = float(s)
    return cosine, sine


def write_values(name, title, values):
    text = [f"// {title}", "// Degree and order 30, entry n(n+1)/2 + m; one line a degree.", f"// Rows: {len(values)}"]
    for n in range(DEGREE + 1):
        text.append(" ".join(f"{values[k(n, m)]!r}," for m in range(n + 1)))
    (TABLES / name).write_text("\n".join(text) + "\n")


def write_tide(name, source, title):
    with (SHARED / "reference" / "tables" / source).open(newline="") as file:
        rows = list(csv.reader(file))[1:]
    text = [
        f"// {title}",
        "// IERS Conventions (2010), IERS Technical Note 36, chapter 6.",
        "// in-phase, out-of-phase [1e-12]; multipliers of l, l', F, D, Om; multipliers of tau, s, h, p, N', ps",
        f"// Rows: {len(rows)}",
    ]
    text += ["{" + ", ".join(row) + "}," for row in rows]
    (TABLES / name).write_text("\n".join(text) + "\n")


def main():
    TABLES.mkdir(parents=True, exist_ok=True)
    factor = normal_factors()
    cosine, sine = coefficients(SHARED / "data" / "gravity" / "EGM2008.txt")
    model = "EGM2008 (Pavlis, Holmes, Kenyon, Factor 2008), tide-free"
    write_values("gravity_egm2008_n.inc", "Normalisation factors: unnormalised = factor * fully normalised.", factor)
    write_values("gravity_egm2008_c.inc", f"Unnormalised cosine coefficients of {model}.",
                 [f * c for f, c in zip(factor, cosine)])
    write_values("gravity_egm2008_s.inc", f"Unnormalised sine coefficients of {model}.",
                 [f * s for f, s in zip(factor, sine)])
    write_tide("gravity_tide_6_5a.inc", "gravity_tide_6_5a_c21.csv", "Table 6.5a: corrections of C21 and S21, diurnal.")
    write_tide("gravity_tide_6_5b.inc", "gravity_tide_6_5b_c20.csv", "Table 6.5b: corrections of C20, long period.")
    write_tide("gravity_tide_6_5c.inc", "gravity_tide_6_5c_c22.csv", "Table 6.5c: corrections of C22 and S22, semidiurnal.")


if __name__ == "__main__":
    main()
