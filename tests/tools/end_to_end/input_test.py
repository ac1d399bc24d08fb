"""Questions on standard input, the forms of their answers, and the options of long runs."""

import contextlib
import itertools
import json
import os
import pty
import re
import signal
import subprocess
import threading
import time
import unittest

from fixture import (KESU, PATIENCE_S, STALL, Reply, answer, asker, data_folder, http, kesu,
                     kesu_json, kesu_server, latlng, nested, number, place, reply, serving)

PLACES = "38.7\t-9.1\tPT\tPortugal\tLisbon\tX\n"
LONGEST = 1 << 20
# Lines, and what is wrong with each or the latitude that it asks about.
POINTS = [
    (b"\xef\xbb\xbf38.7,-9.1\r", 38.7), (b"", None), (b" \t", None), (b"nowhere", "LAT,LON"),
    (b' {"latitude":38.7,"longitude":-9.1,"x":1}', 38.7),
    (b"1" * LONGEST, "LAT,LON"), (b"1" * (LONGEST + 1), "longer than 1048576 bytes"),
    (b"\x0038.7,-9.1", "\x0038.7"), (b"\xff,1", '"\ufffd"'), (b" 38.7 , -9.1 ", 38.7),
    (b'{"latitude":"1","longitude":2}', "latitude must be a number from -90.0 to 90.0"),
    (b'{"latitude":1e999,"longitude":2}', "JSON object"), (b"[1,2]", "LAT"),
    (b'{"latitude":null,"longitude":2}', "latitude is missing"), (b"{" * LONGEST, "JSON object"),
    (b"90.1,0", "LAT"), (b"38.7,-9.1", 38.7),
]
CELL = '{"mcc":1,"mnc":1,"area":1,"cell":7'
OBSERVATIONS = [
    ('{"cells":[%s,"signal_dbm":-80,"age_ms":1.5,"timing_advance":3,"scrambling_code":null}]}' % CELL,
     0),
    ('{"fix":{"latitude":38.7,"longitude":-9.1,"accuracy_m":5,"age_ms":0},"cells":[]}', 38.7),
    ('{"access_points":[{"mac_address":"00-00-5e-00-53-0a","name":"x","channel":6}]}', 5),
    ('{"access_points":[{"mac_address":"00-00-5e-00-53-0a","name":"X_NoMap"}]}', "may be told"),
    ("{}", "at least one of cells"), ('{"cels":[]}', "cels is not known"),
    ('{"cells":{}}', "cells must be a list"), ('{"cells":[1]}', r"cells[0] must be a JSON object"),
    ('{"cells":[%s},%s,"x":1}]}' % (CELL, CELL), "cells[1].x is not known"),
    ('{"cells":[{"mcc":1,"mnc":1,"area":1}]}', "cells[0].cell is missing"),
    ('{"cells":[%s,"signal_dbm":-80.5}]}' % CELL, "a whole number from -200 to 20"),
    ('{"cells":[%s,"signal_dbm":18446744073709551615}]}' % CELL, "cells[0].signal_dbm"),
    ('{"access_points":[{"mac_address":"x"}]}', "access_points[0].mac_address"),
    ('{"access_points":[{"mac_address":1}]}', "must be a string"),
    ('{"fix":{"latitude":1,"longitude":181}}', "fix.longitude"), ('{"fix":1}', "fix must be"),
]
TABLES = (PLACES, "1\t1\t1\t7\t0\t-150\t-40\t2\t6\n", "00-00-5E-00-53-0A\t5\t6\t-40\t2\t6\n")

# Position and accuracy; west, south, east, north. A degree of latitude has 111195.08 m.
DEGREE = 111195
BOXES = [
    ((0, 20), DEGREE, (19, -1, 21, 1)), ((60, 179.5), 11119.5, (179.3, 59.9, 179.7, 60.1)),
    ((0, 179.5), DEGREE, (178.5, -1, -179.5, 1)), ((0, -180), DEGREE, (179, -1, -179, 1)),
    ((89.5, 20), DEGREE, (-180, 88.5, 180, 90)), ((-89.5, 20), DEGREE, (-180, -90, 180, -88.5)),
    ((0, 0), None, None),
]
FIJI = nested(5, nested(1, b"Fiji"), number(2, 2), nested(4, nested(1, latlng(-21, 176)),
                                                           nested(2, latlng(-12, -178))),
              nested(5, latlng(-18, 178)), nested(3, nested(1, b"Suva"), nested(
                  2, nested(1, b"Fiji"), number(2, 9), nested(3, b"en"))))


