"""What tshark makes of the protocol with the dissector: captures by hand, and of the real programs."""

import contextlib
import gzip
import itertools
import json
import os
import pathlib
import re
import select
import socket
import socketserver
import subprocess
import sys
import tempfile
import threading
import unittest
import zlib

from decode_test import capture, http, segment
from fixture import ECHO, PATIENCE_S, SERVICE, answer, block, kesu, kesu_server, post, reply

ROOT = pathlib.Path(__file__).parents[3]
# Ports that nothing else is known at.
OTHER_PORT, FIRST_PORT, SEGMENT = 4711, 50000, 60000
PATH = b"POST /m/appreq/cllDovi HTTP/1.1"
OK = b"HTTP/1.1 200 OK"


def documented_bodies():
    """The POST and the reply that docs/protocol.md spells out."""
    text = (ROOT / "docs/protocol.md").read_text(encoding="utf-8")
    for example in re.findall(r"^```\n(.*?)^```$", text, re.M | re.S):
        lines = [re.match(r"\s*((?:[0-9A-F]{2} {1,2})*(?:[0-9A-F]{2}\b)?)", line) for line in example.splitlines()]
        yield bytes.fromhex("".join(line[1] for line in lines))


POST, REPLY = documented_bodies()


def tshark(content, *words):
    """Its standard output. A run that says more than who runs it has failed."""
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder, "capture.pcap")
        file.write_bytes(content)
        # Without what this user has set.
        done = subprocess.run([os.environ["TSHARK"], "-X", f"lua_script:{os.environ['DISSECTOR']}", "-r", file, *words],
                              env={**os.environ, "HOME": folder}, capture_output=True, text=True,
                              timeout=5 * PATIENCE_S, check=False)
    said = [line for line in done.stderr.splitlines() if not line.startswith("Running as user")]
    assert (done.returncode, said) == (0, []), (done.returncode, said)
    return done.stdout


def rows(content, *fields, only="kesu", words=()):
    """For each of these packets the values of these fields, each a list."""
    faults = ("_ws.lua.error", "_ws.malformed.expert", "_ws.malformed.dissector_bug")
    wanted = itertools.chain(*(("-e", field) for field in (*faults, *fields)))
    table = tshark(content, "-Y", only, "-T", "fields", *wanted, "-E", "aggregator=|", *words)
    cells = [[cell.split("|") if cell else [] for cell in row.split("\t")] for row in table.splitlines()]
    assert not any(any(row[:3]) for row in cells), cells
    return [row[3:] for row in cells]


def connection(number, *messages, server_port=OTHER_PORT):
    """Packets of POSTs and replies, in this order."""
    places, packets = [0, 0], []
    for message in messages:
        to_server = message.startswith(b"POST")
        for start in range(0, len(message), SEGMENT):
            piece = message[start:start + SEGMENT]
            packets.append(segment(places[to_server], piece, port=FIRST_PORT + number, to_server=to_server,
                                   server_port=server_port))
            places[to_server] += len(piece)
    return packets


class Relay(socketserver.BaseRequestHandler):
    """Passes a connection on to server.target, and leaves its messages in server.connections."""

    def handle(self):
        messages = []
        self.server.connections.append(messages)
        with socket.create_connection(self.server.target) as behind:
            ends = {self.request: behind, behind: self.request}
            while ready := select.select(ends, [], [], PATIENCE_S)[0]:
                piece = ready[0].recv(SEGMENT)
                if not piece:
                    return
                if not messages or messages[-1][0] is not ready[0]:
                    messages.append((ready[0], bytearray()))
                messages[-1][1].extend(piece)
                ends[ready[0]].sendall(piece)


@contextlib.contextmanager
def recorded(url):
    """Yields the URL of a relay to this one, and then what passed there: a list for each connection."""
    with socketserver.ThreadingTCPServer(("127.0.0.1", 0), Relay) as server:
        host, port = url.removeprefix("http://").split(":")
        server.target, server.connections = (host, int(port)), []
        threading.Thread(target=server.serve_forever).start()
        try:
            yield f"http://127.0.0.1:{server.server_address[1]}", server.connections
        finally:
            server.shutdown()


def field(key, content):
    return bytes((key, len(content))) + content


