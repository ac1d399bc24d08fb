"""The commands that the README shows, in its order, print what it says."""

import os
import pathlib
import re
import socket
import subprocess
import tempfile
import unittest

from fixture import PATIENCE_S

ROOT = pathlib.Path(__file__).parents[3]
PROGRAMS = [pathlib.Path(os.environ[name]).parent for name in ("KESU", "KESU_SERVER", "KESU_DATA")]


def without_keys(text):
    return re.sub(r"[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}", "KEY", text)


class Readme(unittest.TestCase):
    def test_run_your_own(self):
        section = (ROOT / "README.md").read_text().split("## Run your own\n")[1].split("\n## ")[0]
        with socket.create_server(("127.0.0.1", 0)) as free:
            section = section.replace("8650", str(free.getsockname()[1]))
        shown = re.findall(r"^    (.*)$", section, re.M)
        commands = [line[2:] for line in shown if line.startswith("$ ")]
        script = "\n".join([*commands, "kill $!", "wait"])
        # The server is awaited where it is shown to say that it listens.
        script = script.replace(
            " &\n", " > >(tee listening) &\nuntil [ -s listening ]; do sleep 0.1; done\n")
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "data").symlink_to(ROOT / "data")
            path = ":".join(map(str, [*PROGRAMS, os.environ["PATH"]]))
            run = subprocess.run(["bash", "-e", "-c", script], cwd=folder, text=True,
                                 env=os.environ | {"PATH": path}, timeout=PATIENCE_S,
                                 stdout=subprocess.PIPE)
        expected = [line for line in shown if not line.startswith("$ ")]
        self.assertEqual(without_keys(run.stdout).splitlines(),
                         [without_keys(line) for line in expected])
