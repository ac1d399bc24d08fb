"""Runs the two programs. Their paths are in the environment."""

import contextlib
import json
import os
import subprocess
import tempfile
import threading
import time

KESU = os.environ["KESU"]
KESU_SERVER = os.environ["KESU_SERVER"]

# Far longer than anything takes; a run that needs it has hung.
PATIENCE_S = 60


@contextlib.contextmanager
def data_folder(places="", cells="", access_points=""):
    """Yields a folder with these tables for kesu-server."""
    with tempfile.TemporaryDirectory() as folder:
        tables = {"places": places, "cells": cells, "access_points": access_points}
        for name, text in tables.items():
            with open(f"{folder}/{name}.tsv", "w", encoding="utf-8", newline="") as table:
                table.write(text)
        yield folder


@contextlib.contextmanager
def kesu_server(*options):
    """Runs a kesu-server. Yields its URL and a function that ends it and
    yields its lines about the requests."""
    server = subprocess.Popen([KESU_SERVER, "--port", "0", "--verbose", *options],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def end():
        server.terminate()
        return server.communicate(timeout=PATIENCE_S)[1].splitlines()

    try:
        line = server.stdout.readline()
        assert line.startswith("listening on "), f"kesu-server printed {line!r} first"
        yield line.split()[-1], end
    finally:
        report = end()
    assert server.returncode == 0, (server.returncode, report)


def kesu(*arguments, server=None, shell='exec "$@"', stdin=None):
    """Runs kesu to its end, in a folder and a session of its own, where it leaves nothing; `shell`
    may redirect. Yields what subprocess.run() does, and .seconds and .peak_kib, the most memory
    that was resident."""
    options = ["--server", server] if server else []
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryFile() as out, \
            tempfile.TemporaryFile() as err:
        begin = time.monotonic()
        process = subprocess.Popen(["sh", "-c", shell, "sh", KESU, *options, *arguments],
                                   stdin=stdin or subprocess.DEVNULL, stdout=out, stderr=err,
                                   cwd=folder, start_new_session=True)
        watchdog = threading.Timer(PATIENCE_S, process.kill)
        watchdog.start()
        _, status, usage = os.wait4(process.pid, 0)
        watchdog.cancel()
        assert os.listdir(folder) == []
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, 0)
            raise AssertionError("kesu left a process behind")
        texts = []
        for file in (out, err):
            file.seek(0)
            texts.append(file.read().decode())
        run = subprocess.CompletedProcess(process.args, os.waitstatus_to_exitcode(status), *texts)
        run.seconds = time.monotonic() - begin
        run.peak_kib = usage.ru_maxrss
        process.returncode = run.returncode
        return run


def kesu_json(*arguments, server):
    """Runs kesu --json. Yields its exit status and one object per line of its standard output."""
    run = kesu("--json", *arguments, server=server)
    assert run.stderr == "", run.stderr
    return run.returncode, [json.loads(line) for line in run.stdout.splitlines()]
