"""A fleet that knows where it is teaches a server, which then locates devices that do not."""

import contextlib
import json
import os
import re
import sqlite3
import subprocess
import tempfile
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from urllib.request import urlopen

from fixture import PATIENCE_S, kesu_server

# The town takes this many lookups to be known from every street.
LESSONS, LOOKUPS = 1500, 500


def fleet(server, *words):
    return subprocess.run([os.environ["KESU_FLEET"], server, *map(str, words)], check=True,
                          timeout=5 * PATIENCE_S, stdout=subprocess.PIPE, text=True).stdout


class Learning(unittest.TestCase):
    def test_a_fleet_teaches_a_town(self):
        with tempfile.TemporaryDirectory() as folder:
            database = ("--database", f"{folder}/town.db")
            with kesu_server("--learn", *database) as (server, _):
                self.assertEqual(fleet(server, "locate", 10).split()[0], "0")
                fleet(server, "teach", LESSONS)
                # However fast they come.
                self.assertIn("\nkesu_lessons_dropped_total 0\n",
                              urlopen(f"{server}/metrics").read().decode())
            # What was learned is there after the end of the server that learned it.
            with kesu_server(*database) as (server, _):
                report = fleet(server, "locate", LOOKUPS)
        print(f"after {LESSONS} lookups with a fix: {report}", end="")
        numbers = re.findall(r"[\d.]+(?= located| m\b| %)", report)
        located, median, _, covered, _ = map(float, numbers)
        self.assertEqual(located, LOOKUPS)
        self.assertLess(median, 40)
        self.assertGreater(covered, 92)

    def test_several_workers_and_an_import_teach_at_once_and_nothing_is_lost(self):
        # Each of these is worth 1, wherever it is said.
        report = {"position": {"latitude": 1, "longitude": 2, "accuracy": 10},
                  "wifiAccessPoints": [{"macAddress": f"00005e0053{i:02x}"} for i in range(16)]}
        posts, reports = 120, 5
        body = json.dumps({"items": [report] * reports}).encode()
        lessons = posts * reports * len(report["wifiAccessPoints"])
        with tempfile.TemporaryDirectory() as folder:
            database = f"{folder}/town.db"
            with open(f"{folder}/reports.json", "wb") as file:
                file.write(posts * (body + b"\n"))
            with kesu_server("--learn", "--workers=4", "--database", database) as (server, _), \
                    ThreadPoolExecutor(8) as pool:
                imported = pool.submit(
                    subprocess.run, [os.environ["KESU_DATA"], "import", "reports", file.name,
                                     "--database", database], check=True, timeout=PATIENCE_S)
                answers = pool.map(lambda _: urlopen(f"{server}/v2/geosubmit", body).read(), range(posts))
                self.assertEqual(set(answers), {b"{}"})
                imported.result()
                deadline = time.monotonic() + PATIENCE_S
                counts = {}
                while counts.get("written") != lessons and time.monotonic() < deadline:
                    page = urlopen(f"{server}/metrics").read().decode()
                    counts = {name: int(count) for name, count in
                              re.findall(r"^kesu_lessons_(\w+)_total (\d+)$", page, re.M)}
                    time.sleep(0.05)
            self.assertEqual(counts, {"received": lessons, "written": lessons, "dropped": 0})
            with contextlib.closing(sqlite3.connect(database)) as opened:
                self.assertEqual(list(opened.execute("SELECT count(*), sum(weight) FROM learned")),
                                 [(len(report["wifiAccessPoints"]), 2 * lessons)])


if __name__ == "__main__":
    unittest.main()
