#!/usr/bin/env python3
"""Writes the built-in record of the eph_planet module into src/tables/eph_record_2459216.inc.

Usage: tables_planet.py [shared directory, default ../shared beside the checkout]

The source holds the 1018 numbers of one record in the JPL Development Ephemeris layout, one a line. For another
mission period give a record of that period in the same form.
"""
import pathlib
import sys

COEFFICIENTS = 1018
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SHARED = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT.parent / "shared"


def main():
    values = [float(word) for word in (SHARED / "data" / "jpl" / "builtin_record_2459216.txt").read_text().split()]
    if len(values) != COEFFICIENTS:
        sys.exit(f"expected {COEFFICIENTS} numbers, found {len(values)}")
    text = [
        "// One record of a planetary ephemeris in the layout of the JPL Development Ephemerides: JPL DE440 adjusted to DE438.",
        f"// Julian dates {values[0]!r} to {values[1]!r} (2021-01-02 to 2021-02-03); start, end, then the series.",
        "// km and day; nutations and librations in rad.",
        f"// Rows: {COEFFICIENTS} numbers, four a line",
    ]
    for i in range(0, COEFFICIENTS, 4):
        text.append(" ".join(f"{value!r}," for value in values[i : i + 4]))
    target = ROOT / "src" / "tables" / "eph_record_2459216.inc"
    target.parent.mkdir(parents=True, exist_ok=True)
    target.write_text("\n".join(text) + "\n")


if __name__ == "__main__":
    main()
