"""Runs the two programs. Their paths, and that of the data, are in the environment."""

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


def kesu(*arguments, server=None, stdout=None):
    """Runs kesu to its end, in a folder and a session of its own, where it leaves nothing. Yields
    what subprocess.run() does, and .seconds and .peak_kib, the most memory that was resident."""
    options = ["--server", server] if server else []
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryFile("w+") as out, \
            tempfile.TemporaryFile("w+") as err:
        begin = time.monotonic()
        process = subprocess.Popen([KESU, *options, *arguments], stdin=subprocess.DEVNULL,
                                   stdout=stdout or out, stderr=err, cwd=folder,
                                   start_new_session=True)
        watchdog = threading.Timer(PATIENCE_S, process.kill)
        watchdog.start()
        _, status, usage = os.wait4(process.pid, 0)
        watchdog.cancel()
        assert os.listdir(folder) == []
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, 0)
            raise AssertionError("kesu left a process behind")
        out.seek(0)
        err.seek(0)
        run = subprocess.CompletedProcess(process.args, os.waitstatus_to_exitcode(status),
                                          out.read(), err.read())
        run.seconds = time.monotonic() - begin
        run.peak_kib = usage.ru_maxrss
        process.returncode = run.returncode
        return run


def kesu_json(*arguments, server):
    """Runs kesu --json. Yields its exit status and one object per line of its standard output."""
    run = kesu("--json", *arguments, server=server)
    assert run.stderr == "", run.stderr
    return run.returncode, [json.loads(line) for line in run.stdout.splitlines()]
