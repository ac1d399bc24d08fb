"""kesu replay: what it sends, and what it makes of every sort of reply."""

import json
import tempfile
import unittest

from fixture import BINARY, CLOSE, STALL, Reply, answer, http, kesu, post, reply, serving

POST = post((b"g:loc/ql", 0, b""))
GOOD = http(reply(answer(7)))
TREE = 'id: 7\n      10      status: 200\n'


class Replay(unittest.TestCase):
    def test_replies(self):
        cases = {
            "a good one": (Reply(GOOD), 0, TREE, ""),
            "one that has no answer": (Reply(http(reply())), 0, "reply, 2 bytes", ""),
            "one of another form": (Reply(http(reply(answer(7))[:-3])), 5, TREE, "offset 2"),
            "one that breaks off": (Reply(GOOD[:-1], CLOSE), 5, TREE, "broke off"),
            "a refusal": (Reply(http(b"no \x1b[31msuch thing\nmore", 404)), 3, "", "status 404: no [31msuch thing\n"),
            "none": (Reply(b"", CLOSE), 3, "", "no reply from the service"),
            "none in time": (Reply(b"", STALL), 4, "", "no answer in time"),
            "a redirect": (Reply(http(b"", 302, BINARY + b"\r\nLocation: ftp://x/")), 3, "", "status 302")}
        for name, (replied, status, out, err) in cases.items():
            with self.subTest(name), serving(replied) as server:
                run = kesu("replay", "--timeout=1", "-", server=server.url, text=POST)
                self.assertEqual((run.returncode, server.bodies[0]), (status, POST))
                self.assertIn(out, run.stdout)
                self.assertIn(err, run.stderr)
                self.assertEqual(bool(run.stderr), bool(err))

    def test_files(self):
        with tempfile.TemporaryDirectory() as folder, serving(Reply(GOOD)) as server:
            with open(folder + "/post", "wb") as file:
                file.write(POST)
            with open(folder + "/empty", "wb"):
                pass
            run = kesu("--json", "replay", folder + "/post", server=server.url)
            self.assertEqual((run.returncode, json.loads(run.stdout)["blocks"][0]["status"]), (0, 200))
            for words in ([folder + "/none"], [folder + "/empty"], [folder], [], ["a", "b"], ["--geojson", "-"]):
                with self.subTest(words):
                    run = kesu("replay", *words, server=server.url)
                    self.assertEqual((run.returncode, run.stdout), (2, ""))
            self.assertEqual(server.bodies, [POST])
