"""Faults on demand, byte by byte. What kesu makes of them: ../end_to_end/failures_test.py."""

import socket
import subprocess
import unittest

from programs import KESU_SERVER, PATIENCE_S, kesu_server

# A POST with a request, 7, for the service "", whose answer is the version and a block with the
# status 404.
POST = bytes.fromhex("0001 0000000D 0001 0001 74 000000000000002A 0000"
                     "0000000A 0100 0007 0000 0001 00000000")
REPLY = bytes.fromhex("0001 0000000A 8100 0007 0194 0000 00000000")


def connect(url, body):
    """Posts, and yields the connection."""
    connection = socket.create_connection(("127.0.0.1", int(url.split(":")[2])), PATIENCE_S)
    connection.sendall(b"POST /m/appreq/cllDovi HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
                       b"Content-Type: application/binary\r\nContent-Length: %d\r\n\r\n%b"
                       % (len(body), body))
    return connection


def receive(connection):
    """The header lines, the first of which is the status, and the body."""
    with connection, connection.makefile("rb") as stream:
        head, _, body = stream.read().partition(b"\r\n\r\n")
    return head.decode().split("\r\n"), body


class Faults(unittest.TestCase):
    def test_each_has_its_turn(self):
        turns = (
            ("drop", "", b""),
            ("cut=4", "Content-Length: 18", REPLY[:4]),
            ("delay=300", "HTTP/1.1 200 OK", REPLY),
            ("status=503", "HTTP/1.1 503 Service Unavailable", REPLY),
            ("status=304", "HTTP/1.1 304 Not Modified", b""),
            ("chunked", "Transfer-Encoding: chunked", b"12\r\n" + REPLY + b"\r\n0\r\n\r\n"),
            ("content-type=a/b; c=d:e", "Content-Type: a/b; c=d:e", REPLY),
            ("encoding=xy", "Content-Length: 20",
             bytes.fromhex("0001 0000000C 8100 0007 0194 0002 7879 00000000")),
            ("redirect=http://127.0.0.1:1/x", "Location: http://127.0.0.1:1/x", REPLY))
        with kesu_server("delay=100:1", *(fault + ":1" for fault, _, _ in turns)) as (server, end):
            # A client that does not wait.
            connect(server, POST).close()
            # What is refused anyway uses up nothing.
            self.assertEqual(receive(connect(server, b""))[0][0], "HTTP/1.1 400 Bad Request")
            for fault, line, body in turns:
                with self.subTest(fault):
                    lines, received = receive(connect(server, POST))
                    self.assertIn(line, lines)
                    self.assertEqual(received, body)
                    self.assertEqual("Content-Length: 18" in lines, body in (REPLY, REPLY[:4]))
            self.assertEqual(receive(connect(server, POST))[1], REPLY)
            self.assertIn(", with the fault drop:1\n", "\n".join(end()))

    def test_wrong_usage(self):
        run = subprocess.run([KESU_SERVER, "--port", "0", "--fault", "drop:1", "--fault", "slow"],
                             capture_output=True, text=True, timeout=PATIENCE_S, check=False)
        self.assertEqual((run.returncode, run.stdout), (2, ""))
        self.assertRegex(run.stderr, r"\Akesu-server: --fault slow: .+\n\Z")
