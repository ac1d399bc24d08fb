"""The configuration that docs/server.md shows for nginx in front, with the real one."""

import pathlib
import re
import socket
import ssl
import subprocess
import tempfile
import time
import unittest
import urllib.error
import urllib.request

from fixture import KESU, PATIENCE_S, kesu_server

ROOT = pathlib.Path(__file__).parents[3]


def shown_configuration():
    text = (ROOT / "docs/server.md").read_text(encoding="utf-8")
    shown = re.search(r"For nginx:\n\n((?:    .*\n)+)", text).group(1)
    return "\n".join(line[4:] for line in shown.splitlines())


class Nginx(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        # Root's nginx serves as somebody else, who keeps longer bodies there.
        self.folder.chmod(0o755)
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
             "/CN=localhost", "-addext", "subjectAltName=DNS:localhost", "-keyout",
             self.folder / "kesu.key", "-out", self.folder / "kesu.pem"],
            check=True, stderr=subprocess.DEVNULL)

    def start_nginx(self, server):
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        # Only where things are differs here.
        configuration = shown_configuration()
        for shown, here in (("127.0.0.1:8642", server.removeprefix("http://")), ("443", str(port)),
                            ("/etc/ssl/private/kesu.key", f"{self.folder}/kesu.key"),
                            ("/etc/ssl/kesu.pem", f"{self.folder}/kesu.pem")):
            self.assertEqual(configuration.count(shown), 1)
            configuration = configuration.replace(shown, here)
        places = "\n".join(f"{name}_temp_path {self.folder}/{name};" for name in
                           ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        file = self.folder / "nginx.conf"
        file.write_text(f"daemon off; pid {self.folder}/pid; error_log stderr; events {{}}\n"
                        f"http {{ access_log off; {places}\n{configuration}\n}}\n")
        nginx = subprocess.Popen(["nginx", "-c", file, "-p", self.folder])
        self.addCleanup(nginx.wait)
        self.addCleanup(nginx.terminate)
        end = time.monotonic() + PATIENCE_S
        while socket.socket().connect_ex(("127.0.0.1", port)) != 0:
            self.assertIsNone(nginx.poll())
            self.assertLess(time.monotonic(), end)
            time.sleep(0.05)
        return f"https://localhost:{port}"

    def run_kesu(self, url, *words):
        return subprocess.run([KESU, "--server", url, "--ca-file", self.folder / "kesu.pem", *words],
                              stdout=subprocess.PIPE, text=True, timeout=PATIENCE_S)

    def test_a_device_is_located_through_it(self):
        with kesu_server("--max-connections-per-address", "0") as (server, _):
            url = self.start_nginx(server)
            found = self.run_kesu(url, "locate", "--wifi", "00-00-5E-00-53-01,-60")
            self.assertEqual((found.returncode, found.stdout.split(",")[0][:3]), (0, "38."))
            points = [f"38.{i},-9.1" for i in range(100, 400)]
            self.assertEqual(self.run_kesu(url, "reverse", *points).returncode, 0)
            trusting = ssl.create_default_context(cafile=self.folder / "kesu.pem")
            with urllib.request.urlopen(f"{url}/healthz", context=trusting) as reply:
                self.assertEqual(reply.read(), b"ok\n")
            with self.assertRaisesRegex(urllib.error.HTTPError, "403"):
                urllib.request.urlopen(f"{url}/metrics", context=trusting)


if __name__ == "__main__":
    unittest.main()
