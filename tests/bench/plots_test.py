"""Figures as the benchmarks print them, and the pictures of them."""

import pathlib
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

DRAW = pathlib.Path(__file__).parents[2] / "bench/plot/draw.py"
HISTORY = """version,line,unit,ours,peer,goal
old,reply decode,Ir,300,100,0.5
old,gone,Ir,1,1,2
new,reply decode,Ir,1,1,0.5
"""
PRINTED = {
    "peers": """name                                   unit          ours        peer   ratio  goal
reply decode                           us          5.6512      15.556   0.363  <= 0.5 x
<reply> & text                         us          2.0000      1.0000   2.000  -
reply decode, allocations                               4         133   0.030  <= 30
POSTs at once, 4000 beside 100 of ours us          28.717      36.101   0.795  <= 1.1 x  MISSED
lookup, alone                          us          1e+06           -       -  <= 30
""",
    "instructions": """reply decode                           Ir           61812  1.4516e+05   0.426  <= 0.5 x
""",
    "growth": "mux.throughput 1.5e+06 requests/s\nmux.submit.1000 250.5 ns\nmux.submit.10000 260 ns\n",
    "errors": "the town\t0.000\t0.10\t0.20\nthe town\t1.000\t90.00\t150.00\nunknown\t1.000\t1.00\t1.00\n",
}
SAID = {
    "peers": ["reply decode", "<reply> & text", "POSTs at once, 4000 beside 100 of ours", "goal, at most"],
    "versions": ["reply decode", "old", "new"], "growth": ["submit", "1,000"],
    "errors": ["the town, estimate", "the town, centroid"],
}
NOT_SAID = ["allocations", "gone", "lookup, alone", "unknown", "throughput"]


class Plots(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.history = self.folder / "history.csv"
        self.history.write_text(HISTORY, encoding="utf-8")
        for name, text in PRINTED.items():
            (self.folder / f"{name}.txt").write_text(text, encoding="utf-8")

    def draw(self, *words):
        return subprocess.run([sys.executable, DRAW, self.folder, *SAID, "--version", "new", "--history", self.history, *words],
                              capture_output=True, text=True, check=False)

    def test_pictures(self):
        drawn = []
        for _ in range(2):
            run = self.draw()
            self.assertEqual((run.returncode, run.stderr), (0, ""))
            drawn.append({name: (self.folder / f"{name}.svg").read_bytes() for name in SAID})
        self.assertEqual(*drawn)
        for name, picture in drawn[0].items():
            texts = {"".join(element.itertext()).strip()
                     for element in xml.etree.ElementTree.fromstring(picture).iter() if element.tag.endswith("text")}
            self.assertLessEqual(set(SAID[name]), texts)
            self.assertFalse(texts.intersection(NOT_SAID))
        self.assertEqual(self.history.read_text(encoding="utf-8"), HISTORY)

    def test_history(self):
        images = self.folder / "images"
        images.mkdir()
        self.assertEqual(self.draw("--record", "--images", images).returncode, 0)
        self.assertEqual({picture.stem for picture in images.iterdir()}, set(SAID))
        rows = self.history.read_text(encoding="utf-8").splitlines()
        # What was there of this version gives way.
        self.assertEqual(rows[:3], HISTORY.splitlines()[:3])
        self.assertEqual(len(rows), 11)
        for row in ("new,reply decode,us,5.6512,15.556,0.5", "new,<reply> & text,us,2.0000,1.0000,", "new,mux.submit.1000,ns,250.5,,",
                    '"POSTs at once', "new,reply decode,Ir,61812,1.4516e+05,0.5", '"lookup, alone",us,1e+06,,'):
            self.assertIn(row, "\n".join(rows))

    def test_no_figures(self):
        (self.folder / "growth.txt").write_text("a measurement that failed\n", encoding="utf-8")
        self.assertNotEqual(self.draw().returncode, 0)


if __name__ == "__main__":
    unittest.main()
