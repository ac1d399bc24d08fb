"""Captures as networks and tools leave them behind: packets by hand, and what kesu makes of them."""

import gzip
import itertools
import json
import os
import struct
import tempfile
import unittest

from fixture import PATIENCE_S, answer, block, counted, kesu, post, reply

POST, REPLY = post((b"", 0, b"")), reply(answer(7))
SYN, FIN, RESET = 2, 1, 4
FIRST = 1000
IPV4, IPV6 = (bytes((127, 0, 0, 1)), bytes((127, 0, 0, 2))), (bytes(15) + b"\1", bytes(15) + b"\2")
# libpcap's number of the link, and what is in front of an IP packet there.
LINKS = {
    "null": (0, {4: struct.pack("<I", 2), 6: struct.pack("<I", 30)}),
    "ethernet": (1, {4: bytes(12) + b"\x08\0", 6: bytes(12) + b"\x86\xdd"}),
    "vlan": (1, {4: bytes(12) + b"\x81\0\0\5\x08\0", 6: bytes(12) + b"\x88\xa8\0\5\x81\0\0\6\x86\xdd"}),
    "raw": (101, {4: b"", 6: b""}), "loop": (108, {4: b"\0\0\0\2", 6: b"\0\0\0\x1c"}),
    "cooked": (113, {4: bytes(14) + b"\x08\0", 6: bytes(14) + b"\x86\xdd"}),
    "cooked 2": (276, {4: b"\x08\0" + bytes(18), 6: b"\x86\xdd" + bytes(18)}),
}


def http(start, body, *headers, length=True):
    headers = (b"Content-Type: application/binary", *headers,
               *([b"Content-Length: %d" % len(body)] if length else []))
    return b"\r\n".join((start, *headers, b"", body))


ASK, OK = http(b"POST /m HTTP/1.1", POST), b"HTTP/1.1 200 OK"
ANSWER = http(OK, REPLY)


def segment(place, payload=b"", flags=0, port=4000, to_server=True, ends=IPV4, options=b"",
            server_port=8642):
    """An IP packet; `place` is counted from the first byte of the direction."""
    ports = (port, server_port) if to_server else (server_port, port)
    source, target = ends if to_server else ends[::-1]
    tcp = struct.pack(">HHIIBBHHH", *ports, (FIRST + place) % 2**32, 0, 5 + len(options) // 4 << 4,
                      flags, 0, 0, 0) + options + payload
    if len(source) == 4:
        return struct.pack(">BBHIBBH", 0x45, 0, 20 + len(tcp), 0, 64, 6, 0) + source + target + tcp
    # With an extension header of eight bytes.
    return (struct.pack(">IHBB", 6 << 28, 8 + len(tcp), 0, 64) + source + target + b"\6\0"
            + bytes(6) + tcp)


def capture(packets, link="raw", captured=1 << 16):
    number, heads = LINKS[link]
    whole = [heads[6 if packet[:1] >= b"\x60" else 4] + packet for packet in packets]
    return struct.pack("<IHHIIII", 0xA1B2C3D4, 2, 4, 0, 0, 1 << 18, number) + b"".join(
        struct.pack("<IIII", 0, 0, min(len(packet), captured), len(packet)) + packet[:captured]
        for packet in whole)


def cut(content, *lengths, **options):
    """Segments of these lengths, the last taking what is left."""
    ends = [*itertools.accumulate(lengths), len(content)]
    return [segment(start, content[start:end], **options)
            for start, end in zip([0, *ends], ends)]


def answered(*parts):
    return [*parts, segment(0, ANSWER, to_server=False)]


A, B, C, D = cut(ASK * 2, 40, 50, 60)
CHUNKED = http(OK, b"5;x=y\r\n" + REPLY[:5] + b"\r\n" + b"%X\r\n" % (len(REPLY) - 5) + REPLY[5:]
               + b"\r\n0\r\nTrailer: x\r\n\r\n", b"Transfer-Encoding: Chunked", length=False)
