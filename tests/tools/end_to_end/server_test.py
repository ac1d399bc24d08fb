"""What kesu-server sends, byte by byte: to requests of every sort, and with faults on demand."""

import re
import socket
import subprocess
import time
import unittest
import zlib

from fixture import (ECHO, KESU_SERVER, PATIENCE_S, SERVICE, answer, cell, counted, data_folder,
                     isolating, kesu_server, latlng, nested, number, place, post, reply, wifi)

PATH = "/m/appreq/cllDovi"
BINARY = "application/binary"
BAD_TYPE = b"the content type must be application/binary\n"

# Three requests, 7 to 9, for the service "", which there is none of.
POST = post(*[(b"", 0, b"")] * 3)


def gzip(content):
    compressor = zlib.compressobj(wbits=31)
    return compressor.compress(content) + compressor.flush()


def unknown(*request_ids, version=1, encodings=b"", payload=b""):
    return reply(*(answer(i, payload, 404, encodings) for i in request_ids), version=version)


REPLY = unknown(7, 8, 9)

# HTTP-like requests: "PUT", a header "a: b", the body "hi"; or "GET", "multipart/related;b=1" in
# its short form, no encoding and that header. Then two parts: "text/xml;q=1" with the content id
# "c1", a property "p: v" and the body "AB"; "x/y" with nothing, which has no encoding either.
HEADER = b"\1" + counted(b"a") + counted(b"b")
PLAIN = counted(b"PUT") + HEADER + counted(b"hi", 4)
START = counted(b"GET") + b"mr" + counted(b"b=1") + b"\0\0" + HEADER
PARTS = (b"\0\2tx" + counted(b"q=1") + counted(b"c1") + b"\1" + counted(b"p") + counted(b"v")
         + b"\0\0\0\2\0\0AB" + b"\0\0" + counted(b"x/y") + bytes(3 + 4))
BAD_CALLS = [
    # Cut short by a byte, or with one too many.
    (0, PLAIN[:-1]), (0, PLAIN + b"\0"), (1, START + bytes(4) + PARTS[:-1]),
    (1, START + bytes(4) + PARTS + b"\0"),
    # A body of a negative length, or past the end; fewer headers than counted, or too many to echo.
    (0, bytes(3) + b"\xff" * 4), (0, bytes(3) + b"\x7f\xff\xff\xffA"), (0, b"\0\0\xff\0\1a\0\1b"),
    (0, b"\0\0\xff" + bytes(4 * 255 + 4)),
    # An unknown MIME type; a whole, then a body that is encoded; no part.
    (1, b"\0\0\x12\x34" + bytes(9) + PARTS), (1, b"\0\0mr\0\0\0\1g" + bytes(5) + PARTS),
    (1, START + b"\0\0\0\1\0\1gA" + PARTS), (1, START + b"\0\0\0\1\0\0A\0\0"),
]
GOOD_CALLS = [
    (0, PLAIN, b"\2\0\x08X-Method\0\3PUT\0\1a\0\1bhi"),
    (0, b"\0\0\xfe" + bytes(4 * 254 + 4), b"\xff\0\x08X-Method" + bytes(2 + 4 * 254)),
    # Two zeros behind the length 0 are the encoding of a root body that is there, but empty.
    *((1, START + bytes(4) + root + PARTS,
       b"\5\0\x08X-Method\0\3GET\0\x0bX-Multipart\0\x15multipart/related;b=1\0\1a\0\1b"
       b"\0\x08X-Part-1\0\x0e2 text/xml;q=1\0\x08X-Part-2\0\x050 x/yAB")
      for root in (b"", b"\0\0")),
]

# What a device asks, and the answer of the one element of the reply. A cell that is 100 m away at
# -80 dBm, and within 956.6 m, where no place is near; and an access point beside it.
CELLS = "1\t1\t1\t7\t0\t-150\t-40\t2\t6\n"
ACCESS_POINTS = "00-00-5E-00-53-0A\t0\t-149.999\t-40\t2\t6\n"
PLACES = "38.7\t-9.1\tPT\tPortugal\tLisbon\tX\n"
SEEN, PAST = (nested(1, nested(kind, cell(1, 1, 1, 7, -80))) for kind in (1, 4))
HERE, LISBON, WISH = (0.5, -150), (38.7, -9.1), nested(4)
CENTER = nested(5, latlng(*LISBON))
FEATURES = (
    nested(5, nested(1, b"Lisbon"), number(2, 1), CENTER)
    + nested(5, nested(1, b"Lisbon, Portugal"), number(2, 2), nested(
        3, nested(1, b"Lisbon, Portugal"), nested(2, nested(1, b"Lisbon"), number(2, 1)),
        nested(2, nested(1, b"Portugal"), number(2, 2))), CENTER)
    + nested(5, nested(1, b"nearest listed place: Lisbon, Portugal (less than 1 km away)"),
             number(2, 3), CENTER))
