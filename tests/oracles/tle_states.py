#!/usr/bin/env python3
"""Prints the states of a file of element sets as another implementation of SGP4 gives them: the revised one, with the
constants of WGS-72. Needs Debian's python3-sgp4.

usage: tle_states.py FILE MINUTES... > states.csv      (tests/oracles/tle_states.csv: tests/data/tle.tle, -720 0 720 2880)

Rows: line 1, line 2, minutes since the epoch, state in TEME (km, km/s), and what the revised code does there that the
model of 1980 doesn't:
  same     nothing
  deep     period of 225 minutes or more: deep-space terms
  round    eccentricity below 1e-4: terms that divide by it are left out
  zero     eccentricity of 0: set to 1e-6
  raised   drag has taken the mean eccentricity below 1e-6: set to 1e-6
  runaway  nothing, but drag has moved the semi-major axis by more than a tenth: rounding errors show
  decayed  an error code instead of a state
"""
import sys

from sgp4.api import WGS72, Satrec


def kind(sat, error):
    if sat.method == "d":
        return "deep"
    if error != 0:
        return "decayed"
    if sat.em <= 1e-6:
        return "raised" if sat.ecco > 1e-6 else "zero"
    if sat.ecco < 1e-4:
        return "round"
    return "runaway" if abs(sat.am / sat.a - 1.0) > 0.1 else "same"


def main():
    with open(sys.argv[1], encoding="ascii") as file:
        lines = [line.split("#")[0].rstrip()[:69] for line in file]
    for first, second in zip(lines, lines[1:]):
        if not (first.startswith("1 ") and second.startswith("2 ")):
            continue
        sat = Satrec.twoline2rv(first, second, WGS72)
        for minutes in sys.argv[2:]:
            error, position, velocity = sat.sgp4_tsince(float(minutes))
            state = ",".join("%.9f" % x for x in (*position, *velocity))
            print(f"{first},{second},{minutes},{state},{kind(sat, error)}")


main()
