"""The calls in JSON of location daemons and geocoding libraries, by hand-written requests."""

import json
import os
import re
import subprocess
import tempfile
import time
import unittest

from bounds_test import connect, everything
from fixture import PATIENCE_S, data_folder, kesu_json, kesu_server

CELL = {"radioType": "gsm", "mobileCountryCode": 1, "mobileNetworkCode": 1, "locationAreaCode": 1,
        "cellId": 7, "signalStrength": -80}
ACCESS_POINT = {"macAddress": "00:00:5e:00:53:0a", "signalStrength": -60, "ssid": "x", "age": 10}
CELLS = "1\t1\t1\t7\t0\t-150\t-40\t2\t6\n"
ACCESS_POINTS = "00-00-5E-00-53-0A\t0\t-149.999\t-40\t2\t6\n"
PLACES = "38.7\t-9.1\tPT\tPortugal\tLisboa \"é\"\tX\n"

FOUND = [
    {"cellTowers": [CELL]}, {"wifiAccessPoints": [ACCESS_POINT]},
    {"cellTowers": [CELL, CELL], "wifiAccessPoints": [ACCESS_POINT, {"macAddress": "no"}, 3, None],
     "considerIp": True},
    {"radioType": "gsm", "cellTowers": [{**CELL, "radioType": None, "signalStrength": "x"}]}]
# Where the first cell is not known, or not said, the area of the cells stands for it.
IN_AREA = [
    {"cellTowers": [{**CELL, "cellId": 9}]}, {"cellTowers": [{**CELL, "cellId": None}]},
    {"homeMobileCountryCode": 1, "homeMobileNetworkCode": 1, "fallbacks": {"ipf": False, "lacf": 0},
     "cellTowers": [{"locationAreaCode": 1}]},
    {"cellTowers": [{**CELL, "cellId": 10}, {**CELL, "cellId": 9}]}]
UNKNOWN = [
    {}, {"cellTowers": [{**CELL, "locationAreaCode": 2}]},
    {"cellTowers": CELL, "wifiAccessPoints": 1e99}, {"cellTowers": [{"locationAreaCode": 1}]},
    {"homeMobileCountryCode": 2, "homeMobileNetworkCode": 1, "cellTowers": [{"locationAreaCode": 1}]},
    {"cellTowers": [{**CELL, "mobileCountryCode": 1 << 64}]}, {"cellTowers": [{**CELL, "cellId": 7.0}]}]
MALFORMED = [b"", b"[]", b"{", b"\xff", b"[" * 100_000, b'{"a":' * 9 + b"1" + b"}" * 9]


