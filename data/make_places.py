#!/usr/bin/env python3
"""Writes places.tsv from tzdata's zone1970.tab and iso3166.tab (both in the public domain).

    data/make_places.py [ZONEINFO_DIRECTORY] > data/places.tsv

Run by hand when tzdata has changed; the build uses the committed result.
"""

import pathlib
import re
import sys

COORDINATES = re.compile(r"([+-]\d{4}(?:\d\d)?)([+-]\d{5}(?:\d\d)?)")


def rows(path):
    for line in path.read_text(encoding="utf-8").splitlines():
        if line and not line.startswith("#"):
            yield line.split("\t")


def degrees(iso6709, degree_digits):
    """Sign, degrees, minutes and perhaps seconds as decimal degrees."""
    sign = -1 if iso6709[0] == "-" else 1
    digits = iso6709[1:]
    minutes = int(digits[degree_digits:degree_digits + 2])
    seconds = int(digits[degree_digits + 2:] or 0)
    return sign * (int(digits[:degree_digits]) + minutes / 60 + seconds / 3600)


def main():
    zoneinfo = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "/usr/share/zoneinfo")
    countries = {row[0]: row[1] for row in rows(zoneinfo / "iso3166.tab")}
    print("# latitude\tlongitude\tcountry_codes\tcountry\tplace\tzone")
    for codes, coordinates, zone, *_ in rows(zoneinfo / "zone1970.tab"):
        latitude, longitude = COORDINATES.fullmatch(coordinates).groups()
        country = countries[codes.split(",")[0]]
        place = zone.rsplit("/", 1)[-1].replace("_", " ")
        print(f"{degrees(latitude, 2):.5f}\t{degrees(longitude, 3):.5f}"
              f"\t{codes}\t{country}\t{place}\t{zone}")


if __name__ == "__main__":
    main()
