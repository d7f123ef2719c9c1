#!/usr/bin/env python3
"""Cuts the excerpt of examples/data/grace_b out of the full data set: four hours of observations as Compact RINEX, the GPS orbits
and clocks around them, the reference orbit, the earth orientation, the satellite antenna offsets and a gravity field to degree 90.
usage: scripts/generate/grace_b_excerpt.py DATA_SETS OUTPUT_DIRECTORY"""

import gzip
import pathlib
import sys

FROM, TO = 3600, 18000  # second of 2010-07-27, GPST
TYPES = ["L1", "L2", "C1", "P1", "P2"]
DEGREE = 90


def write(path, text):
    """Gzip without name and time, so that the same text gives the same file."""
    with open(path, "wb") as stream, gzip.GzipFile("", "wb", 9, stream, 0) as out:
        out.write(text.encode("ascii"))


def observations(lines):
    """RINEX 2 with the chosen types alone, between the two times: header lines, then epochs of (epoch line, rows of fields)."""
    end = next(i for i, line in enumerate(lines) if "END OF HEADER" in line)
    header, all_types = [], []
    for line in lines[: end + 1]:
        if "# / TYPES OF OBSERV" in line:
            all_types = line[6:60].split()
            line = f"{len(TYPES):6d}" + "".join(f"{t:>6}" for t in TYPES)
            line = f"{line:<60}# / TYPES OF OBSERV"
        if "TIME OF FIRST OBS" in line:
            line = f"  2010    07    27    {FROM // 3600:02d}    00   00.000000      GPS"
            line = f"{line:<60}TIME OF FIRST OBS"
        if line.startswith("SNR is mapped"):
            header.append(f"{'EXCERPT: 01:00 to 05:00, types L1 L2 C1 P1 P2':<60}COMMENT")
        header.append(line)
    epochs, at, per_satellite = [], end + 1, (len(all_types) + 4) // 5
    while at < len(lines):
        epoch, count = lines[at], int(lines[at][29:32])
        at += 1
        fields = []
        for _ in range(count):
            text = "".join(f"{row:<80}" for row in lines[at : at + per_satellite])
            at += per_satellite
            fields.append([text[16 * all_types.index(t) : 16 * all_types.index(t) + 16] for t in TYPES])
        seconds = int(epoch[10:12]) * 3600 + int(epoch[13:15]) * 60 + float(epoch[16:26])
        if FROM <= seconds <= TO:
            epochs.append((epoch, fields))
    return header, epochs


def difference(before, now):
    """A text as what changes in the one before."""
    width = max(len(before), len(now))
    pairs = zip(before.ljust(width), now.ljust(width))
    return "".join(" " if a == b else "&" if b == " " else b for a, b in pairs).rstrip()


class Arc:
    """Third-order differences of one observation type of one satellite."""

    def __init__(self, value):
        self.last = [value]

    def next(self, value):
        row = [value]
        for last in self.last:
            row.append(row[-1] - last)
        text = str(row[-1])
        self.last = row[:3]
        return text


def compact(header, epochs):
    """Compact RINEX 1.0."""
    out = [f"{'1.0':<20}{'COMPACT RINEX FORMAT':<40}CRINEX VERS   / TYPE", f"{'leopod excerpt':<60}CRINEX PROG / DATE"] + header
    before, arcs, flags = None, {}, {}
    for epoch, rows in epochs:
        out.append("&" + epoch[1:] if before is None else difference(before, epoch))
        before = epoch
        out.append("")
        names = [epoch[32 + 3 * i : 35 + 3 * i] for i in range(len(rows))]
        arcs = {key: arc for key, arc in arcs.items() if key[0] in names}
        flags = {name: text for name, text in flags.items() if name in names}
        for name, fields in zip(names, rows):
            line, flag = [], ""
            for kind, field in zip(TYPES, fields):
                number, key = field[:14].strip(), (name, kind)
                flag += field[14:16]
                if not number:
                    line.append("")
                    arcs.pop(key, None)
                    continue
                value = int(number.replace(".", ""))
                if key in arcs:
                    line.append(arcs[key].next(value))
                else:
                    arcs[key] = Arc(value)
                    line.append(f"3&{value}")
            marks = difference(flags.get(name, ""), flag)
            flags[name] = flag
            out.append((" ".join(line) + " " + marks).rstrip(" ") if marks else " ".join(line))
    return "\n".join(out) + "\n"


def orbits(folder):
    """One SP3 file of the GPS satellites from two hours before the day to 08:00, out of the files of both days."""
    before = (folder / "COD15941.EPH").read_text().splitlines()
    day = (folder / "COD15942.EPH").read_text().splitlines()
    satellites = [f"G{n:02d}" for n in range(1, 33)]

    def epochs(lines, wanted):
        rows, keep = [], False
        for line in lines:
            if line.startswith("*"):
                keep = wanted(int(line[14:16]))
            if keep and (line.startswith("*") or line[:2] == "PG"):
                rows.append(line)
        return rows

    body = epochs(before, lambda hour: hour >= 22) + epochs(day, lambda hour: hour < 8)
    present = sorted({line[1:4] for line in body if line[0] == "P"} & set(satellites))
    count = sum(line.startswith("*") for line in body)
    head = [f"#cP2010  7 26 22  0  0.00000000 {count:7d} d+D   IGS05 FIT AIUB",
            "## 1594 165600.00000000   900.00000000 55403 0.9166666666667"]
    names = present + ["  0"] * (85 - len(present))
    for row in range(5):
        start = f"+   {len(present):2d}   " if row == 0 else "+        "
        head.append(start + "".join(names[17 * row : 17 * row + 17]))
    head += [line for line in day[:24] if line.startswith(("%", "/*"))]
    zero = "++       " + "  0" * 17
    head[7:7] = [zero] * 5
    head[-1] = "/* Excerpt: GPS alone, 2010-07-26 22:00 to 07-27 08:00      "
    return "\n".join(head + body) + "\nEOF\n"


def main():
    data, target = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    folder = data / "grace_b_2010208"
    target.mkdir(parents=True, exist_ok=True)
    header, epochs = observations((folder / "grcb2080_00h12h.10o").read_text().splitlines())
    write(target / "grcb2080_01h05h.10d.gz", compact(header, epochs))
    write(target / "cod15942_excerpt.sp3.gz", orbits(folder))
    truth = ["sod_gpst_2010_07_27,x_m,y_m,z_m"]
    for line in (folder / "truth_00h12h.csv").read_text().splitlines()[1:]:
        if FROM - 120 <= float(line.split(",")[0]) <= TO + 120:
            truth.append(",".join(line.split(",")[:4]))
    write(target / "reference_orbit.csv.gz", "\n".join(truth) + "\n")
    finals = (folder / "finals_iau2000_2010_07_08.txt").read_text().splitlines()
    kept = [line for line in finals if 55398 <= float(line[7:15]) <= 55411]
    write(target / "finals_2010_07.txt.gz", "\n".join(kept) + "\n")
    write(target / "gps_satellites_2010208.atx.gz", (folder / "gps_satellites_2010208.atx").read_text())
    rows = []
    for line in (data / "gravity" / "EGM2008.txt").read_text().splitlines():
        fields = line.split()
        if not fields or not fields[0].isdigit() or int(fields[0]) <= DEGREE:
            rows.append(line)
    write(target / "egm2008_degree90.txt.gz", "\n".join(rows) + "\n")
    for path in sorted(target.iterdir()):
        print(f"{path.stat().st_size:8d} {path.name}")


main()
