#!/usr/bin/env python3
"""Makes the synthetic radio data: cells.tsv and access_points.tsv.

    data/make_radio.py                     writes both files beside this script
    data/make_radio.py --observe LAT,LON   prints, as options of `kesu locate`, what a handset there
                                           would receive from the stations in these files

Nothing here exists: the network is the test PLMN 001-01, the MAC addresses are of the range
00-00-5E-00-53-xx that is set aside for documentation, and the positions are drawn at random, with a
fixed seed, around some of the places of places.tsv.

The log-distance path-loss model: at d metres from a station one receives

    reference_power_dbm - 10 * path_loss_exponent * log10(d / 1 m) + X

with X normally distributed around 0 with the standard deviation shadowing_db. The constants of a
station stand in its row, so that whoever reads a signal strength can turn it into a distance.
"""

import argparse
import csv
import math
import pathlib
import random

HERE = pathlib.Path(__file__).resolve().parent
SEED = 5353
ZONES = [
    "Europe/Lisbon", "Europe/Berlin", "America/New_York", "America/Sao_Paulo", "Africa/Nairobi",
    "Asia/Tokyo", "Australia/Sydney", "Pacific/Fiji",
]
METRES_PER_DEGREE = 111_195  # of latitude, on a sphere of 6371 km radius

MCC, MNC = 1, 1
CELLS_PER_PLACE, CELL_SPREAD_M = 6, 2500
CELL_MODEL = {"power": 28.0, "power_spread": 3.0, "exponent": 3.5, "shadowing": 8.0}
CELL_SENSITIVITY_DBM = -110

ACCESS_POINTS_PER_PLACE, ACCESS_POINT_SPREAD_M = 16, 150
ACCESS_POINT_MODEL = {"power": -30.0, "power_spread": 2.0, "exponent": 3.0, "shadowing": 6.0}
ACCESS_POINT_SENSITIVITY_DBM = -90

MODEL_COLUMNS = ["latitude", "longitude", "reference_power_dbm", "path_loss_exponent",
                 "shadowing_db"]


def centres():
    with (HERE / "places.tsv").open(encoding="utf-8") as file:
        places = {row[5]: (float(row[0]), float(row[1]))
                  for row in csv.reader(file, delimiter="\t") if not row[0].startswith("#")}
    return [places[zone] for zone in ZONES]


def point_near(rng, centre, spread_m):
    """A point of the disc of radius `spread_m` around `centre`, all areas being equally likely."""
    distance = spread_m * math.sqrt(rng.random())
    angle = rng.uniform(0, 2 * math.pi)
    latitude = centre[0] + distance * math.cos(angle) / METRES_PER_DEGREE
    longitude = centre[1] + (distance * math.sin(angle) / METRES_PER_DEGREE
                             / math.cos(math.radians(centre[0])))
    return latitude, longitude


def transmitter(rng, centre, spread_m, model):
    latitude, longitude = point_near(rng, centre, spread_m)
    power = rng.uniform(model["power"] - model["power_spread"],
                        model["power"] + model["power_spread"])
    return [f"{latitude:.6f}", f"{longitude:.6f}", f"{power:.1f}", model["exponent"],
            model["shadowing"]]


def write(name, columns, rows):
    with (HERE / name).open("w", encoding="utf-8") as file:
        for row in [["# " + columns[0], *columns[1:]], *rows]:
            print(*row, sep="\t", file=file)


def make():
    rng = random.Random(SEED)
    cells, access_points = [], []
    for area, centre in enumerate(centres(), start=1):
        for number in range(1, CELLS_PER_PLACE + 1):
            cells.append([MCC, MNC, area, area * 1000 + number,
                          *transmitter(rng, centre, CELL_SPREAD_M, CELL_MODEL)])
        for _ in range(ACCESS_POINTS_PER_PLACE):
            access_points.append([f"00-00-5E-00-53-{len(access_points):02X}",
                                  *transmitter(rng, centre, ACCESS_POINT_SPREAD_M,
                                               ACCESS_POINT_MODEL)])
    write("cells.tsv", ["mcc", "mnc", "area_code", "cell_id", *MODEL_COLUMNS], cells)
    write("access_points.tsv", ["mac_address", *MODEL_COLUMNS], access_points)


def distance_m(a, b):
    (lat_a, lon_a), (lat_b, lon_b) = (map(math.radians, point) for point in (a, b))
    chord = (math.sin((lat_b - lat_a) / 2) ** 2
             + math.cos(lat_a) * math.cos(lat_b) * math.sin((lon_b - lon_a) / 2) ** 2)
    return 2 * 6_371_000 * math.asin(math.sqrt(chord))


def observe(here):
    rng = random.Random(f"{SEED} {here}")
    options = []
    for option, name, id_columns, sensitivity in (
            ("--cell", "cells.tsv", 4, CELL_SENSITIVITY_DBM),
            ("--wifi", "access_points.tsv", 1, ACCESS_POINT_SENSITIVITY_DBM)):
        with (HERE / name).open(encoding="utf-8") as file:
            for row in csv.reader(file, delimiter="\t"):
                if row[0].startswith("#"):
                    continue
                latitude, longitude, power, exponent, shadowing = map(float, row[id_columns:])
                distance = max(1.0, distance_m(here, (latitude, longitude)))
                received = round(power - 10 * exponent * math.log10(distance)
                                 + rng.gauss(0, shadowing))
                if received >= sensitivity:
                    options.append(f"{option} {','.join(row[:id_columns])},{received}")
    print(" ".join(options))


def main():
    parser = argparse.ArgumentParser(description="Makes or samples the synthetic radio data.")
    parser.add_argument("--observe", metavar="LAT,LON")
    arguments = parser.parse_args()
    if arguments.observe is None:
        make()
    else:
        latitude, longitude = map(float, arguments.observe.split(","))
        observe((latitude, longitude))


if __name__ == "__main__":
    main()
