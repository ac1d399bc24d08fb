"""What becomes of kesu-server's processes: they die, are replaced, end, and are started by systemd."""

import contextlib
import json
import os
import re
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from bounds_test import HEAD, HELLO, connect, everything, request
from fixture import ECHO, KESU_SERVER, PATIENCE_S, data_folder, kesu_server, post

POST = request(post((b"", 0, b"")), b"Connection: close\r\n")
# Counts the requests of these.
REFUSED = 'kesu_requests_total{service="unknown",status="404"}'
PLACE = "38.7\t-9.1\tPT\tPortugal\t%s\tX\n"
# Waits in the way of systemd: a listening socket comes as the descriptor 3.
ACTIVATED = (sys.executable, "-c", """
import os, socket, sys
s = socket.create_server(("127.0.0.1", 0)); os.dup2(s.fileno(), 3); os.set_inheritable(3, True)
os.environ.update(LISTEN_PID=str(os.getpid()), LISTEN_FDS="1"); os.execv(sys.argv[1], sys.argv[1:])
""")


def workers_of(server):
    run = subprocess.run(["pgrep", "-P", str(server.pid)], stdout=subprocess.PIPE, text=True,
                         check=False)
    return {int(line) for line in run.stdout.split()}


def until(condition):
    """Waits for what comes soon, and yields it."""
    end = time.monotonic() + PATIENCE_S
    while not (result := condition()):
        assert time.monotonic() < end
        time.sleep(0.01)
    return result


def get(url, path):
    with connect(url, f"GET {path} HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n".encode()) as client:
        head, _, body = everything(client).partition(b"\r\n\r\n")
    return int(head.split()[1]), body.decode()


def metrics(url):
    status, page = get(url, "/metrics")
    assert status == 200
    return {name: float(value) for name, value in re.findall(r"^([^#].*) (\S+)$", page, re.M)}


class Asker(threading.Thread):
    """Asks all the time, on new connections and on one that is kept open, and counts failures."""
    def __init__(self, url):
        super().__init__()
        self.url, self.is_over, self.answered, self.failures = url, False, 0, []

    def run(self):
        kept = None
        while not self.is_over:
            try:
                kept = kept or connect(self.url)
                kept.sendall(HELLO)
                reply = kept.recv(4096)
                if b"Connection: close" in reply:
                    kept.close()
                    kept = None
                if b" 200 OK" not in reply[:20] or get(self.url, "/healthz")[0] != 200:
                    self.failures.append(reply)
                self.answered += 1
            except (OSError, IndexError) as error:
                self.failures.append(error)
                kept = None
        if kept:
            kept.close()

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.is_over = True
        self.join()


