"""The page that kesu --map writes. What a browser makes of it: tests/web."""

import json
import os
import re
import signal
import stat
import subprocess
import tempfile
import unittest

from fixture import KESU, STALL, Reply, answer, http, kesu, nested, number, place, reply, serving
from input_test import FIJI

HOSTILE = b"</script><script>alert(1)</script><!-- \xff"
SHOWN = "</script><script>alert(1)</script><!-- \ufffd"


def answers_in(page):
    inside = re.findall(r'<script type="application/json" id="answers">(.*?)</script>', page, re.DOTALL)
    assert len(inside) == 1, inside
    return json.loads(inside[0])


def answering(*elements):
    return Reply(http(reply(*(answer(i, element) for i, element in enumerate(elements)))))


class Map(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = f"{folder.name}/map.html"

    def read(self):
        with open(self.path, encoding="utf-8") as file:
            return file.read()

    def test_locate(self):
        found = number(1, 0) + nested(2, place((1.5, -2.25), number(3, 40), field=2))
        with serving(answering(found, b"\x08\1")) as server:
            run = kesu("locate", "--gps", "1.5,-2.0,7", "--next", "--wifi", "00-00-5E-00-53-01", "--map", self.path,
                       server=server.url)
        self.assertEqual((run.returncode, run.stderr), (1, ""))
        self.assertEqual(answers_in(self.read()), [
            {"title": "lookup 1",
             "estimates": [{"latitude": 1.5, "longitude": -2.25, "accuracy_m": 40}],
             "features": [],
             "fixes": [{"latitude": 1.5, "longitude": -2, "accuracy_m": 7}]},
            {"title": "lookup 2", "note": "nothing found"}])

    def test_reverse_with_hostile_names(self):
        named = number(1, 0) + nested(2, place((0, 0), nested(5, nested(1, HOSTILE)), field=2))
        with serving(answering(named)) as server:
            run = kesu("reverse", "--map", self.path, "-", server=server.url, text=b"0,0\nx<y\n")
        self.assertEqual(run.returncode, 2)
        page = self.read()
        self.assertEqual(answers_in(page)[0], {
            "title": "line 1: 0.00000, 0.00000", "points": [{"latitude": 0, "longitude": 0}],
            "note": SHOWN, "features": [{"name": SHOWN}]})
        self.assertEqual(answers_in(page)[1]["title"], "line 2")
        # Nothing is loaded from anywhere.
        self.assertNotRegex(page, r'(?i)<(script|link|img)[^>]* (src|href)=')

    def test_features_lie_somewhere(self):
        with serving(answering(number(1, 0) + nested(2, place((0, 0), FIJI, field=2)))) as server:
            kesu("reverse", "--map", self.path, "-17,177", server=server.url)
        self.assertEqual(answers_in(self.read())[0]["features"], [
            {"latitude": -18, "longitude": 178, "name": "Fiji", "kind": 2, "box": [-21, 176, -12, -178]}])

    def test_takes_the_place_of_a_file_at_the_end_only(self):
        with open(self.path, "w", encoding="utf-8") as file:
            file.write("earlier")
        with serving(Reply(b"", STALL)) as server:
            run = subprocess.Popen([KESU, "--server", server.url, "reverse", "1,2", "--map", self.path])
            while not server.bodies:
                self.assertIsNone(run.poll())
            run.send_signal(signal.SIGTERM)
            self.assertEqual(run.wait(), -signal.SIGTERM)
            self.assertEqual(self.read(), "earlier")
            run = kesu("reverse", "1,2", "--map", self.path, "--timeout", "0.01", server=server.url)
        self.assertEqual(run.returncode, 4)
        self.assertEqual(answers_in(self.read())[0]["note"], "no answer in time")
        mask = os.umask(0)
        os.umask(mask)
        self.assertEqual(stat.S_IMODE(os.stat(self.path).st_mode), 0o666 & ~mask)
        self.assertEqual(os.listdir(os.path.dirname(self.path)), ["map.html"])


if __name__ == "__main__":
    unittest.main()
