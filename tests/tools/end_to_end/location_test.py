"""Where kesu-server says that things are: estimates from signals, and the nearest listed place."""

import math
import unittest

from fixture import data_folder, kesu_json, kesu_server

NEARBY = [(5 + 0.0005 * north, 5 + 0.0005 * east) for north in range(8) for east in range(8)]
POLAR = [(-89.9999, longitude) for longitude in (0, 120, -120)]
ACCESS_POINTS = [(10, 20), (0, 179.999), (0, -179.999), (0, 0), (0, 0.00101), (-33, 151), (0, 20),
                 (0.002, 20), (0, 180), *POLAR, (5.002, 5.009), *NEARBY]
CELLS = {1001: (10, 20), 1002: (10, 20.002)}
# Each is 100 m away at -80 dBm.
MODEL = "-40\t2\t6\n"
PLACES = ("# a comment\n\n38.71667\t-9.13333\tPT\tPortugal\tLisbon\tX\r\n"
          "-18.13333\t178.41667\tFJ\tFiji\tFiji\tX\n-14.0\t-179.9\tXX\tEastland\tWest End\tX\n"
          "89.5\t100.0\tXX\tIce\tFar North\tX\n-89.0\t0.0\tXX\tIce\tFar South\tX\n")

# The standard deviation of the distance's logarithm: of 6 dB and of 2 dB for the constants.
SPREAD = math.hypot(6, 2) * math.log(10) / 20
# 95 of 100 distances, areas being equally likely, are within so many times the signal's.
ONE = math.exp(2 * SPREAD ** 2 + 1.645 * SPREAD)
# The same for the edge of the range.
UNHEARD = math.exp(2 * SPREAD ** 2 - 0.5 + 1.645 * math.hypot(SPREAD, 0.5))
# In metres.
HALF_WAY_ROUND = 20015087
AT_EDGE = (10, 20, 10 ** 2.5 * UNHEARD)

# The access points (by number) and cells that are seen, and how well; the position, accuracy (of
# several the most that it can be), and how far off the position may be, if more than 10 cm.
ESTIMATES = [
    ("nothing known", {1999: -80}, None),
    ("one station, 100 m away", {0: -80}, (10, 20, 100 * ONE)),
    ("a signal as weak as can be", {0: -140}, (10, 20, 100000 * ONE)),
    ("too weak to be measured: at the edge of its range", {0: -141}, AT_EDGE),
    ("too strong to be measured", {0: 0}, AT_EDGE),
    ("not stated", {0: None}, AT_EDGE),
    ("not stated, of a cell", {1001: None}, (10, 20, 10 ** 3.5 * UNHEARD)),
    ("an impossibly strong signal: no nearer than a metre", {0: -1}, (10, 20, ONE)),
    ("a neighbour alone", {1999: -80, 1002: -80}, (10, 20.002, 100 * ONE)),
    ("a cell and its neighbour", {1001: -80, 1002: -80}, (10, 20.001, 100 * ONE)),
    ("two stations across the antimeridian", {1: -80, 2: -80}, (0, 180, 100 * ONE)),
    ("three around a pole", {9: -80, 10: -80, 11: -80}, (-90, 0, 100 * ONE, 5)),
    ("the nearer counts for more", {3: -60, 4: -80}, (0, 0, 10 * ONE, 10)),
    ("one far from two others is left out", {5: -60, 6: -80, 7: -80}, (0.001, 20, 100 * ONE)),
    ("of two that contradict each other the stronger stays", {3: -80, 8: -79},
     (0, 180, HALF_WAY_ROUND)),
    ("an access point before cells", {0: -80, 1001: -60, 1002: -60}, (10, 20, 100 * ONE)),
    ("of equally strong ones the first", {8: -80, 3: -80}, (0, 180, HALF_WAY_ROUND)),
    ("one that has moved by 800 m beside many",
     {12: -40, **{13 + i: -80 for i in range(63)}}, (5.00175, 5.00175, 100 * ONE, 20)),
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
        for (name, seen, expected), result in zip(ESTIMATES, results, strict=True):
            with self.subTest(name):
                self.assertTrue(result["platform_key"])
                if not expected:
                    self.assertIsNone(result["accuracy_m"])
                    continue
                lat, lon, accuracy, *off = expected
                self.assertLess(distance_m((result["latitude"], result["longitude"]), (lat, lon)),
                                *off or [0.1])
                if len(seen) == 1:
                    self.assertEqual(result["accuracy_m"], math.ceil(accuracy))
                else:
                    self.assertLessEqual(1, result["accuracy_m"])
                    self.assertLessEqual(result["accuracy_m"], math.ceil(accuracy))

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
