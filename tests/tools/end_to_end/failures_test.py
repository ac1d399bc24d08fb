"""Networks, servers and command lines that are wrong, as a user of kesu meets them."""

import concurrent.futures
import contextlib
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import tempfile
import threading
import unittest
from typing import NamedTuple

from fixture import (BINARY, CLOSE, KESU, OK, PATIENCE_S, RESET, STALL, Reply, answer, http,
                     isolating, kesu, nested, number, place, reply, serving)

# The position 38.7166667, -9.1333333, as a fix in a request and in an answer alike.
LATLNG = bytes.fromhex("0A0A 0DCBB11317 152B5D8EFA")
# A request block: type, id, service and its version, and a GLocRequest that ends with a fix.
REQUEST = rb"\x01\0(..)\0\x08g:loc/ql\0\x01\0{3}.\x0A.+?\x22\x0E\x1A\x0C(\x0A\x0A\x0D.{4}\x15.{4})"
# A GLocReply with status 0, that position within 150 m and a platform key.
FOUND = bytes.fromhex("0800 1211 120F") + LATLNG + bytes.fromhex("189601 1A036B6579")
# A varint that never ends.
UNREADABLE = b"\x08" + b"\xff" * 20


def answers(post):
    """The body that answers each request, the last first, with the fix that ends it."""
    requests = re.findall(REQUEST, post, re.DOTALL)
    return reply(*(answer(int.from_bytes(request_id, "big"), FOUND.replace(LATLNG, fix))
                   for request_id, fix in reversed(requests)))


def answering(*parts, key=None):
    """The answer to one request: a GLocReply with status 0 and an element of these parts."""
    end = nested(3, key) if key else b""
    return Reply(http(reply(answer(0, number(1, 0) + nested(2, *parts) + end))))


def found(header=BINARY):
    return Reply(lambda post: [http(answers(post), header=header)])


def cut(length, end):
    """Sends the first bytes of an answer whose head has 75 bytes and whose body has 46."""
    return Reply(lambda post: [http(answers(post))[:length]], end)


def redirect(url):
    return Reply(http(b"", 302, b"Location: " + url))


class Case(NamedTuple):
    name: str
    replies: list
    exit_status: int
    # For each lookup "position", "nothing", or the kind and status of the error.
    outcomes: str
    posts: int = 1
    options: tuple = ()
    certificate: str = ""
    # What the reason of the first error says.
    reason: str = ""


BRIEFLY, TRUSTING = ("--timeout", "1"), ("--ca-file", "{folder}/authority.pem")
ANSWER, BAD_GATEWAY = found(), Reply(http(b"", 502))
LOST, CHUNKED = Reply(b"", CLOSE), OK + BINARY + b"\r\nTransfer-Encoding: chunked\r\n\r\n"