QUESTIONS = [
    (SEEN, number(1, 0) + place((0, -150), number(3, 957), field=2)),
    (PAST, number(1, 1)),
    # However its address is spelled, it counts once.
    (wifi((b"00:00:5e:00:53:0a", -80), (b"00005E00530A", -40), (b"x", -40)) + SEEN,
     number(1, 0) + place((0, -149.999), number(3, 957), field=2)),
    # The device's own fix stands unless it admits to be worse.
    (SEEN + place(HERE), number(1, 0) + place(HERE, field=2)),
    (SEEN + place(HERE, number(3, 956)), number(1, 0) + place(HERE, number(3, 956), field=2)),
    (SEEN + place(HERE, number(3, 957)), number(1, 0) + place((0, -150), number(3, 957), field=2)),
    (place(LISBON) + WISH, number(1, 0) + place(LISBON, FEATURES, field=2)),
    (place(LISBON) + nested(4, number(2, 0)), number(1, 0) + place(LISBON, field=2)),
    # Not on earth, or nowhere.
    (place((90.0000001, 0)) + WISH, number(1, 2)), (place((0, -180.0000001)), number(1, 2)),
    (nested(3, number(3, 1)), number(1, 2)), (WISH, number(1, 2)),
]
KEY, ISSUED = nested(8, b"k"), nested(3, b"k")


def question(*elements):
    return nested(1, KEY) + b"".join(nested(4, element) for element in elements)


# A service, whether it is asked in several parts, the payload; the status and the payload of the
# answer. Of several elements the best status counts, of equally bad ones the first.
CALLS = [
    *((ECHO, is_multipart, payload, 200, answer) for is_multipart, payload, answer in GOOD_CALLS),
    *((ECHO, is_multipart, payload, 400, b"") for is_multipart, payload in BAD_CALLS),
    (SERVICE, 0, question(*(asked for asked, _ in QUESTIONS)), 200,
     number(1, 0) + b"".join(nested(2, answer) for _, answer in QUESTIONS) + ISSUED),
    (SERVICE, 0, question(), 200, number(1, 0) + ISSUED),
    (SERVICE, 0, question(WISH, PAST), 200,
     number(1, 2) + nested(2, number(1, 2)) + nested(2, number(1, 1)) + ISSUED),
    (SERVICE, 0, b"\x0a\5\x42", 400, b""), (SERVICE, 1, b"", 400, b""),
    (SERVICE[:-1], 0, b"", 404, b""),
]

# Kinds of faults that are taken, to their bounds; and those that nobody can ask for.
FAULTS = ["status=200", "status=599:2147483647", "delay=3600000", "cut=2147483647", "version=65535",
          "omit=1", "content-type=a=b:c", "encoding=" + "x" * 65535, "drop:1",
          "redirect=https://[::1]:1/x?a=b:4"]
NO_FAULTS = [
    "", "=", ":", "Drop", "slow=1", "drop:", "drop:0", "drop:-1", "drop:1x", "drop:2147483648",
    "drop:1:2", "status:2=502", "drop ", "drop=", "drop=1", "status", "status=", "status:1",
    "content-type", "redirect", "status=199", "status=600", "status=5e2", "delay=-1",
    "delay=3600001", "cut= 1", "version=65536", "omit=0", "content-type=", "content-type=a\nb",
    "encoding=\xe4", "encoding=" + "x" * 65536, "redirect=/path", "redirect=http://127.0.0.1:8642",
    "redirect=ftp://host/", "redirect=http:", "redirect=http:///", "redirect=http://host/a b"]