def of_cell(fields):
    """A POST with a cell of these fields."""
    return post((SERVICE, 0, field(0x22, field(0x0A, field(0x0A, fields)))))


def to_two(*blocks):
    return post((SERVICE, 0, b""), (SERVICE, 0, b"")), reply(*blocks)


# A POST, perhaps with its reply, and what is said of it.
FAULTS = {
    "none": (POST, REPLY), "of another version": (b"\0\2" + POST[2:], "version is 2, not 1"),
    "empty": (b"\0\1", "no header block"), "no header block": (reply(block(0x0100, bytes(10))), "does not belong"),
    "two header blocks": (POST[:45] + POST[2:], "does not belong"),
    "a block past the end": (POST[:-1], "block: the length is 44, but there are 43 bytes"),
    "a negative length": (POST[:45] + b"\xff" + POST[46:], "the length is -16777172"),
    "a block of more than its fields": (post() + block(0x0100, bytes(11)), "1 bytes more than its fields"),
    "half a number": (post() + b"\0\0", "4 bytes wanted, 2 left"),
    "a varint without its end": (of_cell(b"\x08" + b"\xff" * 10), "mcc: ten bytes, and no end"),
    "half a varint": (of_cell(b"\x08\xff"), "mcc is cut short"),
    "half a key": (of_cell(b"\x88"), "key of a field of lbs.GCell is cut short"),
    "a message past its end": (of_cell(b"")[:-1] + b"\5", "primarycell: the length is 5"),
    "another wire type": (of_cell(b"\x0d\5"), "mcc has wire type 5, not 0"),
    "a wire type without a meaning": (of_cell(b"\xf6\1"), "field 30 has the wire type 6"),
    "unknown fields": (of_cell(b"\xf0\1\5" + b"\xf2\1\1x" + b"\xf3\1\x08\1\xf4\1" + b"\xf5\1abcd"), ""),
    "an end of no group": (of_cell(b"\x0c\x08\1"), "where no group is"),
    "the end of another group": (of_cell(b"\xf3\1\xfc\1\xf4\1"), "end of group 31 in group 30"),
    "no end of a group": (of_cell(b"\xf3\1"), "no end"), "deep groups": (post((SERVICE, 0, b"\xf3\1" * 99)), "more than 64"),
    "an unknown block": (*to_two(block(9, b"x")), "this type is not known"),
    "not asked for": (*to_two(answer(9)), "nobody asked for a reply to 9"),
    "not answered": (*to_two(answer(7)), "request 8 has no reply"),
    "a failure": (*to_two(answer(7, status=500), answer(8)), "7 failed with status 500"),
    "an unknown encoding": (*to_two(answer(7, encodings=b"n,\x1b["), answer(8)), "'.[' is unknown"),
    "nothing deflated": (*to_two(answer(7, encodings=b"g"), answer(8)), "cannot be inflated"),
    "half a header of gzip": (*to_two(answer(7, b"\x1f\x8b\x08\4" + bytes(6) + b"\xff\xff", encodings=b"g"), answer(8)),
                              "cannot be inflated"),
    "deflated nothing": (*to_two(answer(7, zlib.compress(b""), encodings=b"g"), answer(8)), ""),
    "much deflated": (*to_two(answer(7, zlib.compress(bytes(9_000_000)), encodings=b"g"), answer(8)),
                      "not inflated"),
    "much": (of_cell(b"") + block(0x0100, bytes(10)) * 60_000, "the rest of this packet is not shown"),
}


def seeds_of(target):
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([sys.executable, ROOT / "fuzz/write_seeds.py", ROOT / f"fuzz/seeds/{target}.txt",
                        f"{folder}/seeds"], check=True)
        return [path.read_bytes() for path in pathlib.Path(folder, "seeds").iterdir()]


