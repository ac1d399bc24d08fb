"""A fleet that knows where it is teaches a server, which then locates devices that do not."""

import os
import re
import subprocess
import tempfile
import unittest

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
            # What was learned is there after the end of the server that learned it.
            with kesu_server(*database) as (server, _):
                report = fleet(server, "locate", LOOKUPS)
        print(f"after {LESSONS} lookups with a fix: {report}", end="")
        numbers = re.findall(r"[\d.]+(?= located| m\b| %)", report)
        located, median, _, covered, _ = map(float, numbers)
        self.assertEqual(located, LOOKUPS)
        self.assertLess(median, 40)
        self.assertGreater(covered, 92)


if __name__ == "__main__":
    unittest.main()
