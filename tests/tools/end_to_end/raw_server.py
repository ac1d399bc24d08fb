"""A server on a free port of 127.0.0.1 that does with each request exactly what a test says."""

import contextlib
import itertools
import os
import socket
import socketserver
import struct
import threading
from http.client import parse_headers
from typing import Callable, NamedTuple

OK, BINARY = b"HTTP/1.1 200 x\r\n", b"Content-Type: application/binary"
# What becomes of the connection behind a reply.
KEEP, CLOSE, RESET, STALL = range(4)


def http(content, status=200, header=BINARY, length=None):
    length = len(content) if length is None else length
    return b"HTTP/1.1 %d x\r\n%b\r\nContent-Length: %d\r\n\r\n" % (status, header, length) + content


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
def serving(*replies, tls=None):
    """Gives the replies in turn, the last for ever. Yields the server, with .url and .bodies."""
    with RawServer(("127.0.0.1", 0), Handler) as server:
        server.url = f"{'https' if tls else 'http'}://127.0.0.1:{server.server_address[1]}"
        server.bodies = []
        server.replies = itertools.chain(replies, itertools.repeat(replies[-1]))
        server.stopped = threading.Event()
        if tls:
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
