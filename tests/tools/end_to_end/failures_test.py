"""Networks, servers and command lines that are wrong, as a user of kesu meets them."""

import concurrent.futures
import contextlib
import json
import os
import re
import signal
import socket
import ssl
import subprocess
import tempfile
import threading
import time
import unittest
import zlib
from typing import NamedTuple

from messages import answer, nested, number, place, reply
from programs import KESU, PATIENCE_S, kesu
from raw_server import BINARY, CLOSE, OK, RESET, STALL, Reply, http, serving

MIB = 1 << 20

# The position 38.7166667, -9.1333333, as a fix in a request and in an answer alike.
LATLNG = bytes.fromhex("0A0A 0DCBB11317 152B5D8EFA")
# A request block: type, id, service and its version, and a GLocRequest of 16 bytes with a fix.
REQUEST = rb"\x01\0(..)\0\x08g:loc/ql\0\x01\0{3}\x10\x22\x0E\x1A\x0C(\x0A\x0A\x0D.{4}\x15.{4})"
# A GLocReply with status 0, that position within 150 m and a platform key.
FOUND = bytes.fromhex("0800 1211 120F") + LATLNG + bytes.fromhex("189601 1A036B6579")
# A varint that never ends.
UNREADABLE = b"\x08" + b"\xff" * 20


def answers(post):
    """The body that answers each request, the last first, with the fix that ends it."""
    requests = re.findall(REQUEST, post, re.DOTALL)
    return reply(*(answer(int.from_bytes(request_id, "big"), FOUND.replace(LATLNG, fix))
                   for request_id, fix in reversed(requests)))


def answering(*parts):
    """The answer to one request: a GLocReply with status 0 and an element of these parts."""
    return Reply(http(reply(answer(0, number(1, 0) + nested(2, *parts)))))


def one_by_one(post):
    for byte in http(answers(post)):
        time.sleep(0.001)
        yield bytes((byte,))


def cut(length, end):
    """Sends the first bytes of an answer whose head has 75 bytes and whose body has 46."""
    return Reply(lambda post: [http(answers(post))[:length]], end)


def found(header):
    return Reply(lambda post: [http(answers(post), header=header)])


def chunks(post):
    yield OK + BINARY + b"\r\nTransfer-Encoding: chunked\r\n\r\n"
    yield b"%x\r\n%b\r\n0\r\n\r\n" % (len(answers(post)), answers(post))


def redirect(url):
    return Reply(http(b"", 302, b"Location: " + url))


