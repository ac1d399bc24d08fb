"""Lookups that fail: each kind has its exit status, its message and its JSON."""

import signal
import subprocess
import time
import unittest

from programs import KESU, PATIENCE_S, kesu, kesu_json
from servers import answering, free_port, silent

POINT = ["reverse", "38.71,-9.14"]


def reply(*blocks, version=1):
    """A reply body: protocol version, then per block its length, the type 8100, request id, status,
    no encodings, a number without meaning, and the payload."""
    body = version.to_bytes(2, "big")
    for request_id, status, payload in blocks:
        body += (10 + len(payload)).to_bytes(4, "big") + b"\x81\x00"
        body += request_id.to_bytes(2, "big") + status.to_bytes(2, "big") + bytes(2 + 4) + payload
    return body


# A GLocReply with status 1 and one without a field.
NOT_FOUND = b"\x08\x01"
EMPTY = b""
# A varint that never ends.
UNREADABLE = b"\x08" + b"\xff" * 20


class Failures(unittest.TestCase):
    def check_failure(self, server, exit_status, kind, message, status):
        run = kesu(*POINT, server=server)
        self.assertEqual((run.returncode, run.stdout, run.stderr),
                         (exit_status, "", f"kesu: 38.71000, -9.14000: {message}\n"))
        self.assertEqual(
            kesu_json(*POINT, server=server),
            (exit_status,
             [{"latitude": 38.71, "longitude": -9.14,
               "error": {"kind": kind, "status": status, "message": message}}]))

    def test_nobody_listens(self):
        self.check_failure(f"http://127.0.0.1:{free_port()}", 3, "failure",
                           "the service cannot be reached", 0)

    def test_http_failures(self):
        for http_status, status in ((404, 404), (500, 500), (501, 501), (550, 550), (502, -3)):
            with self.subTest(http_status=http_status), \
                    answering(b"sorry", http_status, "text/plain") as server:
                self.check_failure(server, 3, "failure",
                                   f"the service answered with HTTP status {http_status}", status)

    def test_one_request_is_refused(self):
        with answering(reply((0, 400, b""))) as server:
            self.check_failure(server, 3, "failure", "the service refused with status 400", 400)

    def test_malformed_replies(self):
        for what, server, status in (
                ("no reply at all", answering(b""), 2),
                ("a page", answering(b"<html>", content_type="text/html"), -3),
                ("noise", answering(bytes(reversed(range(256)))), 2),
                ("noise behind the version", answering(b"\x00\x01" + b"\xff" * 999), -3),
                ("another version", answering(reply((0, 200, NOT_FOUND), version=2)), 2),
                ("a block cut short", answering(reply((0, 200, NOT_FOUND))[:-1]), -3),
                ("an answer to another request", answering(reply((7, 200, NOT_FOUND))), -3),
                ("an unreadable answer", answering(reply((0, 200, UNREADABLE))), 200)):
            with self.subTest(what), server as url:
                self.check_failure(url, 5, "malformed", "the reply is malformed", status)

    def test_the_worst_of_several_counts(self):
        for blocks, exit_status in (
                ([(0, 200, NOT_FOUND), (1, 200, EMPTY)], 1),
                ([(0, 200, UNREADABLE), (1, 200, EMPTY)], 5),
                ([(1, 400, b""), (0, 200, UNREADABLE)], 3)):
            with self.subTest(blocks=blocks), answering(reply(*blocks)) as server:
                status, results = kesu_json("reverse", "1,1", "2,2", server=server)
                self.assertEqual(status, exit_status)
                for request_id, block_status, payload in blocks:
                    is_bad = block_status != 200 or payload == UNREADABLE
                    self.assertEqual("error" in results[request_id], is_bad)
                    self.assertEqual(results[request_id]["latitude"], request_id + 1)

    def test_no_answer_in_time(self):
        with silent() as (server, _):
            begin = time.monotonic()
            self.assertEqual(
                kesu_json("--timeout", "0.7", "locate", "--gps", "1,1", "--next", "--gps", "2,2",
                          server=server),
                (4, [{"error": {"kind": "timeout", "status": 0,
                                "message": "no answer in time"}}] * 2))
            elapsed_s = time.monotonic() - begin
            self.assertGreaterEqual(elapsed_s, 0.7)
            self.assertLess(elapsed_s, 20)

    def test_signals_end_it(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number), silent() as (server, listener):
                run = subprocess.Popen([KESU, "--server", server, *POINT], stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, text=True)
                connection, _ = listener.accept()
                run.send_signal(number)
                self.assertEqual(run.communicate(timeout=PATIENCE_S), ("", ""))
                self.assertEqual(run.returncode, -number)
                connection.close()


class Usage(unittest.TestCase):
    def test_wrong_usage(self):
        for arguments, named in (
                ([], "command"),
                (["locate", "--cell", "1,2"], "MCC,MNC,AREA,CELL"),
                (["--ca-file", "/nonexistent", *POINT], "/nonexistent"),
                (["--server", "http://" + "x" * 100, *POINT], "server")):
            with self.subTest(arguments=arguments):
                run = kesu(*arguments)
                self.assertEqual((run.returncode, run.stdout), (2, ""))
                self.assertRegex(run.stderr, r"\Akesu: .*\nTry \"kesu --help\"\.\n\Z")
                self.assertIn(named, run.stderr)

    def test_help_and_version(self):
        for arguments, begin in ((["--help"], "Usage:\n"), (["--version"], "kesu ")):
            run = kesu(*arguments)
            self.assertEqual((run.returncode, run.stderr), (0, ""))
            self.assertTrue(run.stdout.startswith(begin))


if __name__ == "__main__":
    unittest.main()
