"""Runs a test program with the URL of a kesu-server of its own in its environment."""

import os
import subprocess
import sys

PATIENCE_S = 120

server = subprocess.Popen([os.environ["KESU_SERVER"], "--port", "0"], stdout=subprocess.PIPE,
                          text=True)
try:
    url = server.stdout.readline().removeprefix("listening on ").strip()
    status = subprocess.call(sys.argv[1:], env={**os.environ, "KESU_SERVER_URL": url},
                             timeout=PATIENCE_S)
finally:
    server.terminate()
    server.communicate(timeout=PATIENCE_S)
sys.exit(status or server.returncode)