# The messages that are shown, by their first words' ends; "!" for one with a fault, "-" for bytes
# that are none.
CASES = {
    "two of a kept connection": ([*cut(ASK * 2, 7), *cut(ANSWER * 2, 70, to_server=False)], "PPRR"),
    "start and end": ([segment(-1, flags=SYN, options=b"\2\4\xff\xd7"), *cut(ASK, 9),
                       segment(len(ASK), flags=FIN), segment(0, ANSWER, FIN, to_server=False)], "PR"),
    "out of order": (answered(A, D, C, B), "PPR"), "retransmitted": (answered(A, A, B, C, B, D, A), "PPR"),
    "overlapping": (answered(A, segment(20, ASK[20:70]), segment(60, (ASK * 2)[60:])), "PPR"),
    "a probe": (answered(A, segment(39, b"\xff"), B, C, D), "PPR"),
    "lost": (answered(A, C, D), "-PR"), "lost in a body": (answered(A, B, D), "!R-"), "lost behind": (answered(A, B, C), "PR-"),
    "cut by the capture": (capture(answered(*cut(ASK * 3, len(ASK))), captured=120), "!-!!"),
    "from the middle": (answered(segment(0, ASK[30:] + ASK)), "-PR"),
    "over the end of the numbers": ([segment(i - FIRST - 50, ASK[i:i + 30]) for i in (0, 60, 30, 90)],
                                    "P"),
    "another with the same ends": ([*cut(ASK, port=5), segment(999, flags=SYN, port=5),
                                    segment(1000, ASK, port=5)], "PP"),
    "two at once": ([*cut(ASK, 30, port=5)[:1], *cut(ASK, port=6), *cut(ASK, 30, port=5)[1:]], "PP"),
    "reset": ([*cut(ASK, 80)[:1], segment(80, flags=RESET)], "!"),
    "chunks": (cut(CHUNKED, 100, 101, 5, to_server=False), "R"),
    "up to the end": ([*cut(http(OK, REPLY, length=False), to_server=False)], "R"),
    "deflated": (cut(http(OK, gzip.compress(REPLY), b"content-encoding: GZIP"), to_server=False), "R"),
    "deflated badly": (cut(http(OK, REPLY, b"Content-Encoding: gzip"), to_server=False), "!"),
    "no body": (cut(b"HTTP/1.1 100 Continue\n\n\r\nHTTP/1.1 304 x\r\nContent-Length: 5\r\n\r\n" + ANSWER,
                    to_server=False), "RRR"),
    "a wrong length": (cut(http(OK, b"", b"Content-Length: 5x", length=False) + ANSWER), "!R"),
    "a chunk too long": (cut(CHUNKED.replace(b"5;x=y", b"4")), "!-"),
    "no HTTP": (cut(b"\x16\3\1" + bytes(99)), "-"), "fragments and others": (
        answered(*cut(ASK), ASK, A[:6] + b"\x20\0" + A[8:], A[:9] + b"\x11" + A[10:], A[:30], b""), "PR"),
    "raw": (ASK + ANSWER + ASK + CHUNKED, "PRPR"), "raw and others": (ASK + b"GET 1\n" + ASK, "P-P"),
}


class Decode(unittest.TestCase):
    def decode(self, content, *words):
        return kesu("decode", "-", *words, text=content)

    def check(self, content, expected):
        run = self.decode(content, "--json")
        shown = ""
        for tree in map(json.loads, run.stdout.splitlines()):
            if tree["name"] == "no HTTP message":
                shown += "-"
            elif "error" in tree:
                shown += "!"
            else:
                shown += "P" if tree["name"] == "HTTP request" else "R"
                self.assertEqual(tree["start_line"][:5], "POST " if shown[-1] == "P" else "HTTP/")
                body = tree.get("POST", tree.get("reply"))
                if "304" not in tree["start_line"] and "100" not in tree["start_line"]:
                    self.assertEqual(body["length"], len(POST if "POST" in tree else REPLY))
        self.assertEqual(sorted(shown), sorted(expected), run)
        faults = expected.count("!")
        self.assertEqual(run.returncode, 5 if faults else 1 if set(expected) <= {"-"} else 0)
        self.assertEqual(run.stderr.count("kesu: "), max(faults, run.returncode == 1))

    def test_cases(self):
        for name, (packets, expected) in CASES.items():
            with self.subTest(name):
                self.check(capture(packets) if isinstance(packets, list) else packets, expected)

    def test_links(self):
        for link, ends in itertools.product(LINKS, (IPV4, IPV6)):
            with self.subTest((link, len(ends[0]))):
                packets = [*cut(ASK, 5, ends=ends), segment(0, ANSWER, to_server=False, ends=ends)]
                run = self.decode(capture(packets, link))
                server = "127.0.0.2:8642" if ends is IPV4 else "[::2]:8642"
                self.assertEqual((run.returncode, run.stdout.count(f'to: "{server}"')), (0, 1))
                self.assertEqual(run.stdout.count(f'from: "{server}"'), 1)

    def test_files(self):
        whole = capture([segment(0, ASK)])
        for content, status, said in (
                (whole[:-1], 5, "truncated"), (whole[:10], 2, "truncated"),
                (whole[:20] + struct.pack("<I", 147) + whole[24:], 2, "link that is not known")):
            run = self.decode(content)
            self.assertEqual(run.returncode, status)
            self.assertIn(said, run.stderr)

    def test_memory_is_bounded(self):
        # Of each connection a megabyte waits for a byte that never comes.
        early = b"x" * 60000
        packets = [segment(2 + i * len(early), early, port=1 + port) for port in range(8)
                   for i in range(40)]
        with tempfile.NamedTemporaryFile() as file:
            file.write(capture([segment(0, b"P", port=1 + port) for port in range(8)] + packets))
            file.flush()
            before = kesu("--version").peak_kib
            self.assertLess(kesu("decode", file.name).peak_kib, before + (24 << 10))