CASES = [
    Case("an ordinary server", [ANSWER], 0, "position"),
    Case("900 lookups", [ANSWER], 0, "position " * 900, 2),
    Case("one byte at a time", [Reply(lambda post: map(bytes, zip(http(answers(post)))))], 0,
         "position"),
    Case("nobody listens", [], 3, "connection-refused:0", 0,
         reason=r"127\.0\.0\.1:\d+: Connection refused"),
    Case("closed before any byte", [LOST], 3, "closed-early:0", reason="Empty reply"),
    Case("closed within the body", [cut(110, CLOSE)], 5, "closed-early:-3", 2),
    Case("stalled before any byte", [Reply(b"", STALL)], 4, "timeout:0 " * 3, 1, BRIEFLY),
    # What is sent again travels in POSTs of its own; here the first of three was answered.
    Case("broken off once", [cut(140, RESET), ANSWER], 0, "position " * 3, 3),
    # The transport notices that it was the kept connection, and sends again.
    Case("closed at the next POST", [BAD_GATEWAY, LOST, ANSWER], 0, "position", 3),
    Case("redirect loop", [redirect(b"/m/appreq/cllDovi")], 3, "redirect-refused:302", 11),
    Case("64 MiB", [Reply(lambda _: [http(b"", length=1 << 26)] + [bytes(1 << 20)] * 64, CLOSE)], 5,
         "too-large:200"),
    *[Case(f"status {status}", [Reply(http(b"sorry", status))], 3, f"failure:{status}")
      for status in (404, 500, 501, 503, 550)],
    Case("status 502", [BAD_GATEWAY], 3, "failure:-3", 2),
    Case("another content type", [found(b"Content-Type: text/html")], 5, "malformed:-3", 2),
    Case("content-type in lower case", [found(BINARY.lower())], 5, "malformed:-3", 2),
    Case("an empty body", [Reply(http(b""))], 5, "malformed:2"),
    Case("chunks", [Reply(CHUNKED + b"12\r\n" + reply(answer(0, b"")) + b"\r\n0\r\n\r\n")], 5,
         "malformed:2"),
    Case("a block cut short", [Reply(http(reply(answer(0))[:-1]))], 5, "malformed:-3", 2),
    Case("refused, unreadable and not found",
         [Reply(http(reply(answer(2), answer(1, UNREADABLE), answer(0, status=400))))], 3,
         "failure:400 malformed:200 nothing"),
    Case("unreadable and late", [Reply(http(reply(answer(0, UNREADABLE)))), Reply(b"", STALL)], 4,
         "malformed:200 timeout:0", 2, ("--timeout", "4")),
    # Nowhere on earth; the last number is the accuracy.
    *[Case(reason, [answering(place(position, number(3, accuracy), field=2))], 5, "malformed:200",
           reason=reason + r"\b")
      for reason, position, accuracy in (
          ("a latitude of 214.7000000", (214.7, 0), 1),
          ("a latitude of -90.0000001", (-90.0000001, 0), 1),
          ("a longitude of 180.0000001", (0, 180.0000001), 1),
          ("a longitude of -214.7483648", (0, -214.7483648), 1),
          ("an accuracy of -5 m", (0, 0), -5),
          ("an accuracy of 20037509 m", (0, 0), 20037509))],
    Case("TLS", [ANSWER], 0, "position", 1, TRUSTING, "sound"),
    Case("TLS, redirected out of it", [redirect(b"{other}/")], 3, "redirect-refused:302", 1,
         TRUSTING, "sound"),
    Case("into TLS and out", [redirect(b"{secure}/")], 3, "redirect-refused:302", 1, TRUSTING),
    Case("TLS, unknown authority", [ANSWER], 3, "tls:0", 0, (), "sound", "issuer certificate"),
    Case("TLS, another name", [ANSWER], 3, "tls:0", 0, TRUSTING, "other-name", "127.0.0.1"),
    Case("TLS, expired", [ANSWER], 3, "tls:0", 0, TRUSTING, "expired", "certificate has expired"),
]

REVERSE, LOCATE, HTTP_TEST = ("reverse", "38.71,-9.14"), ("locate", "--gps", "1,2"), ("httptest",)
SEEN, EMPTY = "kesu: 38.71000, -9.14000: ", "{address}: Empty reply from server"
# What a server sends stays on its line and leaves the terminal alone.
HOSTILE = b"a\x1b[2J\nb\xc2\x9bz\xff \" \0"
AS_TEXT, AS_JSON = 'a [2J b z\ufffd " \ufffd', r"a\u001b[2J\nb" "\u009bz\ufffd" r' \" \u0000'
BARE = '"kind":null,"centre":null,"bounding_box":null,"address":{"lines":[],"components":[]}'
NAMED = answering(place((0, 0), *(nested(5, nested(1, name)) for name in (b"Lisbon", b"", HOSTILE)),
                        field=2))

# What a server does; the command line; exit status; both outputs.
TEXTS = [
    (LOST, REVERSE, 3, "", SEEN + "no reply from the service: " + EMPTY),
    (Reply(http(b"", 304)), REVERSE, 3, "", SEEN + "the service answered with HTTP status 304"),
    (redirect(b"ftp://x/"), REVERSE, 3, "", SEEN + "the service answered with HTTP status 302, a "
     "redirect that is not followed: x:21: Protocol \"ftp\" not supported or disabled in libcurl"),
    (Reply(http(reply(answer(0, b"", 400)))), REVERSE, 3, "",
     SEEN + "the service refused the request with status 400"),
    (Reply(http(b"")), REVERSE, 5, "", SEEN + "the reply is malformed, or holds no answer to this request"),
    (answering(place((0, 214.7), field=2)), REVERSE, 5, "",
     SEEN + "the reply is malformed: a longitude of 214.7000000"),
    (Reply(b"", STALL), ("--timeout", "0.0001", *REVERSE), 4, "", SEEN + "no answer in time"),
    (Reply(http(b"Accept: */*\n")), HTTP_TEST, 3, "SetHeaderTest failed", ""),
    (LOST, HTTP_TEST, 3, "SetHeaderTest failed", "kesu: no reply from the service: " + EMPTY),
    (Reply(b"", STALL), (*BRIEFLY, *HTTP_TEST), 4, "", "kesu: no answer in time"),
    (NAMED, REVERSE, 0, SEEN[6:] + AS_TEXT + "\n  Lisbon", ""),
    (NAMED, ("reverse", "--json", "--", "-.5,-0.25"), 0, '{"latitude":-0.5,"longitude":-0.25,'
     f'"address":"{AS_JSON}","features":[{{"name":"Lisbon",{BARE}}},{{"name":null,{BARE}}},'
     f'{{"name":"{AS_JSON}",{BARE}}}]}}', ""),
    (answering(place((90, -180), field=2)), LOCATE, 0, "90.00000, -180.00000", ""),
    (answering(place((1, 2), number(3, 20037508), field=2), key=HOSTILE), LOCATE, 0,
     "1.00000, 2.00000, within 20037508 m, platform key " + AS_TEXT, ""),
    (answering(place((1, 2), field=2)), ("--json", *LOCATE), 0,
     '{"latitude":1.0,"longitude":2.0,"accuracy_m":null,"platform_key":null}', ""),
]

