"""Runs the two programs. Their paths, and that of the data, are in the environment."""

import contextlib
import json
import os
import subprocess

KESU = os.environ["KESU"]
KESU_SERVER = os.environ["KESU_SERVER"]
DATA = os.environ["KESU_DATA"]

# Far longer than anything takes; a run that needs it has hung.
PATIENCE_S = 120


@contextlib.contextmanager
def kesu_server():
    """Runs a kesu-server with its built-in data and yields its URL."""
    server = subprocess.Popen([KESU_SERVER, "--port", "0"], stdout=subprocess.PIPE, text=True)
    try:
        line = server.stdout.readline()
        prefix = "listening on "
        assert line.startswith(prefix), f"kesu-server printed {line!r} first"
        yield line[len(prefix):].strip()
    finally:
        server.terminate()
        server.communicate(timeout=PATIENCE_S)
    assert server.returncode == 0, f"kesu-server ended with status {server.returncode}"


def kesu(*arguments, server=None, stdout=subprocess.PIPE):
    """Runs kesu to its end. What it printed is text in .stdout and .stderr."""
    options = ["--server", server] if server else []
    return subprocess.run([KESU, *options, *arguments], stdout=stdout, stderr=subprocess.PIPE,
                          text=True, timeout=PATIENCE_S, check=False)


def kesu_json(*arguments, server):
    """Runs kesu --json. Yields its exit status and one object per line of its standard output."""
    run = kesu("--json", *arguments, server=server)
    assert run.stderr == "", run.stderr
    return run.returncode, [json.loads(line) for line in run.stdout.splitlines()]


def data_rows(table):
    """The rows of a table of the built-in data, each a list of its fields."""
    with open(os.path.join(DATA, table), encoding="utf-8") as lines:
        return [line.rstrip("\n").split("\t") for line in lines if not line.startswith("#")]
