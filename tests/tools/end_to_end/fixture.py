"""The two programs at work, a server that does exactly what a test says, and the bytes between."""

import contextlib
import itertools
import json
import os
import socket
import socketserver
import ssl
import struct
import subprocess
import tempfile
import threading
from http.client import parse_headers
from typing import Callable, NamedTuple

KESU, KESU_SERVER = os.environ["KESU"], os.environ["KESU_SERVER"]
# Far longer than anything takes; a run that needs it has hung.
PATIENCE_S = 60

SERVICE, ECHO = b"g:loc/ql", b"http:echo"
OK, BINARY = b"HTTP/1.1 200 x\r\n", b"Content-Type: application/binary"
# What becomes of the connection behind a reply.
KEEP, CLOSE, RESET, STALL = range(4)


def isolating(*namespaces):
    """The words that run a command in namespaces of its own, if any may: not so in some chroots."""
    for words in (["unshare", *namespaces], ["unshare", "--map-root-user", *namespaces]):
        if subprocess.run([*words, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0:
            return words
    return None


@contextlib.contextmanager
def data_folder(places="", cells="", access_points=""):
    """Yields a folder with these tables for kesu-server."""
    with tempfile.TemporaryDirectory() as folder:
        for name, text in zip(("places", "cells", "access_points"), (places, cells, access_points)):
            with open(f"{folder}/{name}.tsv", "w", encoding="utf-8", newline="") as table:
                table.write(text)
        yield folder


@contextlib.contextmanager
def kesu_server(*options, prefix=()):
    """Yields the URL of a kesu-server, and a function that ends it and yields its messages; its
    .process is the server."""
    server = subprocess.Popen([*prefix, KESU_SERVER, "--port", "0", "--verbose", *options],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def end():
        server.terminate()
        return server.communicate(timeout=PATIENCE_S)[1].splitlines()

    end.process = server
    try:
        line = server.stdout.readline()
        assert line.startswith("listening on "), f"kesu-server printed {line!r} first"
        yield line.split()[-1], end
    finally:
        report = end()
    assert server.returncode == 0, (server.returncode, report)


def kesu(*arguments, server=None, shell='exec "$@"', text=b""):
    """Runs kesu with this input to its end; `shell` may redirect. Yields what subprocess.run() does, and .peak_kib,
    the most memory it needed."""
    words = ["sh", "-c", shell, "sh", KESU, *(["--server", server] if server else []), *arguments]
    with tempfile.TemporaryFile() as given, tempfile.TemporaryFile() as out, \
            tempfile.TemporaryFile() as err:
        os.pwrite(given.fileno(), text, 0)
        process = subprocess.Popen(words, stdin=given, stdout=out, stderr=err)
        watchdog = threading.Timer(PATIENCE_S, process.kill)
        watchdog.start()
        _, status, usage = os.wait4(process.pid, 0)
        watchdog.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
        texts = [os.pread(file.fileno(), 1 << 24, 0).decode() for file in (out, err)]
    run = subprocess.CompletedProcess(words, process.returncode, *texts)
    run.peak_kib = usage.ru_maxrss
    return run


def kesu_json(*arguments, server):
    """Runs kesu --json. Yields its exit status and one object per line of its standard output."""
    run = kesu("--json", *arguments, server=server)
    assert run.stderr == "", run.stderr
    return run.returncode, [json.loads(line) for line in run.stdout.splitlines()]


class Reply(NamedTuple):
    """The bytes to send, or a function that makes pieces of them from the POST's body."""
    content: bytes | Callable
    end: int = KEEP


class Handler(socketserver.StreamRequestHandler):
    disable_nagle_algorithm = True

    def handle(self):
        end = KEEP
        while end == KEEP and self.rfile.readline():
            headers = parse_headers(self.rfile)
            body = self.rfile.read(int(headers.get("Content-Length", 0)))
            self.server.bodies.append(body)
            content, end = next(self.server.replies)
            for piece in content(body) if callable(content) else [content]:
                self.request.sendall(piece)
        if end == STALL:
            self.server.stopped.wait()
        if end == RESET:
            self.request.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            # Without the orderly end that comes otherwise.
            os.close(self.request.detach())


class RawServer(socketserver.ThreadingTCPServer):
    def handle_error(self, request, client_address):
        """The client has gone, or refused the certificate."""


@contextlib.contextmanager
def serving(*replies, certificate=None):
    """Gives the replies in turn, the last for ever. Yields the server, with .url and .bodies.
    `certificate` is a file with its key, for TLS."""
    with RawServer(("127.0.0.1", 0), Handler) as server:
        server.url = f"{'https' if certificate else 'http'}://127.0.0.1:{server.server_address[1]}"
        server.bodies = []
        server.replies = itertools.chain(replies, itertools.repeat(replies[-1]))
        server.stopped = threading.Event()
        if certificate:
            tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            tls.load_cert_chain(certificate)
            # The handshake belongs to the thread of the connection.
            server.socket = tls.wrap_socket(server.socket, server_side=True,
                                            do_handshake_on_connect=False)
        thread = threading.Thread(target=server.serve_forever, kwargs={"poll_interval": 0.02})
        thread.start()
        try:
            yield server
        finally:
            server.stopped.set()
            server.shutdown()
            thread.join()


def http(content, status=200, header=BINARY, length=None):
    length = len(content) if length is None else length
    return b"HTTP/1.1 %d x\r\n%b\r\nContent-Length: %d\r\n\r\n" % (status, header, length) + content


def varint(value):
    value %= 1 << 64
    low = bytes((value & 0x7F | (value > 0x7F) << 7,))
    return low + varint(value >> 7) if value > 0x7F else low


def number(field, value):
    return varint(field << 3) + varint(value)


def nested(field, *parts):
    """A text or a message."""
    content = b"".join(parts)
    return varint(field << 3 | 2) + varint(len(content)) + content


def latlng(*position):
    units = [round(degrees * 1e7).to_bytes(4, "little", signed=True) for degrees in position]
    return b"\x0d" + units[0] + b"\x15" + units[1]


def place(position, *rest, field=3):
    """A location at a position; field 3 of a request's element, 2 of a reply's."""
    return nested(field, nested(1, latlng(*position)), *rest)


def cell(*numbers):
    """MCC, MNC, AREA, CELL and DBM."""
    return b"".join(number(i, value) for i, value in enumerate(numbers, 1))


def wifi(*devices):
    """The MAC address and, if there is one, the signal of each."""
    return nested(2, *(nested(2, nested(1, mac), *(number(3, dbm) for dbm in rest))
                       for mac, *rest in devices))


def asker(*rest):
    """Who asks, in front of what a request asks."""
    version = kesu("--version").stdout.split()[1].encode()
    return nested(1, nested(1, version), nested(2, b"linux"), nested(4, b"en_US"), *rest)


def counted(text, width=2):
    return len(text).to_bytes(width, "big") + text


def block(kind, content):
    return len(content).to_bytes(4, "big") + kind.to_bytes(2, "big") + content


def answer(request_id, payload=b"\x08\1", status=200, encodings=b""):
    """A reply block; the message is one with status 1, nothing found."""
    return block(0x8100, request_id.to_bytes(2, "big") + status.to_bytes(2, "big")
                 + counted(encodings) + bytes(4) + payload)


def reply(*blocks, version=1):
    return version.to_bytes(2, "big") + b"".join(blocks)


def post(*requests):
    """A POST of (service, is multipart, payload), numbered from 7."""
    header = block(1, counted(b"t") + (42).to_bytes(8, "big") + counted(b""))
    return reply(header, *(
        block(0x0100 + is_multipart, i.to_bytes(2, "big") + counted(service) + b"\0\1"
              + (payload if is_multipart else counted(payload, 4)))
        for i, (service, is_multipart, payload) in enumerate(requests, 7)))
