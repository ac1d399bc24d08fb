"""The calls in JSON of location daemons and geocoding libraries, by hand-written requests."""

import json
import unittest

from bounds_test import connect, everything
from fixture import data_folder, kesu_server

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
UNKNOWN = [
    {}, {"cellTowers": [{**CELL, "cellId": 8}]}, {"cellTowers": CELL, "wifiAccessPoints": 1e99},
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
        for status, message, bodies in (
                (404, "Not found", [json.dumps(call).encode() for call in UNKNOWN]),
                (400, "Parse Error", MALFORMED)):
            for body in bodies:
                with self.subTest(body[:99]):
                    self.assertEqual(self.call("POST", "/v1/geolocate?key=x", body),
                                     (status, {"error": {"code": status, "message": message}}))
        self.assertEqual(self.call("GET", "/v1/geolocate"), (405, b"only POST\n"))

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
