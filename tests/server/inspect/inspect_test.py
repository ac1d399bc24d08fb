"""The inspector of kesu-server: whom it serves, what it shows, and what it costs when nobody looks."""

import contextlib
import http.client
import json
import os
import signal
import socket
import subprocess
import tempfile
import time
import unittest
import unittest.mock

from fixture import (ECHO, KESU_SERVER, PATIENCE_S, SERVICE, asker, cell, kesu, kesu_server, nested,
                     number, place, post, wifi)

GOOD = {"Content-Type": "application/binary"}
EMPTY = post((SERVICE, 0, b""))


def ask(server, path, method="GET", body=None, **headers):
    """Yields status, headers and body."""
    connection = http.client.HTTPConnection(server.split("/")[2], timeout=PATIENCE_S)
    with contextlib.closing(connection):
        connection.request(method, path, body, {name.replace("_", "-"): value for name, value in headers.items()})
        answered = connection.getresponse()
        return answered.status, answered.headers, answered.read()


def send(server, body, **headers):
    return ask(server, "/m/appreq/cllDovi", "POST", body, **(GOOD | headers))


def send_many(server, body, count):
    with contextlib.closing(http.client.HTTPConnection(server.split("/")[2], timeout=PATIENCE_S)) as connection:
        for _ in range(count):
            connection.request("POST", "/m/appreq/cllDovi", body, GOOD)
            connection.getresponse().read()


def shown(server, number):
    return json.loads(ask(server, f"/inspect/posts/{number}")[2])


class Events(contextlib.AbstractContextManager):
    """What comes over /inspect/events."""

    def __init__(self, server, after="", **headers):
        self.connection = http.client.HTTPConnection(server.split("/")[2], timeout=PATIENCE_S)
        self.connection.request("GET", "/inspect/events" + after, headers=headers)
        self.response = self.connection.getresponse()

    def __exit__(self, *_):
        self.response.close()
        self.connection.close()

    def next(self):
        """The kind of the next event, its id and its data; nothing at the end."""
        event = {}
        for line in iter(self.response.readline, b""):
            if line == b"\n" and "event" in event:
                return event["event"], event.get("id"), json.loads(event["data"])
            name, colon, value = line.decode().rstrip("\n").partition(": ")
            if colon:
                event[name] = value
        return None

    def upto(self, last):
        """Those up to the post of that id."""
        events = [self.next()]
        while events[-1] and events[-1][1] != str(last):
            events.append(self.next())
        return events


def node(tree, *names):
    """The node that is reached by these names."""
    for name in names:
        found = next(it for it in tree if it["name"] == name)
        tree = found["children"]
    return found


def resident_kib(server):
    """Of the worker, the only child."""
    children = f"/proc/{server.process.pid}/task/{server.process.pid}/children"
    with open(children, encoding="ascii") as file:
        worker = file.read().split()[0]
    with open(f"/proc/{worker}/status", encoding="ascii") as file:
        return int(next(line for line in file if line.startswith("VmRSS")).split()[1])


