"""What kesu-server sends, byte by byte: to requests of every sort, and with faults on demand."""

import socket
import subprocess
import time
import unittest
import zlib

from programs import KESU_SERVER, PATIENCE_S, kesu_server

PATH = "/m/appreq/cllDovi"
BINARY = "application/binary"
BAD_TYPE = b"the content type must be application/binary\n"

# A header block and three requests, 7 to 9, for the service "", which there is none of.
POST = bytes.fromhex("0001 0000000D 0001 0001 74 000000000000002A 0000"
                     "0000000A 0100 0007 0000 0001 00000000 0000000A 0100 0008 0000 0001 00000000"
                     "0000000A 0100 0009 0000 0001 00000000")


def gzip(content):
    compressor = zlib.compressobj(wbits=31)
    return compressor.compress(content) + compressor.flush()


def reply(*request_ids, version=1, encodings=b"", payload=b""):
    """The version, and for each request a block with the status 404."""
    return version.to_bytes(2, "big") + b"".join(
        (10 + len(encodings) + len(payload)).to_bytes(4, "big") + b"\x81\0"
        + request_id.to_bytes(2, "big") + b"\x01\x94" + len(encodings).to_bytes(2, "big")
        + encodings + bytes(4) + payload for request_id in request_ids)


REPLY = reply(7, 8, 9)


def connect(url, content, method="POST", path=PATH, content_type=BINARY):
    """Sends a request, and yields the connection."""
    connection = socket.create_connection(("127.0.0.1", int(url.split(":")[2])), PATIENCE_S)
    head = (f"{method} {path} HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
            f"Content-Type: {content_type}\r\nContent-Length: {len(content)}\r\n\r\n")
    connection.sendall(head.encode() + content)
    return connection


def receive(connection):
    """The header lines, the first of which is the status, and the body."""
    with connection, connection.makefile("rb") as stream:
        head, _, content = stream.read().partition(b"\r\n\r\n")
    return head.decode().split("\r\n"), content


class Server(unittest.TestCase):
    def test_what_is_answered_to_what(self):
        with kesu_server() as (server, _):
            for method, path, content_type, content, status, answer in (
                    ("POST", PATH, "Application/Binary ; v=1", POST, 200, REPLY),
                    ("POST", PATH, BINARY, bytes((1 << 20) + 1), 413,
                     b"the body is longer than 1048576 bytes\n"),
                    ("POST", PATH, "application/octet-stream", POST, 415, BAD_TYPE),
                    ("POST", PATH, "", POST, 415, BAD_TYPE),
                    ("DELETE", PATH, BINARY, POST, 405, b"only GET and POST\n"),
                    ("GET", PATH, "a/b", b"", 200, b"Host: x\nConnection: close\n"
                     b"Content-Type: a/b\nContent-Length: 0\n"),
                    ("GET", "/", BINARY, b"", 404, b"nothing here\n"),
                    ("GET", PATH + "/", BINARY, b"", 404, b"nothing here\n"),
                    ("GET", PATH.lower(), BINARY, b"", 404, b"nothing here\n")):
                with self.subTest((method, path, content_type, status)):
                    lines, received = receive(connect(server, content, method, path, content_type))
                    self.assertEqual((lines[0].split()[1], received), (str(status), answer))
                    sent_type = BINARY if answer is REPLY else "text/plain; charset=utf-8"
                    self.assertIn("Content-Type: " + sent_type, lines)

    def test_malformed_posts(self):
        with kesu_server() as (server, end):
            for content, offset, error in (
                    (b"\0", 0, "protocol version: 2 bytes wanted, 1 left"),
                    (POST[:2] + POST[21:], 6, "header block: the block type is 0x0100, not 0x0001"),
                    (POST[:5] + b"\x0c" + POST[6:], 19, "configuration: 2 bytes wanted, 1 left"),
                    (POST[:5] + b"\x0e" + POST[6:], 21,
                     "header block: 1 bytes more than its fields"),
                    (POST[:21] + REPLY[2:], 25,
                     "request block: the block type is 0x8100, not 0x0100"),
                    (POST[:29] + b"\1" + POST[30:], 29,
                     "service name: the length 256 reaches past the 6 bytes left"),
                    (POST[:-1], 53, "request block: the length 10 reaches past the 9 bytes left"),
                    (POST[:-1] + b"\1", 65,
                     "payload: the length 1 reaches past the 0 bytes left")):
                with self.subTest(error):
                    received = receive(connect(server, content))[1].decode()
                    line = f"malformed POST: {error}, at byte offset {offset}"
                    self.assertEqual(received, line + "\n")
            self.assertIn("kesu-server: " + line, end())

    def test_each_fault_has_its_turn(self):
        turns = (
            ("drop", "", "", b""),
            ("cut=4", "200 OK", "Content-Length: 50", REPLY[:4]),
            ("delay=300", "200 OK", "Content-Length: 50", REPLY),
            ("status=503", "503 Service Unavailable", "Content-Length: 50", REPLY),
            ("status=304", "304 Not Modified", "Content-Length: 0", b""),
            ("chunked", "200 OK", "Transfer-Encoding: chunked",
             b"32\r\n" + REPLY + b"\r\n0\r\n\r\n"),
            ("content-type=a/b; c=d:e", "200 OK", "Content-Type: a/b; c=d:e", REPLY),
            ("redirect=http://127.0.0.1:1/x", "302 Found", "Location: http://127.0.0.1:1/x", REPLY),
            ("version=2", "200 OK", "Content-Length: 50", reply(7, 8, 9, version=2)),
            ("omit=2", "200 OK", "Content-Length: 34", reply(7, 9)),
            ("encoding=g,x,g", "200 OK", "Content-Length: 155",
             reply(7, 8, 9, encodings=b"g,x,g", payload=gzip(gzip(b"")))))
        faults = ["delay=100:1", *(turn[0] + ":1" for turn in turns), "garbage"]
        with kesu_server(*("--fault=" + fault for fault in faults)) as (server, end):
            # A client that does not wait.
            connect(server, POST).close()
            # What is refused anyway uses up nothing.
            receive(connect(server, b""))
            for fault, status, header, content in turns:
                with self.subTest(fault):
                    begin = time.monotonic()
                    lines, received = receive(connect(server, POST))
                    self.assertEqual((lines[0][len("HTTP/1.1 "):], received), (status, content))
                    self.assertIn(header, lines)
                    if fault == "delay=300":
                        self.assertGreaterEqual(time.monotonic() - begin, 0.3)
            garbage = [receive(connect(server, POST))[1] for _ in range(2)]
            self.assertEqual((garbage[0], len(garbage[0])), (garbage[1], len(REPLY)))
            self.assertNotEqual(garbage[0], REPLY)
            self.assertIn(", with the fault drop:1\n", "\n".join(end()))

    def test_wrong_usage(self):
        for words, status, error in (
                ("--fault drop:1 --fault slow", 2, "--fault slow: .+"),
                ("--nonsense", 2, ".*--nonsense"),
                ("now", 2, 'unexpected argument "now"'),
                ("--port 65536", 2, "65536 is no port number"),
                ("--address here", 3, '"here" is no IP address'),
                ("--address 192.0.2.1", 3, ".+"),
                ("--data /nowhere", 3, ".*/nowhere/places.tsv.*")):
            with self.subTest(words):
                run = subprocess.run([KESU_SERVER, "--port", "0", *words.split()], text=True,
                                     capture_output=True, timeout=PATIENCE_S, check=False)
                self.assertEqual((run.returncode, run.stdout), (status, ""))
                self.assertRegex(run.stderr, rf"\Akesu-server: {error}\n\Z")