class Processes(unittest.TestCase):
    def test_workers_that_die(self):
        with kesu_server("--workers=2") as (server, end):
            workers = until(lambda: len(found := workers_of(end.process)) == 2 and found)
            for worker in workers:
                os.kill(worker, signal.SIGKILL)
            until(lambda: len(found := workers_of(end.process)) == 2 and not found & workers)
            self.assertEqual(get(server, "/healthz"), (200, "ok\n"))
            # Those that go on dying come back more and more slowly.
            begin, deaths = time.monotonic(), 0
            while time.monotonic() < begin + 1.5:
                for worker in workers_of(end.process):
                    os.kill(worker, signal.SIGKILL)
                    deaths += 1
                time.sleep(0.01)
            self.assertLess(deaths, 16)
            lines = end()
        self.assertIn("kesu-server: worker 0 ended by Killed; another starts in 0 ms", lines)
        self.assertIn("kesu-server: worker 1 ended by Killed; another starts in 400 ms", lines)

    def test_reads_the_data_again_without_losing_a_request(self):
        with data_folder(PLACE % "Lisbon") as folder, \
                kesu_server("--workers=2", "--grace=2", "--data", folder) as (server, end):
            workers = until(lambda: len(found := workers_of(end.process)) == 2 and found)
            with Asker(server) as asker:
                os.unlink(folder + "/places.tsv")
                end.process.send_signal(signal.SIGHUP)
                time.sleep(0.5)
                self.assertEqual(workers_of(end.process), workers)
                with open(folder + "/places.tsv", "w", encoding="utf-8") as table:
                    table.write(PLACE % "Porto")
                end.process.send_signal(signal.SIGHUP)
                until(lambda: len(found := workers_of(end.process)) == 2 and not found & workers)
            self.assertGreater(asker.answered, 20)
            self.assertEqual(asker.failures, [])
            status, answer = get(server, "/reverse?format=json&lat=38.7&lon=-9.1")
            self.assertIn("Porto", answer)
            self.assertIn("cannot take over", "\n".join(end()))

    def test_ends_with_what_is_under_way(self):
        with kesu_server("--workers=2", "--fault", "delay=700") as (server, end):
            idle = connect(server, HELLO)
            self.assertTrue(idle.recv(4096))
            asked = [connect(server, POST) for _ in range(4)]
            half = connect(server, HEAD + b"Expect: 100-continue\r\nContent-Length: 99\r\n\r\n")
            self.assertIn(b" 100 ", half.recv(4096))
            until(lambda: metrics(server)[REFUSED] == 4)
            begin = time.monotonic()
            end.process.terminate()
            self.assertEqual(everything(idle), b"")
            with self.assertRaises(OSError):
                until(lambda: connect(server).close())
            for client in asked:
                self.assertIn(b" 200 OK", everything(client)[:20])
                client.close()
            # What nobody completes ends with the grace time, or sooner with its client.
            half.close()
            idle.close()
            end()
            self.assertLess(time.monotonic() - begin, 9)

    def test_grace_has_an_end(self):
        with kesu_server("--grace=1", "--fault", "delay=60000") as (server, end):
            with connect(server, POST) as client:
                until(lambda: metrics(server)[REFUSED] == 1)
                begin = time.monotonic()
                end()
                self.assertLess(time.monotonic() - begin, 3)
                self.assertEqual(everything(client), b"")

    def test_a_counted_fault_counts_in_all(self):
        with kesu_server("--workers=3", "--fault=status=502:7") as (server, _):
            statuses = []
            for _ in range(20):
                with connect(server, POST) as client:
                    statuses.append(everything(client)[9:12])
        self.assertEqual(sorted(statuses), [b"200"] * 13 + [b"502"] * 7)

    def test_metrics_and_access_log(self):
        with tempfile.TemporaryDirectory() as folder:
            log = folder + "/log"
            with kesu_server("--workers=3", "--access-log", log) as (server, _):
                for _ in range(12):
                    with connect(server, request(post((ECHO, 0, bytes(7)), (b"x", 0, b"")), b"Connection: close\r\n")) as client:
                        everything(client)
                with connect(server, request(b"", b"Connection: close\r\n")) as client:
                    everything(client)
                pages = [metrics(server) for _ in range(8)]
            with open(log, encoding="utf-8") as lines:
                records = [json.loads(line) for line in lines]
        for page in pages:
            for name, value in (
                    ('kesu_requests_total{service="http:echo",status="200"}', 12),
                    (REFUSED, 12),
                    ('kesu_http_replies_total{status="400"}', 1), ("kesu_workers", 3)):
                self.assertEqual(page[name], value, name)
        self.assertEqual(pages[-1]["kesu_http_request_duration_seconds_count"], 20)
        self.assertEqual(pages[-1]['kesu_http_request_duration_seconds_bucket{le="+Inf"}'], 20)
        self.assertEqual(len(records), 13)
        first = records[0]
        self.assertRegex(first.pop("time"), r"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z\Z")
        self.assertGreaterEqual(first.pop("duration_us"), 0)
        self.assertEqual(first, {
            "path": "/m/appreq/cllDovi", "status": 200, "requests": 2, "answered": 1,
            "request_bytes": 70, "reply_bytes": 47})

    def test_service_manager(self):
        with tempfile.TemporaryDirectory() as folder, \
                socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.bind(folder + "/notify")
            manager.settimeout(PATIENCE_S)
            environment = ("env", f"NOTIFY_SOCKET={folder}/notify")
            with kesu_server("--workers=2", prefix=(*environment, *ACTIVATED)) as (server, end):
                self.assertEqual(manager.recv(99), b"READY=1")
                self.assertEqual({get(server, "/healthz") for _ in range(9)}, {(200, "ok\n")})
                end.process.send_signal(signal.SIGHUP)
                self.assertRegex(manager.recv(99), rb"\ARELOADING=1\nMONOTONIC_USEC=\d+\Z")
                self.assertEqual(manager.recv(99), b"READY=1")
                end()
                self.assertEqual(manager.recv(99), b"STOPPING=1")

    def test_https(self):
        with tempfile.TemporaryDirectory() as folder:
            key, certificate = folder + "/key", folder + "/certificate"
            subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "9",
                            "-subj", "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1",
                            "-keyout", key, "-out", certificate], check=True, capture_output=True)
            with kesu_server(f"--tls-certificate={certificate}", f"--tls-key={key}") as (server, _):
                self.assertTrue(server.startswith("https://127.0.0.1:"))
                context = ssl.create_default_context(cafile=certificate)
                with context.wrap_socket(connect(server), server_hostname="127.0.0.1") as client:
                    client.sendall(POST)
                    self.assertIn(b" 200 OK", client.recv(4096))
                # Who speaks no TLS is not answered, and holds up nobody.
                with connect(server, HELLO) as plain:
                    self.assertNotIn(b"200", everything(plain))
            for words, status in ((("--tls-key=" + key,), 2),
                                  (("--tls-key=" + key, "--tls-certificate=/nowhere"), 3),
                                  (("--tls-key=" + key, "--tls-certificate=" + key), 3)):
                run = subprocess.run([KESU_SERVER, "--port=0", *words], capture_output=True,
                                     timeout=PATIENCE_S, check=False)
                self.assertEqual((run.returncode, run.stdout), (status, b""))
                self.assertRegex(run.stderr, rb"\Akesu-server: .+\n\Z")

    def test_a_port_has_one_server(self):
        with kesu_server("--workers=2") as (server, _):
            run = subprocess.run([KESU_SERVER, "--port", server.split(":")[2]], capture_output=True,
                                 timeout=PATIENCE_S, check=False)
            self.assertEqual(run.returncode, 3)
            self.assertIn(b"Address already in use", run.stderr)
