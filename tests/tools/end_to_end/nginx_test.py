"""A lookup through nginx as an ordinary reverse proxy in front of kesu-server."""

import contextlib
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest

from programs import PATIENCE_S, kesu_json, kesu_server
from servers import free_port

SKIPPED = 77

NGINX = shutil.which("nginx", path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/local/sbin")

# One process that runs as whoever runs the test and writes below its prefix alone.
CONFIGURATION = """
daemon off;
master_process off;
pid nginx.pid;
error_log stderr crit;
events {{}}
http {{
  access_log off;
  client_body_temp_path body;
  proxy_temp_path proxy;
  fastcgi_temp_path fastcgi;
  uwsgi_temp_path uwsgi;
  scgi_temp_path scgi;
  server {{
    listen 127.0.0.1:{port};
    location / {{
      proxy_pass {upstream};
    }}
  }}
}}
"""


def wait_until_listening(port, process):
    deadline = time.monotonic() + PATIENCE_S
    while time.monotonic() < deadline and process.poll() is None:
        with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port)):
            return
        time.sleep(0.02)
    raise AssertionError("nginx does not listen")


@contextlib.contextmanager
def nginx(upstream):
    """Runs nginx in front of `upstream` and yields its URL."""
    port = free_port()
    with tempfile.TemporaryDirectory(prefix="kesu-nginx-") as prefix:
        configuration = os.path.join(prefix, "nginx.conf")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(CONFIGURATION.format(port=port, upstream=upstream))
        process = subprocess.Popen([NGINX, "-p", prefix, "-c", configuration, "-e", "stderr"])
        try:
            wait_until_listening(port, process)
            yield f"http://127.0.0.1:{port}"
        finally:
            process.terminate()
            process.wait(timeout=PATIENCE_S)


class BehindNginx(unittest.TestCase):
    def test_lookups_pass_through(self):
        with kesu_server() as server, nginx(server) as proxy:
            status, results = kesu_json("locate", "--gps", "38.71,-9.14", server=proxy)
            self.assertEqual((status, results[0]["latitude"]), (0, 38.71))
            status, results = kesu_json("reverse", "38.71,-9.14", server=proxy)
            self.assertEqual(status, 0)
            self.assertIn("Lisbon", results[0]["features"])

    def test_nothing_behind_it(self):
        with nginx(f"http://127.0.0.1:{free_port()}") as proxy:
            status, results = kesu_json("reverse", "38.71,-9.14", server=proxy)
            self.assertEqual(status, 3)
            self.assertIn("HTTP status 502", results[0]["error"]["message"])


if __name__ == "__main__":
    if NGINX is None:
        print("skipped: nginx is not installed")
        sys.exit(SKIPPED)
    unittest.main()
