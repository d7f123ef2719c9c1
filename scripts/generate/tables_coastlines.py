#!/usr/bin/env python3
"""Writes host/pictures/coastlines.inc: the coastlines of Natural Earth 1:110 million (public domain), as Debian's package
r-cran-rnaturalearthdata has them (lines of the R data set coastline110).

usage: scripts/generate/tables_coastlines.py [DIRECTORY_OF_THE_DATA] > host/pictures/coastlines.inc"""
import bz2
import itertools
import lzma
import pathlib
import struct
import sys
import zlib

DATA = "/usr/lib/R/site-library/rnaturalearthdata/data"
NAME = "coastline110"


class Reader:
    """R's binary serialisation (XDR), as far as data sets use it. Lists come out as Python lists, attributes as (value, {name: value})."""

    def __init__(self, data):
        self.data, self.at, self.known = data, 14, []
        version = struct.unpack_from(">i", data, 2)[0]
        if version == 3:
            self.at += 4 + struct.unpack_from(">i", data, 14)[0]

    def integer(self):
        self.at += 4
        return struct.unpack_from(">i", self.data, self.at - 4)[0]

    def numbers(self, kind, size):
        count = self.integer()
        self.at += size * count
        return list(struct.unpack_from(f">{count}{kind}", self.data, self.at - size * count))

    def pairs(self):
        result = {}
        while True:
            flags = self.integer()
            if flags & 255 == 254:
                return result
            if flags & 0x200:
                self.item()
            name = self.item() if flags & 0x400 else ""
            result[name] = self.item()

    def item(self):
        flags = self.integer()
        kind = flags & 255
        if kind == 254:  # NULL
            return None
        if kind == 255:  # a symbol or environment seen before
            return self.known[(flags >> 8 or self.integer()) - 1]
        if kind == 1:
            self.known.append(self.item())
            return self.known[-1]
        if kind in (247, 249):  # namespace, persistent name
            self.integer()
            self.known.append([self.item() for _ in range(self.integer())])
            return self.known[-1]
        if kind == 2:
            self.at -= 4
            return self.pairs()
        if kind == 9:
            count = self.integer()
            if count < 0:
                return None
            self.at += count
            return self.data[self.at - count:self.at].decode("utf-8", "replace")
        if kind in (10, 13):
            value = self.numbers("i", 4)
        elif kind == 14:
            value = self.numbers("d", 8)
        elif kind in (16, 19):
            value = [self.item() for _ in range(self.integer())]
        elif kind == 25:  # an object: its slots are its attributes
            value = None
        else:
            raise ValueError(f"R type {kind} at byte {self.at}")
        return (value, self.pairs()) if flags & 0x200 else value


def unpacked(chunk):
    """A chunk of R's data base: its length, a letter for its compression, and the bytes."""
    if chunk[4:5] == b"Z":
        filters = [{"id": lzma.FILTER_LZMA2, "preset": 9 | lzma.PRESET_EXTREME}]
        return lzma.decompress(chunk[5:], lzma.FORMAT_RAW, filters=filters)
    return bz2.decompress(chunk[5:]) if chunk[4:5] == b"2" else zlib.decompress(chunk[4:])


def plain(item):
    return item[0] if isinstance(item, tuple) else item


def lines_of(item):
    """Coordinates of every `coords` slot below an item: longitudes, then latitudes [degree]."""
    if isinstance(item, tuple):
        for name, value in item[1].items():
            if name == "coords":
                numbers = plain(value)
                half = len(numbers) // 2
                yield list(zip(numbers[:half], numbers[half:]))
            else:
                yield from lines_of(value)
        yield from lines_of(item[0])
    elif isinstance(item, list):
        for value in item:
            yield from lines_of(value)


def main():
    directory = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else DATA)
    index = Reader(zlib.decompress((directory / "Rdata.rdx").read_bytes(), 47)).item()
    variables = dict(zip(index[1]["names"], index[0]))
    places = dict(zip(variables["variables"][1]["names"], variables["variables"][0]))
    start, length = places[NAME]
    lines = list(lines_of(Reader(unpacked((directory / "Rdata.rdb").read_bytes()[start:start + length])).item()))
    lines = [[place for place, _ in itertools.groupby((round(10 * x), round(10 * y)) for x, y in line)] for line in lines]
    points = sum(len(line) for line in lines)
    print(f"// Coastlines: Natural Earth 1:110 million, public domain. {len(lines)} lines, {points} points.")
    print("// A line is the number of its points, then longitude and latitude of each [0.1 degree].")
    print("// Made by scripts/generate/tables_coastlines.py")
    for line in lines:
        text = f"{len(line)}," + "".join(f"{x},{y}," for x, y in line)
        while len(text) > 118:
            cut = text.rindex(",", 0, 118) + 1
            print(text[:cut])
            text = text[cut:]
        print(text)


if __name__ == "__main__":
    main()
