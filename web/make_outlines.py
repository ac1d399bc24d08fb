#!/usr/bin/env python3
"""Makes what the maps load of the outlines and places in data/: make_outlines.py TOPOLOGY PLACES RESULT

The result is JSON: `scale` and `origin`, degrees of longitude and of latitude; `arcs`, lines as texts, see encode();
`land`, polygons of rings of numbers of arcs, ~n being arc n backwards; `borders`, the numbers of those between two
countries; `places`, [latitude, longitude, name].
"""

import collections
import json
import sys

DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"


def encode(numbers):
    """Five bits a digit, the lowest first; 32 is added where more follow; the lowest bit is the sign."""
    text = ""
    for number in numbers:
        rest = number << 1 if number >= 0 else ~number << 1 | 1
        while rest > 31:
            text += DIGITS[32 + rest % 32]
            rest >>= 5
        text += DIGITS[rest]
    return text


def polygons_of(geometry):
    return geometry["arcs"] if geometry["type"] == "MultiPolygon" else [geometry["arcs"]]


def outlines(topology):
    used = collections.Counter()
    for country in topology["objects"]["countries"]["geometries"]:
        arcs = {arc if arc >= 0 else ~arc for rings in polygons_of(country) for ring in rings for arc in ring}
        used.update(arcs)
    return {
        "scale": topology["transform"]["scale"],
        "origin": topology["transform"]["translate"],
        "arcs": [encode(number for point in arc for number in point) for arc in topology["arcs"]],
        "land": [rings for geometry in topology["objects"]["land"]["geometries"] for rings in polygons_of(geometry)],
        "borders": [arc for arc, countries in sorted(used.items()) if countries > 1],
    }


def places(lines):
    rows = (line.rstrip("\n").split("\t") for line in lines if line.strip() and not line.startswith("#"))
    return [[float(latitude), float(longitude), place] for latitude, longitude, _, _, place, *_ in rows]


def main(topology, table, result):
    with open(topology, encoding="utf-8") as file:
        made = outlines(json.load(file))
    with open(table, encoding="utf-8") as file:
        made["places"] = places(file)
    with open(result, "w", encoding="utf-8") as file:
        json.dump(made, file, ensure_ascii=False, separators=(",", ":"))


if __name__ == "__main__":
    main(*sys.argv[1:])
