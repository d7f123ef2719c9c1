#!/usr/bin/env python3
"""Writes src/tables/rkf78.inc and src/tables/harris_priester.inc from comma-separated tables.

usage: tables_dynamics.py [SHARED_DIRECTORY]   (default: ../shared beside the checkout)

src/tables/orbit_positions_2019016.inc is made by scripts/generate/orbit_positions.cpp.
"""
import csv
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def read_rows(shared, name, count, width):
    with open(shared / "reference" / "tables" / name, newline="") as table:
        rows = [[value.strip() for value in row] for row in csv.reader(table)][1:]
    if len(rows) != count or any(len(row) != width for row in rows):
        sys.exit("%s: expected %d rows of %d values" % (name, count, width))
    return rows


def quotient(fraction):
    """A fraction as a quotient of two doubles, so that the compiler rounds it once."""
    numerator, _, denominator = fraction.partition("/")
    return numerator + ".0" + (" / %s.0" % denominator if denominator else "")


def write(name, head, lines):
    text = head + lines
    (ROOT / "src" / "tables" / name).write_text("\n".join(text) + "\n")


def main():
    shared = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT.parent / "shared"
    lines = []
    for row in read_rows(shared, "rkf78.csv", 13, 14):
        lines.append("{%s, {%s}}," % (quotient(row[1]), ", ".join(quotient(value) for value in row[2:])))
    write("rkf78.inc", [
        "// Runge-Kutta-Fehlberg 7(8). Source: E. Fehlberg, NASA TR R-287, 1968. 13 rows, one a stage.",
        "// Columns: node, coefficients of the stages before it. Written by scripts/generate/tables_dynamics.py.",
    ], lines)
    lines = ["{%s, %s, %s}," % tuple(row) for row in read_rows(shared, "harris_priester.csv", 50, 3)]
    write("harris_priester.inc", [
        "// Harris-Priester atmosphere, mean solar activity. Source: O. Montenbruck, E. Gill, Satellite Orbits, 2000, table 3.8.",
        "// 50 rows. Columns: height [km], minimum and maximum density [g/km^3]. Written by scripts/generate/tables_dynamics.py.",
    ], lines)


if __name__ == "__main__":
    main()
