#!/usr/bin/env python3
"""From a receiver's file and GPS orbits to a fitted orbit, an OEM file, a page to look at and a picture.

usage: orbit.py OBSERVATIONS ORBITS ORIENTATION GRAVITY DYNAMICS FOLDER     (files as archives deliver them)
"""
import pathlib
import sys

import leopod

obs, sp3, eop, gravity, dynamics, folder = sys.argv[1:7]
out = pathlib.Path(folder)
out.mkdir(parents=True, exist_ok=True)
frame = {"eop": eop, "eop_format": "rapid"}
run = leopod.run(obs=obs, sp3=sp3, sigma_phase=0.02, out=out / "epochs.csv", satellites_out=out / "satellites.csv",
                 summary=out / "run.json", **frame)
fit = leopod.fit(positions=run, dynamics=dynamics, gravity=gravity, interval=60, out=out / "orbit.csv",
                 residuals=out / "residuals.csv", oem_out=out / "orbit.oem", summary=out / "fit.json", **frame)
print(f"{(run.state == 'OK').sum()} of {len(run.state)} epochs, fitted from {fit.time[0]} to {fit.time[-1]} GPST")
leopod.report(out / "report.html", run, fitted=fit)
fit.plot().figure.savefig(out / "residuals.png")
