"""Small HTTP servers for the tests, on free ports of 127.0.0.1."""

import contextlib
import http.client
import http.server
import socket
import threading
import urllib.parse


@contextlib.contextmanager
def _serve(handle_post):
    """Runs a server whose handler answers POSTs with handle_post(handler, body). Yields its URL."""

    class Handler(http.server.BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"

        def do_POST(self):
            handle_post(self, self.rfile.read(int(self.headers["Content-Length"])))

        def log_message(self, *_):
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.daemon_threads = True
    thread = threading.Thread(target=server.serve_forever, kwargs={"poll_interval": 0.05})
    thread.start()
    try:
        yield f"http://127.0.0.1:{server.server_port}"
    finally:
        server.shutdown()
        thread.join()
        server.server_close()


def _respond(handler, status, headers, body):
    handler.send_response_only(status)
    for name, value in headers:
        handler.send_header(name, value)
    handler.end_headers()
    handler.wfile.write(body)


@contextlib.contextmanager
def counting_relay(upstream):
    """Passes POSTs on. Yields its URL and a list that receives the length of each body."""
    lengths = []
    host = urllib.parse.urlsplit(upstream).netloc

    def handle_post(handler, body):
        lengths.append(len(body))
        connection = http.client.HTTPConnection(host)
        connection.request("POST", handler.path, body, dict(handler.headers.items()))
        reply = connection.getresponse()
        _respond(handler, reply.status, reply.getheaders(), reply.read())
        connection.close()

    with _serve(handle_post) as url:
        yield url, lengths


def answering(body, status=200, content_type="application/binary"):
    """Answers every POST in the same way. Yields its URL."""
    headers = [("Content-Type", content_type), ("Content-Length", str(len(body)))]
    return _serve(lambda handler, _: _respond(handler, status, headers, body))


@contextlib.contextmanager
def silent():
    """Takes connections and never answers. Yields its URL and the listening socket."""
    with socket.create_server(("127.0.0.1", 0)) as listener:
        yield f"http://127.0.0.1:{listener.getsockname()[1]}", listener


def free_port():
    """A port where nobody listens."""
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]
