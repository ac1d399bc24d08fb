"""The examples that use kesu::Client, against a real kesu-server."""

import csv
import os
import pathlib
import signal
import subprocess
import unittest

from fixture import PATIENCE_S, kesu_json, kesu_server

EXAMPLES = os.environ["EXAMPLES"]
SOURCES = pathlib.Path(__file__).parents[2] / "examples"


def run(example, *arguments, text=""):
    return subprocess.run([f"{EXAMPLES}/{example}", *arguments], input=text, text=True, check=True,
                          capture_output=True, timeout=PATIENCE_S)


class ExamplesTest(unittest.TestCase):
    def test_they_are_short(self):
        for name, most_lines in (("follow", 35), ("addresses", 30), ("shop_hours", 45)):
            text = (SOURCES / f"{name}.cc").read_text()
            self.assertLessEqual(text.count("\n"), most_lines)
            self.assertNotIn("common_base", text)

    def test_follow(self):
        with kesu_server() as (url, _):
            _, [there] = kesu_json("locate", "--cell", "1,1,1,1001,-71",
                                   "--wifi", "00-00-5E-00-53-01,-60", server=url)
            with subprocess.Popen([f"{EXAMPLES}/follow", url, "1"], stdout=subprocess.PIPE,
                                  text=True) as follow:
                for _ in range(2):
                    words = follow.stdout.readline().split()
                    self.assertAlmostEqual(float(words[0]), there["latitude"], 3)
                    self.assertAlmostEqual(float(words[1]), there["longitude"], 3)
                    self.assertEqual(words[2:], ["within", str(there["accuracy_m"]), "m"])
                follow.send_signal(signal.SIGINT)
                self.assertEqual(follow.wait(PATIENCE_S), 0)

    def test_addresses(self):
        points = [(-60 + i / 4, -170 + i / 2) for i in range(500)]
        text = "".join(f"{latitude},{longitude}\n" for latitude, longitude in points)
        with kesu_server() as (url, end):
            _, some = kesu_json("reverse", *(f"{a},{b}" for a, b in points[::100]), server=url)
            out = run("addresses", url, text=text)
            posts = [line for line in end() if "POST" in line]
        self.assertEqual(len(posts), 2, posts)
        rows = list(csv.reader(out.stdout.splitlines()))
        self.assertEqual([(float(a), float(b)) for a, b, _ in rows], points)
        for row, place in zip(rows[::100], some):
            self.assertEqual(row[2], place.get("address") or "the service knows no place there")

    def test_shop_hours(self):
        # The server does not know this service.
        with kesu_server() as (url, _):
            out = run("shop_hours", url)
        self.assertEqual(out.stdout, "the service refused the request with status 404\n")
