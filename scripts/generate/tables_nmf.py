#!/usr/bin/env python3
"""Writes src/tables/nmf.inc, the coefficients of the Niell mapping functions, from a comma-separated table.

usage: tables_nmf.py [SHARED_DIRECTORY]   (default: ../shared beside the checkout)
"""
import csv
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
NAMES = ("average hydrostatic", "amplitude hydrostatic", "wet")


def main():
    shared = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT.parent / "shared"
    with open(shared / "reference" / "tables" / "nmf.csv", newline="") as table:
        rows = list(csv.reader(table))[1:]
    if len(rows) != 9 or any(len(row) != 6 for row in rows):
        sys.exit("nmf.csv: expected 9 rows of a name and 5 values")
    lines = [
        "// Niell mapping functions. Source: A. E. Niell, Global mapping functions for the atmosphere delay at radio",
        "// wavelengths, J. Geophys. Res. 101(B2), 1996, tables 3 and 4. 9 rows: a, b, c of each group.",
        "// Columns: latitude 15, 30, 45, 60, 75 degrees. Written by scripts/generate/tables_nmf.py.",
    ]
    for i, row in enumerate(rows):
        lines.append("{%s},  // %s %s" % (", ".join(v.strip() for v in row[1:]), NAMES[i // 3], "abc"[i % 3]))
    (ROOT / "src" / "tables" / "nmf.inc").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
