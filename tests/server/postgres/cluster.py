"""A cluster of PostgreSQL of one's own, in a temporary folder, with a standby."""

import contextlib
import glob
import os
import pwd
import shutil
import socket
import subprocess
import tempfile

PATIENCE_S = 60
USER = "kesu_test"
SETTINGS = {
    "listen_addresses": "'127.0.0.1'",
    "fsync": "off",
    "max_connections": "60",
    "wal_level": "replica",
    "hot_standby": "on",
    "hot_standby_feedback": "on",
    "shared_buffers": "'64MB'",
}


def program(name):
    """Debian has those of all versions in folders of their own."""
    found = sorted(glob.glob(f"/usr/lib/postgresql/*/bin/{name}"),
                   key=lambda path: int(path.split("/")[4].split(".")[0]))
    return found[-1] if found else shutil.which(name)


def is_installed():
    return bool(program("initdb") and program("pg_basebackup"))


def unprivileged():
    """PostgreSQL refuses to be root's."""
    return ["setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups", "--"] \
        if os.geteuid() == 0 else []


def run(*words):
    done = subprocess.run([*unprivileged(), *words], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=PATIENCE_S, check=False,
                          cwd="/")
    assert done.returncode == 0, (words, done.stdout)
    return done.stdout


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


class Node:
    """One server."""

    def __init__(self, folder, name):
        self.folder, self.data, self.port = folder, f"{folder}/{name}", free_port()

    def start(self):
        with open(f"{self.data}/postgresql.conf", "a", encoding="utf-8") as settings:
            for name, value in SETTINGS.items():
                settings.write(f"{name} = {value}\n")
            settings.write(f"port = {self.port}\nunix_socket_directories = '{self.folder}'\n")
        run(program("pg_ctl"), "-D", self.data, "-l", f"{self.data}.log", "-w", "start")

    def kill(self):
        """As if its machine had gone."""
        with open(f"{self.data}/postmaster.pid", encoding="utf-8") as file:
            leader = int(file.readline())
        for children in glob.glob(f"/proc/{leader}/task/*/children"):
            with open(children, encoding="utf-8") as file:
                for child in file.read().split():
                    with contextlib.suppress(ProcessLookupError):
                        os.kill(int(child), 9)
        with contextlib.suppress(ProcessLookupError):
            os.kill(leader, 9)

    def stop(self):
        subprocess.run([*unprivileged(), program("pg_ctl"), "-D", self.data, "-m", "immediate",
                        "-w", "stop"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                       timeout=PATIENCE_S, check=False, cwd="/")

    def promote(self):
        run(program("pg_ctl"), "-D", self.data, "-w", "promote")

    def sql(self, text, database="postgres"):
        return run(program("psql"), "-XAtq", "-v", "ON_ERROR_STOP=1", "-h", self.folder, "-p",
                   str(self.port), "-U", USER, "-d", database, "-c", text)

    def begin(self, text, database="postgres"):
        """A session that has run this, and stays open until its standard input is closed."""
        session = subprocess.Popen(
            [*unprivileged(), program("psql"), "-XAtq", "-h", self.folder, "-p", str(self.port),
             "-U", USER, "-d", database], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
            cwd="/")
        session.stdin.write(f"BEGIN; {text}; SELECT 'begun';\n")
        session.stdin.flush()
        while session.stdout.readline().strip() != "begun":
            assert session.poll() is None
        return session


@contextlib.contextmanager
def cluster(with_standby=False):
    """Yields the primary, and the standby if there is one."""
    with tempfile.TemporaryDirectory(prefix="kesu-pg-") as folder:
        if os.geteuid() == 0:
            user = pwd.getpwnam("postgres")
            os.chown(folder, user.pw_uid, user.pw_gid)
        primary, standby = Node(folder, "primary"), Node(folder, "standby")
        run(program("initdb"), "-D", primary.data, "-U", USER, "-A", "trust", "-N",
            "--locale=C.UTF-8", "-E", "UTF8")
        try:
            primary.start()
            if with_standby:
                run(program("pg_basebackup"), "-h", folder, "-p", str(primary.port), "-U", USER,
                    "-D", standby.data, "-R", "-X", "stream", "-c", "fast")
                standby.start()
                yield primary, standby
            else:
                yield primary
        finally:
            primary.stop()
            if with_standby:
                standby.stop()


def url(*nodes, options=""):
    hosts = ",".join(f"127.0.0.1:{node.port}" for node in nodes)
    return f"postgresql://{USER}:secret@{hosts}/postgres{options}"