# Nothing ends the first process of a container but its own will. Leak detection looks into /proc.
AS_INIT = isolating("--pid", "--fork", "--mount-proc")
IGNORING = ["sh", "-c", 'trap "" INT; exec "$@"', "sh"]

CERTIFICATES = """
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout key.pem \\
  -subj /CN=authority -out authority.pem
certify() {
  openssl req -new -key key.pem -subj /CN=server -addext subjectAltName=IP:$2 |
    openssl x509 -req -copy_extensions copy -CA authority.pem -CAkey key.pem -days $3 -out $1.pem
  cat key.pem >> $1.pem
}
certify sound 127.0.0.1 2
certify other-name 127.0.0.2 2
certify expired 127.0.0.1 -1
"""


def outcome(line, i):
    result = json.loads(line)
    if error := result.get("error"):
        return f"{error['kind']}:{error['status']}"
    known = {(float(f"38.{7166667 + i}"), -9.1333333): "position", (None, None): "nothing"}
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
            replies = [reply if callable(reply.content) else reply._replace(
                content=reply.content.replace(b"{other}", self.other.url.encode())
                .replace(b"{secure}", self.secure.url.encode())) for reply in case.replies]
            with serving(*replies, certificate=self.certificate(case.certificate)) as server:
                yield server.url, server.bodies

    def certificate(self, name):
        return name and f"{self.folder}/{name}.pem"

    def run_case(self, case):
        arguments = ["--json", *(word.format(folder=self.folder) for word in case.options)]
        for i in range(len(case.outcomes.split())):
            arguments += ["--next" if i else "locate", "--gps", f"38.{7166667 + i},-9.1333333"]
        with self.server_of(case) as (url, posts):
            return kesu(*arguments, server=url), len(posts)

    def test_cases(self):
        with tempfile.TemporaryDirectory() as self.folder, serving(ANSWER) as self.other, \
                concurrent.futures.ThreadPoolExecutor(8) as pool:
            subprocess.run(["sh", "-ec", CERTIFICATES], cwd=self.folder, check=True,
                           capture_output=True)
            leave = redirect(self.other.url.encode() + b"/")
            with serving(leave, certificate=self.certificate("sound")) as self.secure:
                ran = list(pool.map(self.run_case, CASES))
        for case, (run, posts) in zip(CASES, ran, strict=True):
            with self.subTest(case.name):
                lines = run.stdout.splitlines()
                outcomes = [outcome(line, i) for i, line in enumerate(lines)]
                self.assertEqual((run.returncode, outcomes, posts, run.stderr),
                                 (case.exit_status, case.outcomes.split(), case.posts, ""))
                if case.reason:
                    self.assertRegex(json.loads(lines[0])["error"]["reason"], case.reason)
                self.assertLess(run.peak_kib, ran[0][0].peak_kib + (40 << 10))

    def test_texts(self):
        for content, arguments, exit_status, output, error in TEXTS:
            with self.subTest((arguments, output, error)), serving(content) as server:
                run = kesu(*arguments, server=server.url)
                texts = [text and text.replace("{address}", server.url[7:]) + "\n"
                         for text in (output, error)]
                self.assertEqual([run.returncode, run.stdout, run.stderr], [exit_status, *texts])

    def test_signals_end_it(self):
        asked = threading.Semaphore(0)
        # The last is one that the shell of a background job ignores.
        for sent, prefix, status in ((signal.SIGINT, [], -2), (signal.SIGTERM, [], -15),
                                     (signal.SIGTERM, AS_INIT, 143), (signal.SIGINT, IGNORING, 4)):
            if prefix is None:
                continue
            with serving(Reply(lambda _: asked.release() or [], STALL)) as server:
                words = [*prefix, KESU, "--server", server.url, "--timeout", "4", *REVERSE]
                run = subprocess.Popen(words, stderr=subprocess.PIPE)
                self.assertTrue(asked.acquire(timeout=PATIENCE_S))
                children = pathlib.Path(f"/proc/{run.pid}/task/{run.pid}/children").read_text()
                os.kill(int(children or run.pid), sent)
                error = run.communicate(timeout=PATIENCE_S)[1]
                self.assertEqual((run.returncode, bool(error)), (status, status == 4))