class Wireshark(unittest.TestCase):
    def test_documented_exchange(self):
        lookup = connection(0, http(PATH, POST), http(OK, REPLY))
        # At another port, in other pieces, after a request that is none of ours.
        other = connection(1, http(b"POST /other HTTP/1.1", POST), http(OK, REPLY), server_port=OTHER_PORT)
        chunks = http(OK, b"%x\r\n%b\r\n%x\r\n%b\r\n0\r\n\r\n" % (9, REPLY[:9], len(REPLY) - 9, REPLY[9:]),
                      b"Transfer-Encoding: chunked", length=False)
        kept = connection(2, http(PATH, POST) * 2, chunks + http(OK, REPLY))
        usual = connection(3, http(b"POST /m HTTP/1.1", POST), http(OK, REPLY), server_port=8642)
        fields = {
            "tcp.stream": "0", "kesu.version": "1", "kesu.client_version": "demo,1.0,linux,docs,en_US",
            "kesu.cookie": "0", "kesu.block.length": "37|44", "kesu.block.type": "0x0001|0x0100",
            "kesu.request.id": "0", "kesu.service": "g:loc/ql", "kesu.service_version": "1",
            "kesu.payload.length": "26", "kesu.lbs.GCell.mcc": "1", "kesu.lbs.GCell.area_code": "1",
            "kesu.lbs.GCell.cell_id": "1001", "kesu.lbs.GCell.signal_strength_dbm": "-71",
            "kesu.status": "", "kesu.lbs.GLatLng.latitude_e7": "", "kesu.lbs.GLatLng.longitude_e7": "",
            "kesu.lbs.GLocation.accuracy_m": "", "kesu.lbs.GLocReply.platform_key": "", "kesu.request_in": ""}
        answered = dict.fromkeys(fields, "") | {
            "tcp.stream": "0", "kesu.version": "1", "kesu.block.length": "36", "kesu.block.type": "0x8100",
            "kesu.request.id": "0", "kesu.status": "200", "kesu.service": "g:loc/ql",
            "kesu.lbs.GLatLng.latitude_e7": "387166667", "kesu.lbs.GLatLng.longitude_e7": "-91333333",
            "kesu.lbs.GLocation.accuracy_m": "150", "kesu.lbs.GLocReply.platform_key": "key", "kesu.request_in": "1"}
        shown = rows(capture(lookup + other + kept + usual), *fields)
        self.assertEqual([dict(zip(fields, map("|".join, row))) for row in shown[:2]], [fields, answered])
        self.assertEqual([row[0] for row in shown], [[i] for i in "002233"])
        self.assertEqual([row[10:14] for row in shown[2:]], [[2 * cell for cell in shown[0][10:14]], [[]] * 4,
                                                            shown[0][10:14], [[]] * 4])
        self.assertEqual(shown[3][15:18], [2 * cell for cell in shown[1][15:18]])

    def test_faults(self):
        packets = []
        for i, (bodies, name) in enumerate((case, name) for name, case in FAULTS.items()):
            ask, *replies = [body for body in bodies if isinstance(body, bytes)]
            packets += connection(i, http(PATH, ask), *(http(OK, body) for body in replies))
        said = {}
        for (stream,), messages in rows(capture(packets), "tcp.stream", "_ws.expert.message"):
            said.setdefault(int(stream), []).extend(m for m in messages if not re.search("HTTP/1|Window", m))
        for i, (name, case) in enumerate(FAULTS.items()):
            expected = case[-1] if isinstance(case[-1], str) else ""
            with self.subTest(name):
                self.assertEqual(bool(expected), bool(said[i]), said[i])
                self.assertIn(expected, "".join(said[i][:1]))

    def test_other_payloads(self):
        # By hand: method, type and its parameter, no encoding, a header, root body; and a part of each.
        called = (b"\0\3GET" b"mr\0\3b=1" b"\0\0" b"\1\0\1a\0\1b" b"\0\0\0\2\0\0hi" b"\0\1"
                  b"tx\0\3q=1" b"\0\2c1" b"\1\0\1p\0\1v" b"\0\0\0\2\0\0AB")
        plain = b"\0\3PUT" b"\1\0\1x\0\1y" b"\0\0\0\2OK"
        message, empty = b"\x08\1", b"\x08\0"
        # Two groups in each other, fields 1 and 2, and a number behind them.
        groups = b"\x0b\x13\x18\5\x22\1k\x14\x0c\x48\7"
        ask = post((ECHO, 1, called), (b"x", 0, plain), (SERVICE, 0, b""), (SERVICE, 0, b""), (b"q", 0, groups))
        ok = reply(answer(7, b"\1\0\1p\0\1q" + b"body"), answer(8, b"\0"), answer(9, zlib.compress(message), encodings=b"g"),
                   answer(10, zlib.compress(gzip.compress(empty)), encodings=b"n,g,n,g"), answer(11, message))
        packets = connection(0, http(PATH, ask), http(OK, ok)) + connection(1, http(PATH, POST)[:60], http(OK, REPLY), server_port=8642)
        fields = {
            "kesu.http.method": "GET|PUT", "kesu.http.mime_type": "multipart/related;b=1|text/xml;q=1",
            "kesu.http.content_id": "c1", "kesu.http.header": "a: b|p: v|x: y", "kesu.http.body": "6869|4142|4f4b",
            "kesu.lbs.LocQueryRequest_RequestElement_KeyElement.key_type": "5",
            "kesu.lbs.LocQueryRequest_RequestElement_KeyElement.key": "k", "kesu.lbs.LocQueryRequest.timestamp_ms": "7",
            "kesu.lbs.GLocReply.status": "", "kesu.lbs.LocQueryReply.status": ""}
        answered = dict.fromkeys(fields, "") | {
            "kesu.http.header": "p: q", "kesu.http.body": "626f6479", "kesu.lbs.GLocReply.status": "1|0",
            "kesu.lbs.LocQueryReply.status": "1"}
        shown = rows(capture(packets), *fields, words=("-o", "kesu.messages:q=LocQueryRequest/LocQueryReply"))
        self.assertEqual([dict(zip(fields, map("|".join, row))) for row in shown[:2]], [fields, answered])
        # A reply alone, which looks like a location.
        self.assertEqual(shown[2][8], ["0"])

    def test_hostile_bytes(self):
        cases = []
        for body, is_post in ((POST, True), (REPLY, False)):
            for i, byte in enumerate(body):
                changed = [body[:i], *(body[:i] + bytes((byte ^ change,)) + body[i + 1:] for change in (1, 0x80, 0xFF))]
                cases += [(case,) if is_post else (POST, case) for case in changed if case]
        for target in ("post_reader", "protocol_reader", "message"):
            for seed in filter(None, seeds_of(target)):
                cases += [(seed,), (seed[1:] or b"0",), (POST, seed), (post((SERVICE, 0, seed), (ECHO, 1, seed)),
                                                                  reply(answer(7, seed), answer(8, seed)))]
        packets = []
        for i, (ask, *replies) in enumerate(cases):
            packets += connection(i, http(PATH, ask), *(http(OK, body) for body in replies))
        for words in ((), ("-2",)):
            shown = rows(capture(packets), "tcp.stream", words=words)
            self.assertEqual(len(shown), sum(map(len, cases)))

    def test_real_programs(self):
        with kesu_server() as (url, _), recorded(url) as (relay, connections):
            seen = ("--cell", "1,1,1,1001,-71", "--next", "--wifi", "00-00-5E-00-53-01,-60")
            lookups = kesu("--json", "locate", *seen, server=relay).stdout.splitlines()
            place = kesu("--json", "reverse", "38.7167,-9.1333", server=relay).stdout
        packets = [packet for i, messages in enumerate(connections)
                   for packet in connection(i, *(bytes(content) for _, content in messages))]
        fields = ("kesu.request.id", "kesu.lbs.GCell.cell_id", "kesu.lbs.GWifiDevice.mac_address",
                  "kesu.lbs.GLatLng.latitude_e7", "kesu.lbs.GFeature.name", "_ws.expert.message")
        asked, found, point, named = rows(capture(packets), *fields, only='kesu.service == "g:loc/ql"')
        self.assertEqual(asked[:3], [["0", "1"], ["1001"], ["00-00-5E-00-53-01"]])
        self.assertEqual(found[:1] + found[3:4],
                         [["0", "1"], [f"{json.loads(line)['latitude'] * 1e7:.0f}" for line in lookups]])
        self.assertEqual(point[3], ["387167000"])
        self.assertIn(json.loads(place)["features"][0]["name"], named[4])
        for messages in (asked, found, point, named):
            self.assertFalse([text for text in messages[5] if not re.search("HTTP/1|Window", text)])


if __name__ == "__main__":
    unittest.main()
