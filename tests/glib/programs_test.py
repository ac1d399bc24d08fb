"""The program of examples/locate in the languages that LANGUAGES names, against a real kesu-server."""

import os
import pathlib
import subprocess
import unittest

from fixture import PATIENCE_S, kesu_json, kesu_server

SOURCE = pathlib.Path(__file__).parents[2] / "examples/locate"
DEFAULT_URL = "http://127.0.0.1:8642"


def command(language, url):
    if language == "py":
        # It is what README.md quotes, and asks the server that is started without options.
        text = (SOURCE / "locate.py").read_text(encoding="utf-8")
        assert DEFAULT_URL in text
        return [os.environ["PYTHON"], "-c", text.replace(DEFAULT_URL, url)]
    if language == "js":
        return ["gjs", "-m", SOURCE / "locate.js", url]
    return [f"{os.environ['EXAMPLES']}/locate-{language}", url]


def run(language, url):
    return subprocess.run(command(language, url), text=True, check=False, capture_output=True,
                          timeout=PATIENCE_S)


class ProgramsTest(unittest.TestCase):
    def test_they_print_where_they_are_and_what_is_there(self):
        with kesu_server() as (url, _):
            _, [where] = kesu_json("locate", "--cell", "1,1,1,1001,-71",
                                   "--wifi", "00-00-5E-00-53-01,-60", server=url)
            position = f"{where['latitude']},{where['longitude']}"
            _, [place] = kesu_json("reverse", position, server=url)
            for language in os.environ["LANGUAGES"].split():
                with self.subTest(language):
                    result = run(language, url)
                    self.assertEqual((result.returncode, result.stderr), (0, ""))
                    numbers, name = result.stdout.splitlines()
                    for number, key in zip(numbers.split(), ("latitude", "longitude", "accuracy_m")):
                        self.assertAlmostEqual(float(number), where[key], 3)
                    self.assertEqual(name, place["address"])

    def test_they_fail_where_nobody_answers(self):
        for language in os.environ["LANGUAGES"].split():
            with self.subTest(language):
                result = run(language, "http://127.0.0.1:1")
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertIn("127.0.0.1", result.stderr)

    @unittest.skipUnless("py" in os.environ["LANGUAGES"], "without the bindings of Python")
    def test_callbacks_signals_threads_and_errors_in_python(self):
        with kesu_server() as (url, _):
            result = subprocess.run([os.environ["PYTHON"], "asynchronous.py", url], text=True,
                                    check=False, capture_output=True, timeout=PATIENCE_S)
        told, lisbon = result.stdout, "nearest listed place: Lisbon, Portugal"
        self.assertEqual((told.count("cancelled"), told.count("last-location"), told.count(lisbon)),
                         (1, 1, 2), result)
        self.assertTrue(told.endswith("True 1\n"), told)

    def test_they_are_short(self):
        for path in SOURCE.iterdir():
            self.assertLessEqual(len(path.read_text(encoding="utf-8").splitlines()), 30, path)


if __name__ == "__main__":
    unittest.main()