def found(*elements):
    return Reply(http(reply(*(answer(i, number(1, 0) + nested(2, element))
                              for i, element in enumerate(elements)))))


class Input(unittest.TestCase):
    def start(self, *words, **options):
        process = subprocess.Popen([KESU, *words], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   **options)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        process.kill()
        process.wait(PATIENCE_S)
        for stream in filter(None, (process.stdin, process.stdout, process.stderr)):
            with contextlib.suppress(BrokenPipeError):
                stream.close()

    def feed(self, process, lines):
        """In the background, until the program has enough."""
        def write():
            # In the end it is gone, or its input closed.
            with contextlib.suppress(BrokenPipeError, ValueError):
                for line in lines:
                    process.stdin.write(line)
                process.stdin.close()
        threading.Thread(target=write, daemon=True).start()

    def test_lines(self):
        with data_folder(*TABLES) as folder, kesu_server("--data", folder) as (server, _):
            for command, rows in (("reverse", POINTS), ("locate", [
                    (line.encode(), expected) for line, expected in OBSERVATIONS])):
                text = b"\n".join(line for line, _ in rows)
                run = kesu("--json", command, "-", server=server, text=text)
                self.assertEqual((run.returncode, run.stderr), (2, ""))
                wanted = [(i, *row) for i, row in enumerate(rows, 1) if row[1] is not None]
                results = [json.loads(line) for line in run.stdout.splitlines()]
                for (i, line, expected), result in zip(wanted, results, strict=True):
                    with self.subTest(line[:80]):
                        self.assertEqual(result["line"], i)
                        if isinstance(expected, str):
                            self.assertIn(expected, result["error"]["message"])
                            self.assertLess(len(result["error"]["message"]), 300)
                        else:
                            self.assertEqual(result.get("latitude"), expected, result)
            text = kesu("locate", "-", server=server, text=b"{}\n")
            self.assertRegex(text.stderr, r"\Akesu: line 1: .*at least one")
            # What one command prints is what the other takes.
            [where] = kesu("--json", "locate", "--gps", "38.7,-9.1", server=server).stdout.splitlines()
            there = kesu("reverse", "-", server=server, text=where.encode())
            self.assertIn("Lisbon", there.stdout)

    def test_as_they_come_until_interrupted(self):
        with kesu_server() as (server, _):
            for sent in (signal.SIGINT, signal.SIGTERM):
                run = self.start("--server", server, "--json", "reverse", "-")
                for latitude in range(3):
                    run.stdin.write(b"%d,0\n" % latitude)
                    run.stdin.flush()
                    self.assertEqual(json.loads(run.stdout.readline())["latitude"], latitude)
                run.send_signal(sent)
                self.assertEqual((run.wait(PATIENCE_S), run.stdout.read()), (-sent, b""))

    def test_much(self):
        count = 20000
        with kesu_server() as (server, _):
            # While nobody reads the answers, what has been asked is not out of time.
            run = self.start("--server", server, "--deadline", "4", "--json", "reverse", "-")
            self.feed(run, (b"%d,0\n" % (i % 90) for i in range(count)))
            time.sleep(4.5)
            lines = [json.loads(line) for line in run.stdout]
            self.assertEqual([line["line"] for line in lines], list(range(1, count + 1)))
            self.assertFalse([line for line in lines if "error" in line])
            self.assertEqual(run.wait(PATIENCE_S), 1)
            # Python has SIGPIPE ignored.
            run = self.start("--server", server, "reverse", "-", stderr=subprocess.PIPE,
                             restore_signals=False)
            self.feed(run, itertools.repeat(b"38.7,-9.1\n"))
            run.stdout.readline()
            run.stdout.close()
            self.assertEqual(run.stderr.read(), b"kesu: the results could not be written\n")
            self.assertEqual(run.wait(PATIENCE_S), 3)

    def test_bounded(self):
        with serving(Reply(b"", STALL)) as server:
            run = self.start("--server", server.url, "--timeout", "1", "--deadline", "9",
                             "reverse", "-",
                             stderr=subprocess.PIPE)
            self.feed(run, itertools.repeat(b"1,2\n"))
            error = run.stderr.read()
            self.assertEqual((run.wait(PATIENCE_S), run.stdout.read()), (4, b""))
            self.assertEqual(error.count(b": no answer in time\n"), 500)
            self.assertIn(b"kesu: the time is up before the end of standard input\n", error)
            asked = sum(body.count(b"g:loc/ql") for body in server.bodies)
            self.assertLessEqual(asked, 500)

    def test_progress_is_for_terminals(self):
        master, terminal = pty.openpty()
        with kesu_server("--fault", "delay=1000") as (server, _):
            for options in ([], ["--progress"]):
                run = kesu("--server", server, *options, "reverse", "-", text=b"1,2\n")
                self.assertEqual(run.stderr, "")
            run = self.start("--server", server, "reverse", "-", stderr=terminal)
            run.communicate(b"1,2\n3\n")
        os.close(terminal)
        shown = b""
        with self.assertRaises(OSError):
            while True:
                shown += os.read(master, 1000)
        os.close(master)
        self.assertRegex(shown, rb"kesu: 0 done, 0 failed, 1 under way\r\x1b\[Kkesu: line 2: ")

    def test_geojson(self):
        replies = [place(position, *([number(3, round(metres))] if metres else []), field=2)
                   for position, metres, _ in BOXES]
        words = " --next ".join(["--gps 1,2"] * (len(BOXES) + 1)).split()
        with serving(found(*replies, b"")) as server:
            run = kesu("--geojson", "locate", *words, server=server.url)
        collection = json.loads(run.stdout)
        self.assertEqual((run.returncode, collection["type"]), (1, "FeatureCollection"))
        for (at, metres, box), feature in zip(BOXES, collection["features"][:-1], strict=True):
            with self.subTest(at):
                self.assertEqual(feature["geometry"], {"type": "Point", "coordinates": [*at[::-1]]})
                self.assertEqual(feature["properties"]["accuracy_m"], metres and round(metres))
                for is_at, expected in zip(feature.get("bbox", ()), box or (), strict=True):
                    self.assertAlmostEqual(is_at, expected, 2)
        self.assertEqual(collection["features"][-1]["geometry"], None)
        with serving(found(place((-17, 177), FIJI, field=2))) as server:
            run = kesu("--geojson", "reverse", "-", server=server.url, text=b"-17,177\nx\n")
        first, second = map(json.loads, run.stdout.splitlines())
        self.assertEqual(first, {
            "type": "Feature", "geometry": {"type": "Point", "coordinates": [177, -17]},
            "bbox": [176, -21, -178, -12], "properties": {
                "line": 1, "address": "Fiji", "features": [{
                    "name": "Fiji", "kind": 2, "centre": {"latitude": -18, "longitude": 178},
                    "bounding_box": {"south": -21, "west": 176, "north": -12, "east": -178},
                    "address": {"lines": ["Suva"], "components": [
                        {"name": "Fiji", "kind": 9, "language": "en"}]}}]}})
        self.assertEqual((second["geometry"], second["properties"]["line"]), (None, 2))

    def test_options(self):
        with serving(found(place((1, 2), field=2))) as server:
            # The server is asked in the place of one that does not exist.
            run = kesu("--server", "http://nowhere.invalid", "--proxy", server.url, "--stats",
                       "--platform-key", "k1", "--json", "locate", "--gps", "1,2")
            self.assertEqual((run.returncode, json.loads(run.stdout)["platform_key"]), (0, "k1"))
            self.assertRegex(run.stderr, r"\Akesu: calls=1 found=1 requests=1 retries=0 posts=1 "
                             r"bytes_out=\d+ bytes_in=\d+\n\Z")
            self.assertIn(asker(nested(8, b"k1")), server.bodies[0])
        with serving(Reply(b"", STALL)) as server:
            started = time.monotonic()
            status, _ = kesu_json("--deadline", "0.5", "reverse", "1,2", server=server.url)
            self.assertEqual(status, 4)
            self.assertLess(time.monotonic() - started, 20)