class Starting(unittest.TestCase):
    def test_only_where_nobody_else_can_come(self):
        with tempfile.TemporaryDirectory() as folder:
            learn = ["--learn", f"--database={folder}/db"]
            cases = {
                ("--inspect", "--address=0.0.0.0"): "others can come to",
                ("--inspect", "--address=::"): "others can come to",
                ("--inspect", *learn): "--inspect-learning",
                ("--inspect", "--workers=2"): "one worker",
                ("--inspect-anywhere",): "need --inspect"}
            for options, reason in cases.items():
                with self.subTest(options):
                    run = subprocess.run([KESU_SERVER, "--port=0", *options], timeout=PATIENCE_S,
                                         capture_output=True, text=True, check=False)
                    self.assertEqual((run.returncode, run.stdout), (2, ""))
                    self.assertIn(reason, run.stderr)
            for options in (["--inspect", "--inspect-anywhere", "--address=0.0.0.0"],
                            ["--inspect", "--inspect-learning", *learn], ["--inspect", "--address=127.0.0.2"]):
                with self.subTest(options), kesu_server(*options) as (server, _):
                    self.assertEqual(ask(server, "/inspect")[0], 200)
        with kesu_server() as (server, _):
            self.assertEqual(ask(server, "/inspect")[0], 404)

    def test_no_other_site(self):
        own = {"Host": "127.0.0.1:1", "Origin": "http://127.0.0.1:1"}
        cases = {
            (): 200, ("Host", "localhost"): 200, ("Host", "LOCALHOST:99"): 200, ("Host", "[::1]:99"): 200,
            ("Host", "127.9.9.9"): 200, ("Host", "a.example"): 403, ("Host", "localhost.a.example"): 403,
            ("Host", "127.0.0.1.a.example"): 403, ("Host", "10.0.0.1"): 403, ("Host", "[2001:db8::1]"): 403,
            ("Host", ""): 403, tuple(own.items()): 200, ("Origin", "http://a.example"): 403, ("Origin", "null"): 403,
            ("Host", "127.0.0.1:1", "Origin", "http://127.0.0.1:2"): 403,
            ("Sec-Fetch-Site", "same-origin"): 200, ("Sec-Fetch-Site", "none"): 200,
            ("Sec-Fetch-Site", "cross-site"): 403, ("Sec-Fetch-Site", "same-site"): 403,
            ("Sec-Fetch-Site", "cross-site", "Sec-Fetch-Dest", "document"): 200}
        with kesu_server("--inspect") as (server, _):
            send(server, EMPTY)
            for case, status in cases.items():
                words = [word for part in case for word in ([part] if isinstance(part, str) else part)]
                headers = dict(zip(words[::2], words[1::2]))
                for path in ("/inspect", "/inspect/events", "/inspect/posts/1", "/inspect/posts/1/request"):
                    with self.subTest(headers=headers, path=path):
                        method = "HEAD" if path.endswith("events") else "GET"
                        answered, guards, _ = ask(server, path, method, **headers)
                        self.assertEqual(answered, status)
                        policy = dict(part.split(" ", 1) for part in guards["Content-Security-Policy"].split("; "))
                        self.assertLessEqual({"default-src": "'none'", "script-src": "'self'", "style-src": "'self'",
                                              "frame-ancestors": "'none'", "base-uri": "'none'",
                                              "form-action": "'none'"}.items(), policy.items())
                        self.assertEqual([guards[name] for name in (
                            "X-Content-Type-Options", "Cache-Control", "Cross-Origin-Resource-Policy",
                            "Access-Control-Allow-Origin")], ["nosniff", "no-store", "same-origin", None])
            for method, path, status in (("POST", "/inspect", 405), ("DELETE", "/inspect/posts/1", 405),
                                         ("GET", "/inspect/nothing", 404), ("GET", "/inspect/posts/2", 404),
                                         ("GET", "/inspect/posts/x", 404), ("GET", "/inspect/posts/-1", 404),
                                         ("GET", "/inspect/posts/1/", 404), ("GET", "/inspector", 404)):
                self.assertEqual(ask(server, path, method)[0], status, path)
        with kesu_server("--inspect", "--inspect-anywhere") as (server, _):
            self.assertEqual([ask(server, "/inspect", Host=host)[0] for host in ("10.0.0.1", "a.example")], [200, 403])


