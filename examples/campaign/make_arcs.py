#!/usr/bin/env python3
"""Cuts the demo hour into the six small arcs of config.yaml, so that the campaign can be tried: data/L01_2021018a.obs and so on.

L01 is the demo's satellite in three pieces of 20 minutes; L02 has lost every fifth epoch, and its last file is no RINEX file."""
import os

HERE = os.path.dirname(os.path.abspath(__file__))
with open(os.path.join(HERE, "..", "data", "demo_bds.obs")) as file:
    header, body = file.read().split("END OF HEADER       \n")
epochs = [">" + text for text in body.split(">")[1:]]
os.makedirs("data", exist_ok=True)
for satellite, keep in (("L01", lambda i: True), ("L02", lambda i: i % 5 != 4)):
    for piece, day in enumerate(("2021018a", "2021018b", "2021018c")):
        kept = [epoch for i, epoch in enumerate(epochs) if keep(i) and i // 40 == piece]
        broken = (satellite, day) == ("L02", "2021018c")
        with open(f"data/{satellite}_{day}.obs", "w") as file:
            file.write("" if broken else header + "END OF HEADER       \n")
            file.writelines(kept)
