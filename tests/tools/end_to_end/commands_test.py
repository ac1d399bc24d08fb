"""The commands of kesu at work, against kesu-server and on bodies."""

import json
import os
import shutil
import socket
import subprocess
import tempfile
import unittest

from programs import KESU, PATIENCE_S, kesu, kesu_json, kesu_server

DATA = os.environ["KESU_DATA"]
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

def data_rows(table):
    """The rows of a table of the data, each a list of its fields."""
    with open(os.path.join(DATA, table), encoding="utf-8") as lines:
        return [line.rstrip("\n").split("\t") for line in lines if not line.startswith("#")]


class Commands(unittest.TestCase):
    def test_found_and_not_found(self):
        known = data_rows("access_points.tsv")[0]
        cell = data_rows("cells.tsv")[0]
        lookups = ["--cell", "1,1,1,999", "--next", "--wifi", known[0].lower().replace("-", ":"),
                   "--next", "--cell", ",".join(cell[:4]), "--cell", "1,1,1,999",
                   "--next", "--gps", "-34.6,-58.45"]
        with kesu_server("--data", DATA) as (server, _):
            status, results = kesu_json("locate", *lookups, server=server)
            run = kesu("locate", *lookups, server=server)
        self.assertEqual(status, 1)
        self.assertEqual([r["latitude"] for r in results],
                         [None, float(known[1]), float(cell[4]), -34.6])
        self.assertTrue(all(r["platform_key"] for r in results))
        self.assertEqual((run.returncode, run.stderr), (1, ""))
        self.assertRegex(run.stdout, r"\Alookup 1: nothing found\n"
                         r"lookup 2: 38\.71685, -9\.13179, within \d+ m, platform key \S+\n"
                         r"lookup 3: \S+, \S+, within \d+ m, platform key \S+\n"
                         r"lookup 4: -34\.60000, -58\.45000, platform key \S+\n\Z")

    def test_several_points_travel_in_one_post(self):
        places = data_rows("places.tsv")[:30]
        points = [f"{place[0]},{place[1]}" for place in places]
        with kesu_server() as (server, end):
            status, results = kesu_json("reverse", *points, "0,-150", server=server)
            self.assertEqual((status, len(end())), (1, 1))
        self.assertEqual(results.pop(),
                         {"latitude": 0, "longitude": -150, "address": None, "features": []})
        for place, result in zip(places, results, strict=True):
            self.assertEqual(result["latitude"], float(place[0]))
            self.assertIn(place[4], result["features"])
            self.assertEqual(result["address"], max(result["features"], key=len))

    def test_only_results_on_standard_output(self):
        with kesu_server() as (server, _):
            for command, printed in (
                    (["reverse", "38.71,-9.14"], r"38\.71000, -9\.14000: .*Lisbon.*\n  Lisbon\n"),
                    (["httptest"], r"SetHeaderTest passed\nAll HTTP tests pass\n\Z")):
                quiet = kesu(*command, server=server)
                self.assertEqual((quiet.returncode, quiet.stderr), (0, ""))
                self.assertRegex(quiet.stdout, r"\A" + printed)
                traced = kesu("--trace", *command, server=server)
                self.assertEqual((traced.returncode, traced.stdout), (0, quiet.stdout))
                self.assertIn("======================sendPostRequest\n", traced.stderr)

    def test_results_that_cannot_be_written(self):
        with kesu_server() as (server, _), tempfile.NamedTemporaryFile() as body:
            body.write(b"\0\1")
            body.flush()
            for command in (["reverse", "38.71,-9.14"], ["httptest"], ["decode", body.name]):
                with self.subTest(command), open("/dev/full", "w", encoding="utf-8") as full:
                    run = kesu(*command, server=server, stdout=full)
                    self.assertEqual((run.returncode, run.stderr),
                                     (3, "kesu: the results could not be written\n"))

    @unittest.skipUnless(NGINX, "nginx is not installed")
    def test_behind_nginx(self):
        with kesu_server() as (server, _), socket.socket() as reserved, \
                tempfile.TemporaryDirectory() as prefix:
            # Bound by both of them, so that nobody else gets the port.
            reserved.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEPORT, 1)
            reserved.bind(("127.0.0.1", 0))
            address = "%s:%d" % reserved.getsockname()
            proxy = "http://" + address
            with open(os.path.join(prefix, "nginx.conf"), "w", encoding="utf-8") as file:
                file.write(NGINX_CONFIGURATION.format(address=address, upstream=server))
            process = subprocess.Popen([NGINX, "-p", prefix, "-c", "nginx.conf", "-e", "error.log"])
            try:
                status = 3
                while status == 3 and process.poll() is None:
                    status, results = kesu_json("reverse", "38.71,-9.14", server=proxy)
                self.assertEqual(status, 0)
                self.assertIn("Lisbon", results[0]["features"])
            finally:
                process.terminate()
                process.wait(timeout=PATIENCE_S)

    def test_decode(self):
        # A reply block that says to be of 12 bytes and has 11: request 7, status 200, no encodings.
        body = bytes.fromhex("0001 0000000C 8100 0007 00C8 0000 00000000 08")
        message = "reply block: the length is 12, but there are 11 bytes"
        with tempfile.TemporaryDirectory() as folder:
            for words, name in ((["-"], "standard input"), (["--", "-5"], '"-5"')):
                with self.subTest(words), open(os.path.join(folder, "-5"), "w+b") as file:
                    file.write(body)
                    file.seek(0)
                    run = subprocess.run([KESU, "decode", "--json", *words], cwd=folder, stdin=file,
                                         capture_output=True, timeout=PATIENCE_S, check=False)
                    self.assertEqual(json.loads(run.stdout)["error"],
                                     {"offset": 2, "message": message})
                    self.assertEqual((run.returncode, run.stderr.decode()),
                                     (5, f"kesu: {name}, offset 2: {message}\n"))