class Showing(unittest.TestCase):
    def test_a_lookup_and_a_reverse_geocode(self):
        lisbon = (38.7167, -9.1333)
        fix = place((38.72, -9.13), number(3, 5))
        element = nested(1, nested(1, cell(1, 1, 1, 1001, -71))) + wifi((b"00-00-5E-00-53-01", -60), (b"no address",))
        lookup = asker() + nested(4, element, place((38.72, -9.13), number(3, 9000)))
        body = post((SERVICE, 0, lookup), (SERVICE, 0, asker() + nested(4, element, fix)), (SERVICE, 0, asker() + nested(
            4, place(lisbon), nested(4))), (b"other", 0, b""))
        with kesu_server("--inspect") as (server, _), Events(server) as events:
            self.assertEqual(events.response.headers["Content-Type"], "text/event-stream")
            answered = send(server, body)[2]
            kind, number_of, summary = events.next()
            self.assertEqual((kind, number_of), ("post", "1"))
            self.assertRegex(summary.pop("time"), r"^20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
            self.assertGreater(summary.pop("duration_ms"), 0)
            self.assertEqual(summary, {
                "id": 1, "client": "127.0.0.1", "bytes_in": len(body), "bytes_out": len(answered), "status": 200,
                "requests": 4, "services": ["g:loc/ql", "other"], "fault": None})
            self.assertEqual(ask(server, "/inspect/posts/1/request")[2], body)
            self.assertEqual(ask(server, "/inspect/posts/1/reply")[2], answered)
            self.assertIn("attachment", ask(server, "/inspect/posts/1/reply", "HEAD")[1]["Content-Disposition"])

            exchange = shown(server, 1)
            for side, content in (("request", body), ("reply", answered)):
                self.assertEqual((exchange[side]["hex"], exchange[side]["error"]), (content.hex(), None))
            mac = node(exchange["request"]["tree"], "request block", "payload", "requestelements", "wifiprofile",
                       "wifidevices", "mac_address")
            self.assertEqual(mac["value"], "00-00-5E-00-53-01")
            self.assertEqual(body[mac["from"]:mac["to"]], nested(1, b"00-00-5E-00-53-01"))

            of_stations, of_fix, of_point = exchange["maps"]
            self.assertEqual([(it["name"], it["kind"], it["received_dbm"]) for it in of_stations["stations"]],
                             [("1-1-1-1001", "cell", -71), ("00:00:5e:00:53:01", "wifi", -60)])
            self.assertEqual(of_stations["fixes"], [
                {"latitude": 38.72, "longitude": -9.13, "label": "own fix", "accuracy_m": 9000}])
            estimate, = of_stations["estimates"]
            self.assertEqual(estimate["label"], "answer")
            # The answer to the second is its fix, which is better.
            again, = of_fix["estimates"]
            self.assertEqual(again["label"], "estimate from the stations")
            for name in ("latitude", "longitude"):
                self.assertAlmostEqual(again[name], estimate[name], 6)
            # A degree of latitude is 111.2 km, one of longitude there 86.8 km.
            metres = ((estimate["latitude"] - 38.72) * 111_195) ** 2 + ((estimate["longitude"] + 9.13) * 86_750) ** 2
            self.assertAlmostEqual(of_stations["distance_m"], metres ** 0.5, delta=metres ** 0.5 / 100)
            self.assertEqual([(it["latitude"], it["longitude"]) for it in of_point["points"]], [lisbon])
            self.assertIn("Lisbon, Portugal", [it["name"] for it in of_point["features"]])

    def test_what_is_hostile_or_wrong(self):
        hostile = b"</script>\xff\n\ndata: x"
        bodies = {
            "names": (post((hostile, 0, b""), (b"s" * 60_000, 0, b"")), {}, 200),
            "malformed": (EMPTY[:-1], {}, 400),
            "garbage": (bytes(range(256)), {}, 400),
            "another type": (EMPTY, {"Content-Type": "text/plain"}, 415),
            "empty": (b"", {}, 400)}
        with kesu_server("--inspect") as (server, _), Events(server) as events:
            for number_of, (name, (body, headers, status)) in enumerate(bodies.items(), 1):
                with self.subTest(name):
                    text = send(server, body, **headers)[2]
                    kind, _, summary = events.next()
                    self.assertEqual((kind, summary["id"], summary["status"]), ("post", number_of, status))
                    exchange = shown(server, number_of)
                    self.assertEqual(exchange["request"]["hex"], body.hex())
                    self.assertEqual(exchange["request"]["error"] is None, body in (EMPTY, b"", bodies["names"][0]))
                    if status != 200:
                        self.assertEqual(node(exchange["reply"]["tree"], "text")["value"], text.decode())
            with Events(server) as events:
                _, _, summary = events.next()
            self.assertEqual(summary["services"], [hostile.decode(errors="replace"), "s" * 64 + "..."])

    def test_faults(self):
        kinds = ("status=503:1", "encoding=g:1", "drop:1", "garbage:1")
        faults = [f"--fault={kind}" for kind in kinds]
        body = post((SERVICE, 0, asker() + nested(4, place((38.7, -9.1)), nested(4))))
        with kesu_server("--inspect", *faults) as (server, _), Events(server) as events:
            for number_of, kind in enumerate(kinds, 1):
                with contextlib.suppress(http.client.RemoteDisconnected):
                    send(server, body)
                self.assertEqual(events.next()[2]["fault"], kind)
            reply_of = {number_of: shown(server, number_of)["reply"] for number_of in (1, 2, 3, 4)}
            payload = node(reply_of[2]["tree"], "reply block", "payload")
            self.assertEqual(payload["to"], len(reply_of[2]["hex"]) // 2)
            self.assertIn("decoded to", payload["note"])
            self.assertEqual((reply_of[3]["error"], reply_of[4]["error"] is None), (None, False))


class Keeping(unittest.TestCase):
    def test_the_last_thousand(self):
        with kesu_server("--inspect") as (server, end), Events(server) as live:
            send_many(server, EMPTY, 1005)
            ids = [int(it[1]) for it in live.upto(1005) if it[0] == "post"]
            self.assertEqual(ids, list(range(1, 1006)))
            self.assertEqual(live.next(), ("gone", None, {"before": 6}))
            self.assertEqual([ask(server, f"/inspect/posts/{it}")[0] for it in (5, 6, 1005)], [404, 200, 200])
            cases = {"": 6, "?after=1000": 1001, "?after=2": 6, "?after=9999": 6, "?after=x": 6}
            for after, first in cases.items():
                with self.subTest(after), Events(server, after) as events:
                    self.assertEqual(events.next()[1], str(first))
            with Events(server, "?after=7", **{"Last-Event-ID": "1004"}) as events:
                self.assertEqual(events.next()[1], "1005")
            # The worker that reads the data again begins anew, whatever a page has seen.
            end.process.send_signal(signal.SIGHUP)
            self.assertIsNone(live.next())
            send(server, EMPTY)
            with Events(server, **{"Last-Event-ID": "1005"}) as events:
                self.assertEqual(events.next()[1], "1")

    # A sanitizer may not keep what is freed.
    @unittest.mock.patch.dict(os.environ, ASAN_OPTIONS=os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1")
    def test_memory(self):
        long = post((SERVICE, 0, bytes(2 << 20)))
        large = post((ECHO, 0, b"\0\0\0" + (900_000).to_bytes(4, "big") + bytes(900_000)))
        with kesu_server("--inspect", "--max-body=3000000") as (server, end):
            before = resident_kib(end)
            send(server, long)
            exchange = shown(server, 1)
            self.assertEqual((len(exchange["request"]["hex"]), exchange["summary"]["bytes_in"]),
                             (2 << 20, len(long)))
            self.assertEqual(exchange["request"]["error"],
                             f"only the first {1 << 20} of {len(long)} bytes are kept")
            for _ in range(60):
                send(server, large)
            with Events(server) as events:
                kept = [it for it in events.upto(61) if it[0] == "post"]
            self.assertLessEqual(sum(it[2]["bytes_in"] + it[2]["bytes_out"] for it in kept), 32 << 20)
            self.assertGreaterEqual(len(kept), 15)
            self.assertLess(resident_kib(end) - before, 64 << 10)

    def test_readers_that_wait_and_that_do_not_read(self):
        with kesu_server("--inspect", "--idle-timeout=1", "--body-timeout=1", "--header-timeout=1") as (server, _):
            with socket.socket() as slow, Events(server) as good:
                slow.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
                slow.connect(("127.0.0.1", int(server.split(":")[2])))
                slow.sendall(b"GET /inspect/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
                names = post(*((bytes([65 + it]) * 64, 0, b"") for it in range(8)))
                for last in range(500, 4001, 500):
                    send_many(server, names, 500)
                    self.assertEqual(sum(it[0] == "post" for it in good.upto(last)), 500)
                # Longer than any of the times: somebody who waits is not idle.
                time.sleep(2.5)
                send(server, EMPTY)
                self.assertEqual(good.upto(4001)[-1][1], "4001")
                # And somebody who does not take what there is, is.
                with contextlib.suppress(ConnectionResetError):
                    received = b""
                    while piece := slow.recv(1 << 16):
                        received += piece
                self.assertNotIn(b"id: 4000\n", received)

    def test_readers_that_go(self):
        with kesu_server("--inspect", "--grace=30") as (server, end):
            with contextlib.ExitStack() as readers:
                def come():
                    return readers.enter_context(Events(server))

                first, *others = [come() for _ in range(16)]
                self.assertEqual([it.response.status for it in (first, *others, come())], [200] * 16 + [503])
                # Whoever has gone leaves room, and those who wait go with the server, in good order.
                first.__exit__()
                deadline = time.monotonic() + PATIENCE_S
                while (last := come()).response.status != 200 and time.monotonic() < deadline:
                    time.sleep(0.05)
                begin = time.monotonic()
                end()
                self.assertLess(time.monotonic() - begin, 10)
                last.response.read()


class Replaying(unittest.TestCase):
    def test_replay(self):
        body = post((SERVICE, 0, asker() + nested(4, place((38.7, -9.1)), nested(4))))
        with kesu_server("--inspect") as (server, _):
            send(server, body)
            exported = ask(server, "/inspect/posts/1/request")[2]
            run = kesu("replay", "-", server=server, text=exported)
            self.assertEqual((run.returncode, run.stderr), (0, ""))
            self.assertIn('name: "Lisbon"', run.stdout)
            with tempfile.NamedTemporaryFile() as file:
                file.write(exported)
                file.flush()
                run = kesu("--json", "replay", file.name, server=server)
            self.assertEqual(json.loads(run.stdout)["blocks"][0]["id"], 7)
            self.assertEqual(ask(server, "/inspect/posts/3/request")[2], body)
