#!/usr/bin/env python3
"""One table of a campaign's arcs: RESULTS/summary.csv and RESULTS/summary.md.

usage: summary.py RESULTS SATELLITE/DAY...

sigma_rms_m is the rms of the unit-weight standard deviation of the point positions, error_rms_m the 3D rms error of the filter
after its first 20 epochs, where the arc has a reference."""
import csv
import json
import math
import os
import sys

COLUMNS = ["satellite", "day", "epochs", "solved", "sigma_rms_m", "error_rms_m", "status"]


def read_summary(file):
    """The summary of the command; empty where it left none."""
    try:
        with open(file) as stream:
            return json.load(stream)
    except (OSError, ValueError):
        return {}


def sigma_rms(file):
    with open(file, newline="") as rows:
        sigmas = [float(row["sigma_m"]) for row in csv.DictReader(rows) if row["sigma_m"]]
    return f"{math.sqrt(sum(s * s for s in sigmas) / len(sigmas)):.4f}" if sigmas else ""


def summarise(results, arc):
    satellite, day = arc.split("/")
    row = dict.fromkeys(COLUMNS, "")
    row.update(satellite=satellite, day=day, status="not finished")
    directory = os.path.join(results, arc)
    try:
        with open(os.path.join(directory, "status")) as file:
            status = int(file.read())
        with open(os.path.join(directory, "leopod.log"), errors="replace") as file:
            log = file.read()
    except (OSError, ValueError):
        return row
    summary = read_summary(os.path.join(directory, "summary.json"))
    row["epochs"] = str(summary.get("epochs", {}).get("count", ""))
    row["solved"] = str(summary.get("epochs", {}).get("solved", ""))
    rms = summary.get("errors", {}).get("filter_after_20_epochs", {}).get("rms_m")
    row["error_rms_m"] = f"{rms:.3f}" if rms is not None else ""
    if status == 0:
        row["status"] = "ok"
        row["sigma_rms_m"] = sigma_rms(os.path.join(directory, "epochs.csv"))
    else:
        reason = "no epoch solved" if status == 1 and row["solved"] == "0" else (log.split("\n")[-2:] + [""])[0]
        row["status"] = f"failed ({status}): {reason}"
    return row


def main():
    results, arcs = sys.argv[1], sys.argv[2:]
    rows = [summarise(results, arc) for arc in arcs]
    os.makedirs(results, exist_ok=True)
    with open(os.path.join(results, "summary.csv"), "w", newline="") as file:
        table = csv.DictWriter(file, COLUMNS, lineterminator="\n")
        table.writeheader()
        table.writerows(rows)
    lines = [COLUMNS, ["---"] * len(COLUMNS)] + [[row[column].replace("|", "\\|") for column in COLUMNS] for row in rows]
    good = sum(row["status"] == "ok" for row in rows)
    with open(os.path.join(results, "summary.md"), "w") as file:
        file.writelines("| " + " | ".join(line) + " |\n" for line in lines)
        file.write(f"\n{good} of {len(rows)} arcs are good.\n")
    print(f"campaign: {good} of {len(rows)} arcs are good, table in {results}/summary.md")


main()
