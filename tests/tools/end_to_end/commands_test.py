"""The command lines of kesu, what it makes of its outputs, and the bodies it decodes."""

import json
import os
import re
import shutil
import socket
import subprocess
import tempfile
import unittest

from messages import SERVICE, answer, cell, counted, nested, place, reply, wifi
from programs import PATIENCE_S, kesu, kesu_json, kesu_server
from raw_server import Reply, http, serving

NGINX = shutil.which("nginx", path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/local/sbin")

# One process that runs as whoever runs the test and writes below its prefix alone.
NGINX_CONFIGURATION = """
daemon off; master_process off; pid nginx.pid; events {{}}
http {{
  access_log off;
  client_body_temp_path body; proxy_temp_path proxy;
  fastcgi_temp_path fastcgi; uwsgi_temp_path uwsgi; scgi_temp_path scgi;
  server {{ listen {address} reuseport; location / {{ proxy_pass {upstream}; }} }}
}}
"""

MAC, URL = "00-00-5E-00-53-01", "http://HOST:PORT"
# Command lines that make no sense, and what the message names.
REFUSED = [
    ("", "command is missing"), ("--nonsense locate", "--nonsense"), ("find", '"find"'),
    ("locate", "at least one of --cell, --wifi and --gps"), ("decode", "one file"),
    ("locate --gps 1,2 --gps 1,2", "one --gps at most"), ("locate --gps 1,2 3,4", '"3,4"'),
    ("locate --cell 1,1,1,1,1,1", 'MCC,MNC,AREA,CELL,DBM, not "1,1,1,1,1,1"'),
    ("locate --cell 0,1,1,1", 'MCC must be a whole number from 1 to 999, not "0"'),
    ("locate --cell 1000,1,1,1", "MCC"), ("locate --cell 1,1000,1,1", "MNC"),
    ("locate --cell 1,1,16777216,1", "AREA"), ("locate --cell 1,1,1x,1", "AREA"),
    ("locate --cell 1,1,1,268435456", "CELL"), ("locate --cell 1,1,1,99999999999999999999", "CELL"),
    ("locate --cell 1,1,1,1,-201", "DBM"), ("locate --cell 1,1,1,1,21", "DBM"),
    ("locate --wifi 00-00:5E-00-53-01", "MAC"), ("locate --wifi 00-00-5E-00-53-0G", "MAC"),
    ("locate --wifi 00-00-5E-00-53-01,-60,1", "MAC"),
    ("locate --wifi 00-00-5E-00-53-01,loud", "DBM"),
    ("locate --gps 90.1,0", "LAT"), ("locate --gps 0,-180.1", "LON"), ("locate --gps 0", "LAT,LON"),
    ("locate --gps 0,nan", "LON"), ("reverse", "at least one point"),
    ("reverse 1,2 --next 3,4", "--next"), ("httptest now", '"now"'),
    ("--timeout 0 reverse 1,2", "SECONDS"), ("--timeout 86400.1 reverse 1,2", "SECONDS"),
    ("--server localhost:8642 reverse 1,2", URL), ("--server http://me@localhost reverse 1,2", URL),
    ("--server http://localhost:99999 reverse 1,2", URL),
    ("--server http://" + "x" * 100 + " reverse 1,2", "server"),
    ("--ca-file /nonexistent reverse 1,2", "/nonexistent"),
]

# The options of a lookup, and the element of the request that they make.
SENT = [
    ("--cell=999,0,0,0,20 --cell 1,999,16777215,268435455,-200 --cell 1,2,3,4",
     nested(1, nested(1, cell(999, 0, 0, 0, 20)),
            nested(3, cell(1, 999, 16777215, 268435455, -200)), nested(3, cell(1, 2, 3, 4)))),
    (f"--wifi 00:00:5e:00:53:aF --wifi {MAC},-60", wifi(("00-00-5E-00-53-AF",), (MAC, -60))),
    ("--gps 90,180 --json", place((90, 180))),
    ("--gps -90,-180 --cell 1,2,3,4", nested(1, nested(1, cell(1, 2, 3, 4))) + place((-90, -180))),
]


class Commands(unittest.TestCase):
    def test_refused(self):
        for line, named in REFUSED:
            with self.subTest(line):
                run = kesu(*line.split())
                self.assertEqual((run.returncode, run.stdout), (2, ""))
                self.assertRegex(run.stderr, r"\Akesu: .*" + re.escape(named)
                                 + r'.*\nTry "kesu --help"\.\n\Z')

    def test_sent(self):
        words = " --next ".join(options for options, _ in SENT).split()
        answers = reply(*(answer(i) for i in range(len(SENT))))
        with serving(Reply(http(answers))) as server:
            status, results = kesu_json("locate", *words, server=server.url + "/")
        self.assertEqual((status, len(results), len(server.bodies)), (1, len(SENT), 1))
        for options, element in SENT:
            with self.subTest(options):
                block = counted(SERVICE) + b"\0\1" + counted(nested(4, element), 4)
                self.assertIn(block, server.bodies[0])

    def test_accepted(self):
        with kesu_server() as (server, _):
            for words, status, points in (
                    ("reverse -1,2 --json 3,4 --timeout 1.5 -.5,-0.25", 1,
                     [(-1, 2), (3, 4), (-0.5, -0.25)]),
                    ("--timeout 86400 --json reverse -- -33.9,18.4", 1, [(-33.9, 18.4)]),
                    ("--timeout 0.0001 --json reverse 1,2", 4, [(1, 2)])):
                with self.subTest(words):
                    run = kesu(*words.split(), server=server)
                    found = [json.loads(line) for line in run.stdout.splitlines()]
                    self.assertEqual([(p["latitude"], p["longitude"]) for p in found], points)
                    self.assertEqual((run.returncode, run.stderr), (status, ""))

    def test_outputs(self):
        full = (3, "", "kesu: the results could not be written\n")
        reverse, httptest, decode = ["reverse", "38.71,-9.14"], ["httptest"], ["decode", "-"]
        with kesu_server() as (server, _), tempfile.TemporaryFile() as body:
            body.write(b"\0\1")
            printed = [kesu("--timeout=9", *reverse, server=server), kesu(*httptest, server=server)]
            self.assertRegex(printed[0].stdout,
                             r"\A38\.71000, -9\.14000: .*Lisbon.*\n  Lisbon\n  Lisbon, Portugal\n\Z")
            self.assertEqual(printed[1].stdout, "SetHeaderTest passed\nAll HTTP tests pass\n")
            for words, run in zip((reverse, httptest), printed):
                self.assertEqual((run.returncode, run.stderr), (0, ""))
                traced = kesu("--trace", *words, server=server)
                self.assertEqual((traced.returncode, traced.stdout), (0, run.stdout))
                self.assertIn("======================sendPostRequest\n", traced.stderr)
                self.assertNotIn("Lisbon", traced.stderr)
            for words, shell, expected in (
                    *((words, target, full) for target in (">/dev/full", ">&-") for words in (
                        reverse, httptest, decode, ["--help"], ["--version"])),
                    (["--trace", *reverse], ">&- 2>&-", (3, "", "")),
                    (["--trace", *reverse], "2>&-", (0, printed[0].stdout, "")),
                    (["--trace", *reverse], "2>/dev/full", (0, printed[0].stdout, "")),
                    (reverse, "<&- 2>&-", (0, printed[0].stdout, "")),
                    (decode, "", (0, "       0  reply, 2 bytes\n       0    protocol version: 1\n", "")),
                    (decode, "<&-", (2, "", "kesu: standard input cannot be read: "
                                     "Bad file descriptor\n"))):
                with self.subTest((words, shell)):
                    body.seek(0)
                    run = kesu(*words, server=server, shell=f'exec "$@" {shell}', stdin=body)
                    self.assertEqual((run.returncode, run.stdout, run.stderr), expected)

    @unittest.skipUnless(NGINX, "nginx is not installed")
    def test_behind_nginx(self):
        with kesu_server() as (server, _), socket.socket() as reserved, \
                tempfile.TemporaryDirectory() as prefix:
            # Bound by both of them, so that nobody else gets the port.
            reserved.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEPORT, 1)
            reserved.bind(("127.0.0.1", 0))
            address = "%s:%d" % reserved.getsockname()
            with open(os.path.join(prefix, "nginx.conf"), "w", encoding="utf-8") as file:
                file.write(NGINX_CONFIGURATION.format(address=address, upstream=server))
            process = subprocess.Popen([NGINX, "-p", prefix, "-c", "nginx.conf", "-e", "error.log"])
            try:
                status = 3
                while status == 3 and process.poll() is None:
                    status, results = kesu_json("reverse", "38.71,-9.14", server="http://" + address)
                self.assertEqual(status, 0)
                self.assertIn("Lisbon", results[0]["features"])
            finally:
                process.terminate()
                process.wait(timeout=PATIENCE_S)

    def test_decode(self):
        # A reply block that says to be of 12 bytes and has 11: request 7, status 200, no encodings.
        body = bytes.fromhex("0001 0000000C 8100 0007 00C8 0000 00000000 08")
        message = "reply block: the length is 12, but there are 11 bytes"
        with tempfile.NamedTemporaryFile() as file:
            file.write(body)
            file.flush()
            for words, name in ((["-"], "standard input"), (["--", file.name], f'"{file.name}"')):
                with self.subTest(words):
                    file.seek(0)
                    run = kesu("decode", "--json", *words, stdin=file)
                    self.assertEqual(json.loads(run.stdout)["error"],
                                     {"offset": 2, "message": message})
                    self.assertEqual((run.returncode, run.stderr),
                                     (5, f"kesu: {name}, offset 2: {message}\n"))
