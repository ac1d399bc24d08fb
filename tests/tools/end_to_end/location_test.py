"""Where kesu-server says that things are: estimates from signals, and the nearest listed place."""

import math
import unittest

from fixture import data_folder, kesu_json, kesu_server

NEARBY = [(5, 5)] * 63 + [(5, 5.003), (5, 4.997)]
ACCESS_POINTS = [(10, 20), (0, 179.999), (0, -179.999), (0, 0), (0, 0.00101), (-33, 151), (0, 20),
                 (0.002, 20), (0, 180), *NEARBY]
CELLS = {1001: (10, 20), 1002: (10, 20.002)}
# Each is 100 m away at -80 dBm, and 199.5 m if its signal is one standard deviation off.
MODEL = "-40\t2\t6\n"
PLACES = ("# a comment\n\n38.71667\t-9.13333\tPT\tPortugal\tLisbon\tX\r\n"
          "-18.13333\t178.41667\tFJ\tFiji\tFiji\tX\n-14.0\t-179.9\tXX\tEastland\tWest End\tX\n"
          "89.5\t100.0\tXX\tIce\tFar North\tX\n-89.0\t0.0\tXX\tIce\tFar South\tX\n")
AT_EDGE = (10, 20, 631)

# The access points (by number) and cells that are seen, and how well; the position and accuracy.
ESTIMATES = [
    ("nothing known", {1999: -80}, None),
    ("one station, 100 m away", {0: -80}, (10, 20, 200)),
    ("a signal as weak as can be", {0: -140}, (10, 20, 199527)),
    ("too weak to be measured: at the edge of its range", {0: -141}, AT_EDGE),
    ("too strong to be measured", {0: 0}, AT_EDGE),
    ("not stated", {0: None}, AT_EDGE),
    ("not stated, of a cell", {1001: None}, (10, 20, 6310)),
    ("an impossibly strong signal: no nearer than a metre", {0: -1}, (10, 20, 2)),
    ("a neighbour alone", {1999: -80, 1002: -80}, (10, 20.002, 200)),
    ("a cell and its neighbour", {1001: -80, 1002: -80}, (10, 20.001, 200)),
    ("two stations across the antimeridian", {1: -80, 2: -80}, (0, 180, 200)),
    # Weights 1/100 and 1/10000; the mean distance is (1/10 + 1/100) / (1/100 + 1/10000).
    ("the nearer counts for a hundred times as much", {3: -60, 4: -80}, (0, 0.00001, 22)),
    ("one far from two others is left out", {5: -60, 6: -80, 7: -80}, (0.001, 20, 200)),
    ("of two that contradict each other the stronger stays", {3: -80, 8: -79}, (0, 180, 178)),
    ("of equally strong ones the first", {8: -80, 3: -80}, (0, 180, 200)),
    # The 64th counts with (100 / 112.2)^2 beside the 63, the 65th not at all.
    ("no more than 64", {**{9 + i: -80 for i in range(63)}, 72: -81, 73: -82},
     (5, 5 + 0.003 * 0.79433 / 63.79433, 200)),
]

# A position and what is said of it, behind "nearest listed place: ". A degree is 111.195 km.
DESCRIPTIONS = [
    (38.71667, -9.13333, "Lisbon, Portugal (less than 1 km away)"),
    (38.71667 + 2.697, -9.13333, "Lisbon, Portugal (300 km south)"),
    (38.71667 + 2.699, -9.13333, None),
    (38.71667, -9.13333 - 3.45, "Lisbon, Portugal (299 km east)"),
    (38.71667, -9.13333 + 3.47, None),
    (37.9, -10.15, "Lisbon, Portugal (127 km north-east)"),
    (39.5, -10.15, "Lisbon, Portugal (124 km south-east)"),
    (39.5, -8.1, "Lisbon, Portugal (125 km south-west)"),
    (37.9, -8.1, "Lisbon, Portugal (128 km north-west)"),
    (-18.13333, -179.58333, "Fiji (211 km west)"),
    (-14, 180, "West End, Eastland (11 km east)"),
    # The shortest way leads over a pole.
    (89.5, -80, "Far North, Ice (111 km north)"),
    (-88.4, 180, "Far South, Ice (289 km south)"),
    (90, 12, "Far North, Ice (56 km south)"),
    (-90, -12, "Far South, Ice (111 km north)"),
]


def distance_m(here, there):
    """By the law of cosines for half angles, on a sphere of 6371 km."""
    (south, west), (north, east) = [map(math.radians, point) for point in (here, there)]
    return 2 * 6371000 * math.asin(math.sqrt(
        math.sin((north - south) / 2) ** 2
        + math.cos(south) * math.cos(north) * math.sin((east - west) / 2) ** 2))


def words(seen):
    for station, dbm in seen.items():
        name = f"cell=1,1,1,{station}" if station > 1000 else f"wifi=00-00-5E-00-53-{station:02x}"
        yield f"--{name}" if dbm is None else f"--{name},{dbm}"


class Location(unittest.TestCase):
    def test_estimates(self):
        cells = "".join(f"1\t1\t1\t{cell}\t{lat}\t{lon}\t" + MODEL
                        for cell, (lat, lon) in CELLS.items())
        points = "".join(f"00-00-5E-00-53-{i:02X}\t{lat}\t{lon}\t" + MODEL
                         for i, (lat, lon) in enumerate(ACCESS_POINTS))
        asked = [word for _, seen, _ in ESTIMATES for word in ("--next", *words(seen))]
        with data_folder("", cells, points) as folder, kesu_server("--data", folder) as (server, _):
            status, results = kesu_json("locate", *asked[1:], server=server)
        self.assertEqual(status, 1)
        for (name, _, expected), result in zip(ESTIMATES, results, strict=True):
            with self.subTest(name):
                self.assertTrue(result["platform_key"])
                self.assertEqual(result["accuracy_m"], expected and expected[2])
                if expected:
                    found = (result["latitude"], result["longitude"])
                    self.assertLess(distance_m(found, expected[:2]), 0.05)

    def test_descriptions(self):
        with data_folder(PLACES) as folder, kesu_server("--data", folder) as (server, _):
            points = [f"{lat},{lon}" for lat, lon, _ in DESCRIPTIONS]
            status, results = kesu_json("reverse", *points, server=server)
        self.assertEqual(status, 1)
        for (lat, lon, text), result in zip(DESCRIPTIONS, results, strict=True):
            address = text and "nearest listed place: " + text
            names = text.split(" (")[0] if text else ""
            features = [names.split(",")[0], names] if "," in names else [names]
            found = [feature["name"] for feature in result.pop("features")]
            self.assertEqual(found, [*features, address] if text else [])
            self.assertEqual(result, {"latitude": lat, "longitude": lon, "address": address})
