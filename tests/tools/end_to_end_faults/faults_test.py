"""Faults on demand: what kesu makes of each, and that kesu-server sends what it was asked for."""

import contextlib
import http.client
import os
import subprocess
import sys
import time
import unittest
import urllib.parse

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "end_to_end"))

from programs import KESU_SERVER, PATIENCE_S, kesu_json, kesu_server

PATH = "/m/appreq/cllDovi"

# A POST without requests; its answer is the version alone. And one with a request, 7, for the
# service "", whose answer is the version and a block with the status 404.
HEADER = bytes.fromhex("0001 0000000D 0001 0001 74 000000000000002A 0000")
POST = HEADER + bytes.fromhex("0000000A 0100 0007 0000 0001 00000000")
REPLY = bytes.fromhex("0001 0000000A 8100 0007 0194 0000 00000000")

LISBON = "38.71,-9.14"


@contextlib.contextmanager
def faulty_server(*faults):
    """Runs a kesu-server with faults. Yields its URL and a function that ends it and yields its
    lines about the requests."""
    words = [word for fault in faults for word in ("--fault", fault)]
    server = subprocess.Popen([KESU_SERVER, "--port", "0", "--verbose", *words],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    report = []

    def end():
        if not report:
            server.terminate()
            report.append(server.communicate(timeout=PATIENCE_S)[1])
        return report[0].splitlines()

    try:
        line = server.stdout.readline()
        assert line.startswith("listening on "), f"kesu-server printed {line!r} first"
        yield line.split()[-1], end
    finally:
        end()
    assert server.returncode == 0, (server.returncode, report)


def post(url, body=POST):
    """Posts, and yields the reply with its whole body in .body."""
    connection = http.client.HTTPConnection(urllib.parse.urlsplit(url).netloc, timeout=PATIENCE_S)
    try:
        connection.request("POST", PATH, body, {"Content-Type": "application/binary"})
        reply = connection.getresponse()
        reply.body = reply.read()
        return reply
    finally:
        connection.close()


class SeenByKesu(unittest.TestCase):
    def check(self, faults, exit_status, posts, *points, options=()):
        with faulty_server(*faults) as (server, end):
            status, results = kesu_json(*options, "reverse", *(points or [LISBON]), server=server)
            self.assertEqual((status, len(end())), (exit_status, posts))
        return results

    def test_what_becomes_of_a_lookup(self):
        for faults, exit_status, posts, error in (
                (["status=500"], 3, 1, ("failure", 500)),
                (["status=204"], 3, 1, ("failure", 204)),
                (["status=502:1"], 0, 2, None),
                (["status=502"], 3, 2, ("failure", -3)),
                (["delay=200"], 0, 1, None),
                (["drop"], 3, 1, ("failure", 0)),
                (["cut=40"], 5, 2, ("malformed", -3)),
                (["cut=40:1"], 0, 2, None),
                (["cut=1"], 5, 1, ("malformed", 2)),
                (["chunked"], 5, 1, ("malformed", 2)),
                (["content-type=text/html:1"], 0, 2, None),
                (["content-type=text/html"], 5, 2, ("malformed", -3)),
                (["version=2"], 5, 1, ("malformed", 2)),
                (["garbage"], 5, 1, ("malformed", 2)),
                (["omit=1"], 5, 2, ("malformed", -3)),
                (["encoding=n"], 0, 1, None),
                (["encoding=x"], 5, 2, ("malformed", -3)),
                (["status=502:1", "content-type=x:1"], 5, 2, ("malformed", -3))):
            with self.subTest(faults=faults):
                result, = self.check(faults, exit_status, posts)
                if error is None:
                    self.assertIn("Lisbon", result["features"])
                else:
                    self.assertEqual((result["error"]["kind"], result["error"]["status"]), error)

    def test_a_small_gzip_payload_is_read_as_nothing(self):
        result, = self.check(["encoding=g"], 1, 1)
        self.assertEqual(result["features"], [])

    def test_a_late_answer(self):
        result, = self.check(["delay=60000"], 4, 1, options=["--timeout", "0.3"])
        self.assertEqual(result["error"]["kind"], "timeout")

    def test_what_was_left_out_is_asked_again(self):
        points = [LISBON, "48.8,2.3", "52.5,13.4", "40.4,-3.7"]
        with kesu_server() as server:
            expected = kesu_json("reverse", *points, server=server)[1]
        with faulty_server("omit=2:1") as (server, end):
            self.assertEqual(kesu_json("reverse", *points, server=server), (0, expected))
            self.assertGreater(len(end()), 1)

    def test_a_redirect_to_another_server(self):
        with faulty_server() as (other, end_other):
            result, = self.check(["redirect=" + other + PATH], 0, 1)
            self.assertIn("Lisbon", result["features"])
            self.assertEqual(len(end_other()), 1)


class SeenByAnyone(unittest.TestCase):
    def test_replies(self):
        for fault, status, headers, body in (
                ("status=503", 503, {"Content-Length": "18"}, REPLY),
                ("status=304", 304, {}, b""),
                ("chunked", 200, {"Content-Length": None, "Transfer-Encoding": "chunked"}, REPLY),
                ("content-type=a/b; c=d:e", 200, {"Content-Type": "a/b; c=d:e"}, REPLY),
                ("cut=18", 200, {"Content-Length": "18"}, REPLY),
                ("encoding=xy", 200, {"Content-Length": "20"},
                 bytes.fromhex("0001 0000000C 8100 0007 0194 0002 7879 00000000")),
                ("redirect=http://127.0.0.1:1/x", 302, {"Location": "http://127.0.0.1:1/x"},
                 REPLY)):
            with self.subTest(fault=fault), faulty_server(fault) as (server, end):
                reply = post(server)
                self.assertEqual((reply.status, reply.body), (status, body))
                for name, value in headers.items():
                    self.assertEqual(reply.getheader(name), value)
                self.assertTrue(end()[0].endswith(", with the fault " + fault))

    def test_every_run_sends_the_same_garbage(self):
        bodies = set()
        for _ in range(2):
            with faulty_server("garbage") as (server, _):
                bodies.add(post(server).body)
        self.assertEqual([len(body) for body in bodies], [len(REPLY)])
        self.assertNotIn(REPLY, bodies)

    def test_faults_have_their_turn_one_after_the_other(self):
        with faulty_server("drop:1", "cut=4:1", "delay=300:1", "status=503:2") as (server, end):
            with self.assertRaises(http.client.RemoteDisconnected):
                post(server)
            with self.assertRaises(http.client.IncompleteRead) as failure:
                post(server)
            self.assertEqual(failure.exception.partial, REPLY[:4])
            begin = time.monotonic()
            self.assertEqual(post(server).body, REPLY)
            self.assertGreaterEqual(time.monotonic() - begin, 0.3)
            # What is refused anyway uses up nothing.
            self.assertEqual(post(server, b"").status, 400)
            self.assertEqual([post(server).status for _ in range(3)], [503, 503, 200])
            end()

    def test_a_client_that_does_not_wait(self):
        with faulty_server("delay=200:1") as (server, _):
            connection = http.client.HTTPConnection(urllib.parse.urlsplit(server).netloc)
            connection.request("POST", PATH, POST, {"Content-Type": "application/binary"})
            connection.close()
            time.sleep(0.4)
            self.assertEqual(post(server).body, REPLY)


class Usage(unittest.TestCase):
    def test_wrong_faults(self):
        for fault, named in (("slow", "kind"), ("drop:0", "count"), ("status:1=502", "count"),
                             ("status=600", "200 to 599"), ("redirect=ftp://x/", "URL")):
            with self.subTest(fault=fault):
                run = subprocess.run([KESU_SERVER, "--port", "0", "--fault", "drop:1", "--fault",
                                      fault], capture_output=True, text=True, timeout=PATIENCE_S,
                                     check=False)
                self.assertEqual((run.returncode, run.stdout), (2, ""))
                self.assertTrue(run.stderr.startswith(f"kesu-server: --fault {fault}: "))
                self.assertIn(named, run.stderr)


if __name__ == "__main__":
    unittest.main()
