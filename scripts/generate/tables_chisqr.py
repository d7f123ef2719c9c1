#!/usr/bin/env python3
"""Writes src/tables/chisqr.inc from the table of chi-square quantiles.

usage: tables_chisqr.py [shared directory]   (default: ../shared beside the checkout)
"""

import csv
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SHARED = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT.parent / "shared"
PER_LINE = 10


def main():
    with open(SHARED / "reference" / "tables" / "chisqr_999.csv", newline="") as table:
        rows = list(csv.DictReader(table))
    assert [int(row["dof"]) for row in rows] == list(range(1, 101))
    lines = [
        "// 0.999 quantiles of the chi-square distribution for 1 to 100 degrees of freedom, three significant digits.",
        "// Source: computed from the distribution function. Rows: 100, ten to a line.",
    ]
    for start in range(0, len(rows), PER_LINE):
        block = rows[start : start + PER_LINE]
        lines.append(", ".join(row["quantile"] for row in block) + f",  // {start + 1} to {start + len(block)}")
    (ROOT / "src" / "tables" / "chisqr.inc").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
