"""What clients may take of kesu-server, and that nobody else waits for those who take more."""

import os
import re
import socket
import threading
import time
import unittest

from fixture import ECHO, PATIENCE_S, kesu_server, post

HEAD = b"POST /m/appreq/cllDovi HTTP/1.1\r\nHost: x\r\nContent-Type: application/binary\r\n"
HELLO = b"GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n"
# A request whose answer has this many bytes of body.
LARGE = 900_000
ECHOED = b"\0\0\0" + LARGE.to_bytes(4, "big") + bytes(LARGE)


def request(content, extra=b""):
    return HEAD + extra + b"Content-Length: %d\r\n\r\n" % len(content) + content


def connect(url, sent=b""):
    connection = socket.create_connection(("127.0.0.1", int(url.split(":")[2])), PATIENCE_S)
    connection.sendall(sent)
    return connection


def is_healthy(connection):
    connection.sendall(HELLO)
    return connection.recv(4096).startswith(b"HTTP/1.1 200 ")


def everything(connection):
    """Until the server closes the connection."""
    received = b""
    try:
        while piece := connection.recv(1 << 20):
            received += piece
    except ConnectionResetError:
        pass
    return received


def everything_now(connection):
    try:
        return connection.recv(4096)
    except ConnectionResetError:
        return b""


def dribble(connection, start, drop=b"x"):
    """Sends a byte now and then until the connection is closed. Yields how long that took."""
    begin = time.monotonic()
    connection.sendall(start)
    connection.settimeout(0.1)
    while time.monotonic() < begin + PATIENCE_S:
        try:
            if drop:
                connection.send(drop)
            if not connection.recv(1):
                break
        except TimeoutError:
            continue
        except OSError:
            break
    return time.monotonic() - begin


