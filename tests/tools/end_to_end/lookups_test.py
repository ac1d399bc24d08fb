"""Lookups that work: kesu against kesu-server with its built-in data."""

import unittest

from programs import data_rows, kesu, kesu_json, kesu_server
from servers import counting_relay

UNKNOWN_CELL = ["--cell", "1,1,1,999"]

# Access points of nobody, so that the cell alone decides what is found.
ACCESS_POINTS = [word for i in range(7) for word in ("--wifi", f"02-00-00-00-00-0{i},-60")]

# The bytes of one request with a cell and seven access points.
#   cell             mcc 2, mnc 2, area 2, cell id (128 to 16383) 3, signal strength
#                    (negative, so 10 bytes behind its key) 11                       20
#   cellularprofile  its key and length 2, primarycell's key and length 2            24
#   access point     key and length 2, MAC 1 + 1 + 17, signal strength 11            32
#   wifiprofile      key 1, length 2, seven access points                           227
#   requestelements  key 1, length 2, the two profiles                              254
#   request block    length 4, type 2, id 2, "g:loc/ql" 2 + 8, version 2,
#                    payload length 4, payload                                      278
BLOCK = 278

MAX_POST = 32768


def header_length():
    """Version 2, block length 4, type 2, client version text, cookie 8, empty text 2."""
    version = kesu("--version").stdout.split()[1]
    return 2 + 4 + 2 + (2 + len(f"kesu,{version},linux,cli,en_US")) + 8 + 2


def as_lookups(observations):
    words = []
    for observation in observations:
        words += ["--next", *observation] if words else observation
    return words


class Locate(unittest.TestCase):
    def test_lookups_share_posts_up_to_the_size_limit(self):
        cells = data_rows("cells.tsv")
        header = header_length()
        # Two bytes on top of header and blocks count towards the limit.
        per_post = (MAX_POST - 2 - header) // BLOCK
        self.assertEqual(per_post, 117)
        for count, blocks_in_posts in ((1, [1]), (40, [40]), (400, [49, 117, 117, 117])):
            with self.subTest(count=count), kesu_server() as server, \
                    counting_relay(server) as (relay, lengths):
                asked = [cells[i % len(cells)] for i in range(count)]
                observations = [["--cell", ",".join(cell[:4]) + ",-71", *ACCESS_POINTS]
                                for cell in asked]
                status, results = kesu_json("locate", *as_lookups(observations), server=relay)
                self.assertEqual(status, 0)
                self.assertEqual([(r["latitude"], r["longitude"]) for r in results],
                                 [(float(cell[4]), float(cell[5])) for cell in asked])
                self.assertEqual(sorted(lengths), [header + n * BLOCK for n in blocks_in_posts])

    def test_found_and_not_found(self):
        known = data_rows("access_points.tsv")[0]
        lookups = as_lookups([UNKNOWN_CELL, ["--wifi", known[0].lower().replace("-", ":")],
                              UNKNOWN_CELL, ["--gps", "-34.6,-58.45"]])
        with kesu_server() as server:
            status, results = kesu_json("locate", *lookups, server=server)
            self.assertEqual(status, 1)
            self.assertEqual([r["latitude"] for r in results],
                             [None, float(known[1]), None, -34.6])
            for result in results:
                self.assertEqual(list(result), ["latitude", "longitude", "accuracy_m",
                                                "platform_key"])
                self.assertTrue(result["platform_key"])
            self.assertGreater(results[1]["accuracy_m"], 0)

            run = kesu("locate", *lookups, server=server)
            self.assertEqual((run.returncode, run.stderr), (1, ""))
            lines = run.stdout.splitlines()
            self.assertEqual(len(lines), 4)
            self.assertEqual(lines[0], "lookup 1: nothing found")
            self.assertRegex(lines[1], r"^lookup 2: 38\.71685, -9\.13179, within \d+ m, "
                                       r"platform key \S+$")
            self.assertRegex(lines[3], r"^lookup 4: -34\.60000, -58\.45000, platform key \S+$")


class Reverse(unittest.TestCase):
    def test_several_points_travel_in_one_post(self):
        places = data_rows("places.tsv")[:30]
        with kesu_server() as server, counting_relay(server) as (relay, lengths):
            status, results = kesu_json("reverse", *(f"{p[0]},{p[1]}" for p in places), "0,-150",
                                        server=relay)
            self.assertEqual(status, 1)
            self.assertEqual(len(lengths), 1)
            nowhere = results.pop()
            self.assertEqual(nowhere, {"latitude": 0, "longitude": -150, "address": None,
                                       "features": []})
            for place, result in zip(places, results, strict=True):
                self.assertEqual(list(result), ["latitude", "longitude", "address", "features"])
                self.assertEqual((result["latitude"], result["longitude"]),
                                 (float(place[0]), float(place[1])))
                self.assertIn(place[4], result["features"])
                self.assertEqual(result["address"], max(result["features"], key=len))


class StandardStreams(unittest.TestCase):
    def test_only_results_on_standard_output(self):
        with kesu_server() as server:
            quiet = kesu("reverse", "38.71,-9.14", server=server)
            self.assertEqual((quiet.returncode, quiet.stderr), (0, ""))
            self.assertRegex(quiet.stdout, r"\A38\.71000, -9\.14000: .*Lisbon.*\n  Lisbon\n")
            traced = kesu("--trace", "reverse", "38.71,-9.14", server=server)
            self.assertEqual((traced.returncode, traced.stdout), (0, quiet.stdout))
            # Lines of the transport and lines of the log.
            self.assertIn("======================sendPostRequest\n", traced.stderr)
            self.assertIn("  D: ... handling the response\n", traced.stderr)

    def test_results_that_cannot_be_written(self):
        with kesu_server() as server, open("/dev/full", "w", encoding="utf-8") as full:
            run = kesu("reverse", "38.71,-9.14", server=server, stdout=full)
            self.assertEqual((run.returncode, run.stderr),
                             (3, "kesu: the results could not be written\n"))


if __name__ == "__main__":
    unittest.main()