def flood(head, piece=bytes(MIB)):
    """Sends 64 MiB behind a head."""
    return Reply(lambda _: [head] + [piece] * (64 * MIB // len(piece)), CLOSE)


def bomb():
    """64 MiB of zeros, in gzip."""
    deflater = zlib.compressobj(wbits=31)
    return b"".join(deflater.compress(bytes(MIB)) for _ in range(64)) + deflater.flush()


class Case(NamedTuple):
    name: str
    replies: list
    exit_status: int
    # For each lookup a position, nothing, or the kind and status of the error.
    outcomes: list
    posts: int = 1
    options: tuple = ()
    certificate: str = ""
    # What the reason of the first error says.
    reason: str = ""


POSITION, NOTHING = "position", "nothing"
MALFORMED, NO_ANSWER, VERSION = [("malformed", 200)], [("malformed", -3)], [("malformed", 2)]
TIMEOUT, BRIEFLY = [("timeout", 0)], ("--timeout", "0.5")
REFUSED, TLS = [("connection-refused", 0)], [("tls", 0)]
CLOSED, BROKEN_OFF = [("closed-early", 0)], [("closed-early", -3)]
TOO_LARGE, NO_REDIRECT = [("too-large", 200)], [("redirect-refused", 302)]
TRUSTING = ("--ca-file", "{folder}/authority.pem")
ANSWER, BAD_GATEWAY = found(BINARY), Reply(http(b"", 502))

CASES = [
    Case("an ordinary server", [ANSWER], 0, [POSITION]),
    Case("900 lookups", [ANSWER], 0, [POSITION] * 900, 2),
    Case("one byte at a time", [Reply(one_by_one)], 0, [POSITION]),
    Case("nobody listens", [], 3, REFUSED, 0, reason=r"127\.0\.0\.1:\d+: Connection refused"),
    Case("reset before any byte", [Reply(b"", RESET)], 3, CLOSED),
    Case("reset within the head", [cut(30, RESET)], 5, BROKEN_OFF, 2),
    Case("reset within the body", [cut(110, RESET)], 5, BROKEN_OFF, 2),
    Case("closed before any byte", [Reply(b"", CLOSE)], 3, CLOSED, reason="Empty reply"),
    Case("closed within the head", [cut(30, CLOSE)], 5, NO_ANSWER, 2),
    Case("closed within the body", [cut(110, CLOSE)], 5, BROKEN_OFF, 2),
    Case("stalled before any byte", [Reply(b"", STALL)], 4, TIMEOUT * 3, 1, BRIEFLY),
    Case("stalled within the head", [cut(30, STALL)], 4, TIMEOUT, 1, BRIEFLY),
    Case("stalled within the body", [cut(110, STALL)], 4, TIMEOUT, 1, BRIEFLY),
    # What is sent again travels in POSTs of its own; here the first of three was answered.
    Case("broken off once", [cut(140, RESET), ANSWER], 0, [POSITION] * 3, 3),
    Case("bad gateway once", [BAD_GATEWAY, ANSWER], 0, [POSITION] * 3, 4),
    Case("closed behind a reply", [BAD_GATEWAY._replace(end=CLOSE), ANSWER], 0, [POSITION] * 3, 4),
    # The transport notices that it was the kept connection, and sends again.
    Case("closed at the next POST", [BAD_GATEWAY, Reply(b"", CLOSE), ANSWER], 0, [POSITION], 3),
    Case("reset at the next POST", [BAD_GATEWAY, Reply(b"", RESET), ANSWER], 0, [POSITION], 3),
    Case("redirect", [redirect(b"/elsewhere"), ANSWER], 0, [POSITION], 2),
    Case("redirect to another server", [redirect(b"{other}/")], 0, [POSITION]),
    Case("redirect loop", [redirect(b"/m/appreq/cllDovi")], 3, NO_REDIRECT, 11),
    # Who opened that would wait for ever.
    Case("redirect to a file", [redirect(b"file://{folder}/fifo")], 3, NO_REDIRECT),
    Case("64 MiB", [flood(http(b"", length=64 * MIB))], 5, TOO_LARGE),
    Case("64 MiB, no length", [flood(OK + BINARY + b"\r\n\r\n")], 5, TOO_LARGE),
    Case("64 MiB of headers", [flood(OK, b"X:" + b"x" * 1020 + b"\r\n")], 5, TOO_LARGE),
    Case("64 MiB of one header", [flood(OK, b"X" * MIB)], 5, TOO_LARGE),
    # The inflater keeps 4096 bytes at most, and zeros are no fields.
    Case("64 MiB compressed", [Reply(http(reply(answer(0, bomb(), 200, b"g"))))], 1, [NOTHING]),
    *[Case(f"status {status}", [Reply(http(b"sorry", status))], 3, [("failure", status)])
      for status in (404, 500, 501, 503, 550)],
    Case("status 502", [BAD_GATEWAY], 3, [("failure", -3)], 2),
    Case("another content type", [found(b"Content-Type: text/html")], 5, NO_ANSWER, 2),
    Case("content-type in lower case", [found(BINARY.lower())], 5, NO_ANSWER, 2),
    Case("another protocol", [Reply(b"220 ready\r\n" * 9, CLOSE)], 3, [("other", 0)]),
    Case("garbage", [Reply(http(bytes(reversed(range(256)))))], 5, VERSION),
    Case("an empty body", [Reply(http(b""))], 5, VERSION),
    Case("another version", [Reply(http(reply(answer(0), version=2)))], 5, VERSION),
    Case("chunks", [Reply(chunks)], 5, VERSION),
    Case("a block cut short", [Reply(http(reply(answer(0))[:-1]))], 5, NO_ANSWER, 2),
    Case("an answer to another request", [Reply(http(reply(answer(7))))], 5, NO_ANSWER, 2),
    Case("refused, unreadable and not found",
         [Reply(http(reply(answer(2), answer(1, UNREADABLE), answer(0, status=400))))], 3,
         [("failure", 400), *MALFORMED, NOTHING]),
    Case("unreadable and late",
         [Reply(http(reply(answer(0, UNREADABLE)))), Reply(b"", STALL)], 4, MALFORMED + TIMEOUT, 2,
         ("--timeout", "1.5")),
    # Nowhere on earth; the last number is the accuracy.
    *[Case(f"{name} of {value}", [answering(place(position, number(3, accuracy), field=2))], 5,
           MALFORMED, reason=rf"\Aan? {name} of {value}\b")
      for name, value, position, accuracy in (
          ("latitude", "214.7000000", (214.7, 0), 1), ("latitude", "-90.0000001", (-90.0000001, 0), 1),
          ("longitude", "180.0000001", (0, 180.0000001), 1),
          ("longitude", "-214.7483648", (0, -214.7483648), 1),
          ("accuracy", "-5 m", (0, 0), -5), ("accuracy", "20037509 m", (0, 0), 20037509))],
    Case("TLS", [ANSWER], 0, [POSITION], 1, TRUSTING, "sound"),
    Case("TLS, redirected out of it", [redirect(b"{other}/")], 3, NO_REDIRECT, 1, TRUSTING,
         "sound"),
    Case("into TLS and out of it", [redirect(b"{secure}/")], 3, NO_REDIRECT, 1, TRUSTING),
    Case("TLS, unknown authority", [ANSWER], 3, TLS, 0, (), "sound", "issuer certificate"),
    Case("TLS, another name", [ANSWER], 3, TLS, 0, TRUSTING, "other-name", "127.0.0.1"),
    Case("TLS, expired", [ANSWER], 3, TLS, 0, TRUSTING, "expired", "certificate has expired"),
]

# What no case may need more than an ordinary lookup, and far longer than any takes.
MAX_MEMORY_KIB = 40 << 10
MAX_SECONDS = 20

REVERSE, LOCATE = ("reverse", "38.71,-9.14"), ("locate", "--gps", "1,2")
SEEN, HTTP_TEST = "kesu: 38.71000, -9.14000: ", ("httptest",)
# What a server sends stays on its line and leaves the terminal alone.
HOSTILE = b"a\x1b[2J\nb\xc2\x9bz\xff \" \0"
AS_TEXT = 'a [2J b z\ufffd " \ufffd'
NAMED = answering(place((0, 0), nested(5, nested(1, b"Lisbon")), nested(5, nested(1)),
                        nested(5, nested(1, HOSTILE)), field=2))

# What a server does; the command line; exit status; both outputs.
TEXTS = [
    (Reply(b"", CLOSE), REVERSE, 3, "", SEEN + "the service cannot be reached: {address}: "
     "Empty reply from server"),
    (Reply(http(b"", 550)), REVERSE, 3, "", SEEN + "the service answered with HTTP status 550"),
    (Reply(http(reply(answer(0, b"", 400)))), REVERSE, 3, "",
     SEEN + "the service refused with status 400"),
    (Reply(http(b"")), REVERSE, 5, "", SEEN + "the reply is malformed"),
    (answering(place((0, 214.7), field=2)), REVERSE, 5, "",
     SEEN + "the reply is malformed: a longitude of 214.7000000"),
    (Reply(b"", STALL), (*BRIEFLY, *REVERSE), 4, "", SEEN + "no answer in time"),
    (Reply(http(b"Accept: */*\n")), HTTP_TEST, 3, "SetHeaderTest failed", ""),
    (Reply(b"", CLOSE), HTTP_TEST, 3, "SetHeaderTest failed",
     "kesu: the service cannot be reached: {address}: Empty reply from server"),
    (Reply(b"", STALL), (*BRIEFLY, *HTTP_TEST), 4, "", "kesu: no answer in time"),
    (NAMED, REVERSE, 0, SEEN[6:] + AS_TEXT + "\n  Lisbon", ""),
    (NAMED, ("--json", *REVERSE), 0, '{"latitude":38.71,"longitude":-9.14,"address":"ADDRESS",'
     '"features":["Lisbon","ADDRESS"]}'.replace("ADDRESS", r"a\u001b[2J\nb" "\u009bz\ufffd"
                                                r' \" \u0000'), ""),
    (answering(place((90, -180), field=2)), LOCATE, 0, "90.00000, -180.00000", ""),
    (Reply(http(reply(answer(0, number(1, 0) + nested(2, place((1, 2), number(3, 20037508), field=2))
                             + nested(3, HOSTILE))))), LOCATE, 0,
     "1.00000, 2.00000, within 20037508 m, platform key " + AS_TEXT, ""),
    (answering(place((1, 2), field=2)), ("--json", *LOCATE), 0,
     '{"latitude":1.0,"longitude":2.0,"accuracy_m":null,"platform_key":null}', ""),
]

UNSHARE = ["unshare", "--user", "--map-root-user", "--pid", "--fork", "--"]

CERTIFICATES = """
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout key.pem \\
  -subj /CN=authority -out authority.pem
certify() {
  openssl req -new -key key.pem -subj /CN=server -addext subjectAltName=IP:$2 |
    openssl x509 -req -copy_extensions copy -CA authority.pem -CAkey key.pem -days $3 -out $1.pem
}
certify sound 127.0.0.1 2
certify other-name 127.0.0.2 2
certify expired 127.0.0.1 -1
"""


def outcome(line, number):
    result = json.loads(line)
    if error := result.get("error"):
        return error["kind"], error["status"]
    known = {(float(f"38.{7166667 + number}"), -9.1333333): POSITION, (None, None): NOTHING}
    return known[result["latitude"], result["longitude"]]


class Failures(unittest.TestCase):
    @contextlib.contextmanager
    def server_of(self, case):
        """Yields the URL of the server, and the POSTs that came."""
        if not case.replies:
            with socket.socket() as bound:
                bound.bind(("127.0.0.1", 0))
                yield f"http://127.0.0.1:{bound.getsockname()[1]}", []
        else:
            places = {"folder": self.folder, "other": self.other.url, "secure": self.secure.url}
            replies = [reply if callable(reply.content) else reply._replace(content=re.sub(
                rb"{(\w+)}", lambda name: places[name[1].decode()].encode(), reply.content))
                       for reply in case.replies]
            with serving(*replies, tls=self.tls(case.certificate)) as server:
                yield server.url, server.bodies

    def tls(self, certificate):
        if not certificate:
            return None
        tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        tls.load_cert_chain(f"{self.folder}/{certificate}.pem", self.folder + "/key.pem")
        return tls

    def run_case(self, case):
        arguments = ["--json", *(word.format(folder=self.folder) for word in case.options)]
        for i in range(len(case.outcomes)):
            arguments += ["--next" if i else "locate", "--gps", f"38.{7166667 + i},-9.1333333"]
        with self.server_of(case) as (url, posts):
            return kesu(*arguments, server=url), len(posts)

    def test_cases(self):
        with tempfile.TemporaryDirectory() as self.folder, serving(ANSWER) as self.other, \
                concurrent.futures.ThreadPoolExecutor(8) as pool:
            os.mkfifo(self.folder + "/fifo")
            subprocess.run(["sh", "-ec", CERTIFICATES], cwd=self.folder, check=True,
                           capture_output=True)
            leave = redirect(self.other.url.encode() + b"/")
            with serving(leave, tls=self.tls("sound")) as self.secure:
                ran = list(pool.map(self.run_case, CASES))
        for case, (run, posts) in zip(CASES, ran, strict=True):
            with self.subTest(case.name):
                lines = run.stdout.splitlines()
                outcomes = [outcome(line, i) for i, line in enumerate(lines)]
                self.assertEqual((run.returncode, outcomes, posts, run.stderr),
                                 (case.exit_status, case.outcomes, case.posts, ""))
                if case.reason:
                    self.assertRegex(json.loads(lines[0])["error"]["reason"], case.reason)
                self.assertLess(run.peak_kib, ran[0][0].peak_kib + MAX_MEMORY_KIB)
                self.assertLess(run.seconds, MAX_SECONDS)

    def test_texts(self):
        for content, arguments, exit_status, output, error in TEXTS:
            with self.subTest((arguments, output, error)), serving(content) as server:
                run = kesu(*arguments, server=server.url)
                texts = [text and text.replace("{address}", server.url[7:]) + "\n"
                         for text in (output, error)]
                self.assertEqual([run.returncode, run.stdout, run.stderr], [exit_status, *texts])

    def test_signals_end_it(self):
        asked = threading.Semaphore(0)
        # Nothing ends the first process of a container but its own will.
        for number, prefix in ((signal.SIGINT, []), (signal.SIGTERM, []), (signal.SIGTERM, UNSHARE)):
            with serving(Reply(lambda _: asked.release() or [], STALL)) as server:
                run = subprocess.Popen([*prefix, KESU, "--server", server.url, *REVERSE],
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                self.assertTrue(asked.acquire(timeout=PATIENCE_S))
                if prefix:
                    with open(f"/proc/{run.pid}/task/{run.pid}/children", encoding="ascii") as child:
                        os.kill(int(child.read()), number)
                else:
                    run.send_signal(number)
                self.assertEqual(run.communicate(timeout=PATIENCE_S), (b"", b""))
                self.assertEqual(run.returncode, 128 + number if prefix else -number)