# Tables with a fault: the places, the cells, the access points, and what is said of it.
STATION = "1\t1\t1\t1\t0\t0\t%s\t%s\t4\n"
TABLES = [
    ("#\n\n91\t0\tXX\tX\tX\tX\n", "", "", 'places.tsv:3: "91" in column 1 is no number'),
    ("0\tnan\tXX\tX\tX\tX", "", "", 'places.tsv:1: "nan" in column 2 is no number'),
    ("0\t0 \tXX\tX\tX\tX", "", "", 'places.tsv:1: "0 " in column 2 is no number'),
    ("0\t0\tXX\tX\tX\r\n", "", "", "places.tsv:1: 5 columns instead of 6"),
    ("", "1\t1\t1\t1x\t0\t0\t0\t2\t4\n", "", 'cells.tsv:1: "1x" in column 4 is no whole number'),
    ("", STATION % (0, 2) * 2, "", "cells.tsv:2: the station is listed twice"),
    ("", STATION % (0, 0), "", 'cells.tsv:1: "0" in column 8 is no number'),
    ("", STATION % (100.5, 2), "", 'cells.tsv:1: "100.5" in column 7 is no number from -100'),
    ("", "", "00-00-5E-00-53\t0\t0\t0\t2\t4\n",
     'access_points.tsv:1: "00-00-5E-00-53" is no MAC address'),
]


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
        with kesu_server() as (server, end):
            for method, path, content_type, content, status, answer in (
                    ("POST", PATH, "Application/Binary ; v=1", POST, 200, REPLY),
                    ("POST", PATH, BINARY, bytes((1 << 20) + 1), 413,
                     b"the body is longer than 1048576 bytes\n"),
                    ("POST", PATH, "application/octet-stream", POST, 415, BAD_TYPE),
                    ("DELETE", PATH, BINARY, POST, 405, b"only GET and POST\n"),
                    ("GET", PATH, "a/b", b"", 200, b"Host: x\nConnection: close\n"
                     b"Content-Type: a/b\nContent-Length: 0\n"),
                    ("GET", PATH.lower(), BINARY, b"", 404, b"nothing here\n")):
                with self.subTest((method, path, content_type, status)):
                    lines, received = receive(connect(server, content, method, path, content_type))
                    self.assertEqual((lines[0].split()[1], received), (str(status), answer))
                    sent_type = BINARY if answer is REPLY else "text/plain; charset=utf-8"
                    self.assertIn("Content-Type: " + sent_type, lines)
            for content, offset, error in (
                    (POST[:-1], 53, "request block: the length 10 reaches past the 9 bytes left"),
                    (POST[:5] + b"\x0e" + POST[6:], 21,
                     "header block: 1 bytes more than its fields"),
                    (POST[:21] + REPLY[2:], 25,
                     "request block: the block type is 0x8100, not 0x0100"),
                    (b"\0", 0, "protocol version: 2 bytes wanted, 1 left")):
                with self.subTest(error):
                    line = f"malformed POST: {error}, at byte offset {offset}"
                    self.assertEqual(receive(connect(server, content))[1].decode(), line + "\n")
            self.assertIn("kesu-server: " + line, end())

    def test_calls(self):
        with data_folder(PLACES, CELLS, ACCESS_POINTS) as folder, \
                kesu_server("--data", folder) as (server, _):
            received = receive(connect(server, post(*(call[:3] for call in CALLS))))[1][2:]
        for i, (service, _, payload, status, expected) in enumerate(CALLS, 7):
            length = 6 + int.from_bytes(received[:4], "big")
            with self.subTest((service, payload)):
                self.assertEqual(received[:length], answer(i, expected, status))
            received = received[length:]

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
            ("version=2", "200 OK", "Content-Length: 50", unknown(7, 8, 9, version=2)),
            ("omit=2", "200 OK", "Content-Length: 34", unknown(7, 9)),
            ("encoding=g,x,g", "200 OK", "Content-Length: 155",
             unknown(7, 8, 9, encodings=b"g,x,g", payload=gzip(gzip(b"")))))
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

    def test_names_its_port_even_if_it_is_that_of_http(self):
        alone = isolating("--net") or self.skipTest("no namespace of its own")
        with kesu_server("--address", "0.0.0.0", "--port", "80", prefix=alone) as (server, _):
            self.assertEqual(server, "http://0.0.0.0:80")

    def expect_refusal(self, status, error, *words):
        with self.subTest(error):
            run = subprocess.run([KESU_SERVER, "--port", "0", *words], capture_output=True,
                                 timeout=PATIENCE_S, check=False)
            self.assertEqual((run.returncode, run.stdout), (status, b""))
            self.assertRegex(run.stderr.decode(), rf"\Akesu-server: {error}\n\Z")

    def test_wrong_usage(self):
        for words, status, error in (
                ("--nonsense", 2, ".*--nonsense"), ("now", 2, 'unexpected argument "now"'),
                ("--port 65536", 2, "--port 65536: a number from 0 to 65535 is wanted"),
                ("--data /nowhere", 3, ".*/nowhere/places.tsv.*")):
            self.expect_refusal(status, error, *words.split())
        for fault in NO_FAULTS:
            error = f"--fault {re.escape(fault)}: .+"
            self.expect_refusal(2, error, "--fault", "drop:1", "--fault", fault)
        # All of them are taken: what is wrong is looked at behind them.
        self.expect_refusal(3, '"here" is no IP address', "--address", "here",
                            *("--fault=" + fault for fault in FAULTS))
        for *tables, error in TABLES:
            with data_folder(*tables) as folder:
                self.expect_refusal(3, f"{folder}/{re.escape(error)}.*", "--data", folder)