class JsonCalls(unittest.TestCase):
    def setUp(self):
        folder = self.enterContext(data_folder(PLACES, CELLS, ACCESS_POINTS))
        self.url, _ = self.enterContext(kesu_server("--data", folder))

    def call(self, method, path, body=b""):
        head = (f"{method} {path} HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
                f"Content-Length: {len(body)}\r\n\r\n")
        with connect(self.url, head.encode() + body) as client:
            lines, _, content = everything(client).partition(b"\r\n\r\n")
        if b"application/json" in lines:
            content = json.loads(content)
        return int(lines.split()[1]), content

    def test_geolocate(self):
        for call in FOUND:
            with self.subTest(call):
                status, answer = self.call("POST", "/v1/geolocate", json.dumps(call).encode())
                self.assertEqual((status, answer.keys()), (200, {"location", "accuracy"}))
                self.assertAlmostEqual(answer["location"]["lat"], 0, delta=0.01)
                self.assertAlmostEqual(answer["location"]["lng"], -150, delta=0.01)
                self.assertTrue(0 < answer["accuracy"] < 100_000)
        # What was seen long ago, and not well, says less.
        old = {"wifiAccessPoints": [{**ACCESS_POINT, "age": 600_000}]}
        weak = {"wifiAccessPoints": [{**ACCESS_POINT, "signalStrength": -85}]}
        plain, aged, faint = (
            self.call("POST", "/v1/geolocate", json.dumps(call).encode())[1]["accuracy"]
            for call in (FOUND[1], old, weak))
        self.assertGreater(aged, 2 * plain)
        self.assertGreater(faint, 2 * plain)
        for status, message, bodies in (
                (404, "Not found", [json.dumps(call).encode() for call in UNKNOWN]),
                (400, "Parse Error", MALFORMED)):
            for body in bodies:
                with self.subTest(body[:99]):
                    self.assertEqual(self.call("POST", "/v1/geolocate?key=x", body),
                                     (status, {"error": {"code": status, "message": message}}))
        self.assertEqual(self.call("GET", "/v1/geolocate"), (405, b"only POST\n"))

    def test_an_unknown_cell_is_somewhere_in_its_area(self):
        # The middle of two cells, and the radius that holds both.
        cells = "".join(f"GSM,1,1,1,{cell},0,13,{latitude},1000\n"
                        for cell, latitude in ((7, 52), (8, 52.1)))
        with tempfile.TemporaryDirectory() as folder:
            database = f"--database={folder}/a.db"
            subprocess.run([os.environ["KESU_DATA"], "import", "cells", "-", database],
                           input=cells.encode(), check=True, stderr=subprocess.DEVNULL)
            with kesu_server(database) as (self.url, _):
                _, [located] = kesu_json("locate", "--cell=1,1,1,9,-60", server=self.url)
                answers = [(located["latitude"], located["longitude"], located["accuracy_m"])]
                for call in IN_AREA:
                    status, answer = self.call("POST", "/v1/geolocate", json.dumps(call).encode())
                    self.assertEqual(status, 200, call)
                    answers.append((*answer["location"].values(), answer["accuracy"]))
                for call in IN_AREA:
                    exact = json.dumps({**call, "fallbacks": {"lacf": False}}).encode()
                    self.assertEqual(self.call("POST", "/v1/geolocate", exact)[0], 404, call)
                known = json.dumps({**IN_AREA[0], "cellTowers": [CELL], "fallbacks": {"lacf": False}})
                self.assertEqual(self.call("POST", "/v1/geolocate", known.encode())[0], 200)
                for latitude, longitude, accuracy in answers:
                    self.assertAlmostEqual(latitude, 52.05, 5)
                    self.assertAlmostEqual(longitude, 13, 5)
                    self.assertTrue(6_000 < accuracy < 50_000, accuracy)

    def test_reverse(self):
        status, answer = self.call("GET", "/reverse?format=json&lat=38%2E71&lon=-9.11&zoom=18")
        self.assertEqual(status, 200)
        self.assertRegex(answer.pop("place_id"), r"\A\d+\Z")
        self.assertEqual(answer, {
            "type": "city", "lat": "38.7000000", "lon": "-9.1000000",
            "display_name": 'Lisboa "é", Portugal',
            "address": {"city": 'Lisboa "é"', "country": "Portugal"},
            "boundingbox": ["38.6900000", "38.7100000", "-9.1100000", "-9.0900000"]})
        self.assertEqual(self.call("GET", "/reverse?lat=-80&lon=0"),
                         (200, {"error": "Unable to geocode"}))
        for arguments in ("", "?lat=1", "?lat=1&lon=", "?lat=1&lon=x", "?lat=1x&lon=1",
                          "?lat=91&lon=1", "?lat=nan&lon=1", "?lat=1&lon=inf", "?lat=1&lon"):
            with self.subTest(arguments):
                status, answer = self.call("GET", "/reverse" + arguments)
                self.assertEqual((status, answer["error"]["code"]), (400, 400))

    def test_geosubmit(self):
        report = {"position": {"latitude": 1, "longitude": 2, "accuracy": 10},
                  "wifiAccessPoints": [{**ACCESS_POINT, "macAddress": "00005e0053" + end}
                                       for end in ("11", "12")]}
        away = {**report, "position": {**report["position"], "latitude": 3}}
        bodies = [{"items": []}, {"items": [7, {}, report, {**report, "timestamp": 1}]},
                  {"items": [away] * 2, "more": {"items": [away]}}]
        with tempfile.TemporaryDirectory() as folder, \
                kesu_server("--learn", "--workers=1", f"--database={folder}/a.db") as (self.url, _):
            for body in [*MALFORMED, b"{}", json.dumps(report).encode(), b'{"items":{}}']:
                with self.subTest(body[:99]):
                    self.assertEqual(self.call("POST", "/v2/geosubmit", body), (
                        400, {"error": {"code": 400, "message": "Parse Error"}}))
            for body in bodies:
                self.assertEqual(self.call("POST", "/v2/geosubmit?key=x", json.dumps(body).encode()),
                                 (200, {}))
            self.assertEqual(self.call("POST", "/v2/geosubmit", b" " * ((1 << 20) + 1))[0], 413)
            deadline = time.monotonic() + PATIENCE_S
            blocked = 0
            while not blocked and time.monotonic() < deadline:
                page = self.call("GET", "/metrics")[1].decode()
                blocked = int(re.search(r"^kesu_stations_blocked_total (\d+)$", page, re.M)[1])
                time.sleep(0.05)
            self.assertEqual(blocked, 2)
            self.assertIn('{service="geosubmit",status="200"} 3\n', page)

    def test_a_server_that_does_not_learn_says_so(self):
        self.assertEqual(self.call("POST", "/v2/geosubmit", b'{"items":[]}'), (
            403, {"error": {"code": 403, "message": "This server does not learn"}}))