class Bounds(unittest.TestCase):
    def connect(self, url, sent=b""):
        connection = connect(url, sent)
        self.addCleanup(connection.close)
        return connection

    def test_time_is_up(self):
        cases = {
            "headers that never end": (HELLO[:-2], b"x", 1),
            "silence": (b"", b"", 1),
            "half a header, then silence": (HELLO[:-3], b"", 1),
            "a body that never ends": (HEAD + b"Content-Length: 999\r\n\r\n", b"x", 2),
            "a chunked body that never ends":
                (HEAD + b"Transfer-Encoding: chunked\r\n\r\nffff\r\n", b"x", 2),
            "silence after a request": (HELLO, b"", 3)}
        times = {}
        with kesu_server("--workers=1", "--header-timeout=1", "--body-timeout=2",
                         "--idle-timeout=3") as (server, _):
            # One who never reads a reply that does not fit into the buffers of the system.
            slow = self.connect(server)
            slow.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            threading.Thread(target=slow.sendall, daemon=True,
                             args=(request(post((ECHO, 0, ECHOED))) * 8,)).start()
            threads = [threading.Thread(target=lambda name=name, start=start, drop=drop: times.update(
                {name: dribble(self.connect(server), start, drop)})) for name, (start, drop, _) in cases.items()]
            for thread in threads:
                thread.start()
            with connect(server) as other:
                for _ in range(50):
                    begin = time.monotonic()
                    self.assertTrue(is_healthy(other))
                    self.assertLess(time.monotonic() - begin, 0.9)
                    time.sleep(0.02)
            for thread in threads:
                thread.join()
            time.sleep(max(0, 4 - max(times.values())))
            # What had room in the buffers has arrived, and then the connection is closed.
            self.assertLess(len(everything(slow)), 8 * LARGE)
        for name, (_, _, seconds) in cases.items():
            with self.subTest(name):
                self.assertGreater(times[name], seconds - 0.2)
                self.assertLess(times[name], seconds + 5)

    def test_connections_in_all(self):
        with kesu_server("--workers=2", "--max-connections=3") as (server, _):
            inside = [self.connect(server) for _ in range(3)]
            self.assertTrue(all(is_healthy(connection) for connection in inside))
            waiting = self.connect(server, HELLO)
            waiting.settimeout(0.3)
            self.assertRaises(TimeoutError, waiting.recv, 1)
            inside.pop().close()
            waiting.settimeout(PATIENCE_S)
            self.assertTrue(waiting.recv(4096).startswith(b"HTTP/1.1 200"))

    def test_connections_of_an_address(self):
        with kesu_server("--workers=3", "--max-connections-per-address=2") as (server, _):
            inside = [self.connect(server) for _ in range(2)]
            self.assertTrue(all(is_healthy(connection) for connection in inside))
            for _ in range(8):
                self.assertEqual(everything(self.connect(server)), b"")
            inside.pop().close()
            for _ in range(100):
                with connect(server) as late:
                    if is_admitted := (late.send(HELLO) and everything_now(late)):
                        break
                time.sleep(0.02)
            self.assertTrue(is_admitted)

    def test_more_connections_than_descriptors(self):
        with kesu_server("--workers=1", prefix=("prlimit", "--nofile=24:24")) as (server, _):
            clients = [self.connect(server, HELLO) for _ in range(60)]
            answered = 0
            for client in clients:
                answered += client.recv(4096).startswith(b"HTTP/1.1 200")
                client.close()
            self.assertEqual(answered, 60)

    def test_bodies_and_requests(self):
        large, many = b"the body is longer than 1000 bytes\n", b"more than 20 requests\n"
        chunked = b"Transfer-Encoding: chunked\r\n\r\n"
        cases = [
            # Said before the body is there, and heard even by those who send all of it first.
            (HEAD + b"Content-Length: 1001\r\n\r\n", 413, large),
            (HEAD + b"Expect: 100-continue\r\nContent-Length: 99999999999\r\n\r\n", 413, large),
            (request(bytes(8_000_000)), 413, large),
            (b"PUT /other HTTP/1.1\r\nHost: x\r\nContent-Length: 1001\r\n\r\n", 404, b"nothing here\n"),
            (HEAD + chunked + b"3e9\r\n" + bytes(1001) + b"\r\n0\r\n\r\n", 413, large),
            (HEAD + chunked + (b"1f4\r\n" + bytes(500) + b"\r\n") * 3 + b"0\r\n\r\n", 413, large),
            (HEAD + b"Content-Length: 9\r\n" + chunked + b"0\r\n\r\n", 400, None),
            (HEAD + b"Content-Length: -1\r\n\r\n", 400, None),
            (HEAD + b"Content-Length: 1001\r\nContent-Length: 1\r\n\r\n", 413, large),
            (HEAD + b"X: " + b"x" * 40_000 + b"\r\n\r\n", 431, None),
            (request(post(*[(b"", 0, b"")] * 21)), 413, many),
            (request(post(*[(b"", 0, b"")] * 20)), 200, None),
        ]
        with kesu_server("--max-body=1000", "--max-requests=20") as (server, _):
            for sent, status, text in cases:
                with self.subTest((sent[:120], status)):
                    with connect(server, sent) as client:
                        client.shutdown(socket.SHUT_WR)
                        head, _, body = everything(client).partition(b"\r\n\r\n")
                    self.assertEqual(head.split()[1:2], [b"%d" % status])
                    if text:
                        self.assertEqual(body, text)

    def test_cpu_time_of_a_post(self):
        count = 20_000
        with kesu_server("--max-cpu=1", f"--max-requests={count}") as (server, _):
            with connect(server, request(post(*[(ECHO, 0, bytes(7))] * count), b"Connection: close\r\n")) as client:
                blocks = everything(client).partition(b"\r\n\r\n")[2]
        statuses = [int.from_bytes(match[1], "big") for match in
                    re.finditer(rb"\x81\0..(..)\0\0\0\0\0\0", blocks, re.DOTALL)]
        # The first ones are answered, and then no more.
        self.assertEqual(len(statuses), count)
        self.assertEqual(statuses, sorted(statuses))
        self.assertEqual(set(statuses), {200, 503})

    def test_nobody_reads_the_messages(self):
        with kesu_server("--workers=1") as (server, end), connect(server) as client:
            stream = client.makefile("rb")
            for _ in range(3000):
                client.sendall(HELLO)
                while (line := stream.readline()) != b"\r\n":
                    self.assertTrue(line)
                self.assertEqual(stream.read(3), b"ok\n")
            unread = os.read(end.process.stderr.fileno(), 1 << 20).decode().splitlines()
            self.assertTrue(is_healthy(client))
            lines = end()
        dropped = int(re.fullmatch(r"kesu-server: (\d+) lines dropped here", lines[0])[1])
        self.assertEqual(len(unread) + dropped + len(lines) - 1, 3001)

