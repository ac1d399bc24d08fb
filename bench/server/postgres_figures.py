#!/usr/bin/env python3
"""What lookups cost over PostgreSQL beside SQLite, in one run on this machine: processor time of the
server and of the database, lookups a second, latency, and the same while the primary is killed.

usage: postgres_figures.py [STATIONS [SECONDS]]
"""

import contextlib
import glob
import os
import random
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

from cluster import cluster, url
from fixture import SERVICE, kesu_server, nested, post, wifi

STATIONS = int(sys.argv[1]) if len(sys.argv) > 1 else 1_000_000
SECONDS = float(sys.argv[2]) if len(sys.argv) > 2 else 5
ACCESS_POINTS = STATIONS * 3 // 4
FIRST_MAC, SEEN, CLIENTS = 0x00005E800000, 20, 4
HEAD = (b"POST /m/appreq/cllDovi HTTP/1.1\r\nHost: x\r\nContent-Type: application/binary\r\n"
        b"Content-Length: %d\r\n\r\n")


def lookup(chance):
    """Of access points that are neighbours, as a device sees them."""
    first = FIRST_MAC + chance.randrange(ACCESS_POINTS - SEEN)
    seen = wifi(*((b"%012x" % (first + i), -60) for i in range(SEEN)))
    return nested(1, nested(8, b"k")) + nested(4, seen)


def posts(lookups, count, seed):
    chance = random.Random(seed)
    bodies = [post(*((SERVICE, 0, lookup(chance)) for _ in range(lookups))) for _ in range(count)]
    return [HEAD % len(body) + body for body in bodies]


def processor_seconds(processes):
    total = 0
    for process in processes:
        with contextlib.suppress(FileNotFoundError):
            with open(f"/proc/{process}/stat", encoding="utf-8") as file:
                total += sum(map(int, file.read().rsplit(")", 1)[1].split()[11:13]))
    return total / os.sysconf("SC_CLK_TCK")


def processes_of(leader):
    """It and its children."""
    found = [leader]
    for children in glob.glob(f"/proc/{leader}/task/*/children"):
        with open(children, encoding="utf-8") as file:
            found += map(int, file.read().split())
    return found


class Client(threading.Thread):
    def __init__(self, port, bodies, end):
        super().__init__()
        self.port, self.bodies, self.end = port, bodies, end
        self.latencies, self.failed = [], 0

    def run(self):
        connection = socket.create_connection(("127.0.0.1", self.port))
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        number = 0
        while time.monotonic() < self.end:
            begin = time.monotonic()
            connection.sendall(self.bodies[number % len(self.bodies)])
            number += 1
            received = b""
            while b"\r\n\r\n" not in received:
                received += connection.recv(1 << 20)
            head, body = received.split(b"\r\n\r\n", 1)
            length = int(head.lower().split(b"content-length: ")[1].split(b"\r\n")[0])
            while len(body) < length:
                body += connection.recv(1 << 20)
            self.latencies.append(time.monotonic() - begin)
            # The status of the first block.
            self.failed += body[10:12] != b"\0\xc8"


def measure(name, server, end, lookups, postmaster=None, after_half=None):
    bodies = [posts(lookups, max(1, 400 // lookups), seed) for seed in range(CLIENTS)]
    watched = [processes_of(end.process.pid), processes_of(postmaster) if postmaster else []]
    before = [processor_seconds(processes) for processes in watched]
    stop = time.monotonic() + SECONDS
    clients = [Client(int(server.rsplit(":", 1)[1]), bodies[i], stop) for i in range(CLIENTS)]
    for client in clients:
        client.start()
    if after_half:
        time.sleep(SECONDS / 2)
        after_half()
    for client in clients:
        client.join()
    spent = [processor_seconds(processes) - start for processes, start in zip(watched, before)]
    latencies = sorted(latency for client in clients for latency in client.latencies)
    count = len(latencies) * lookups
    print(f"{name}: {count / SECONDS:,.0f} lookups/s, median {statistics.median(latencies) * 1e3:.1f} ms, "
          f"p99 {latencies[len(latencies) * 99 // 100] * 1e3:.1f} ms, worst {latencies[-1] * 1e3:.0f} ms; "
          + (f"processor time a lookup: server {spent[0] / count * 1e6:.0f} us"
             + (f", PostgreSQL {spent[1] / count * 1e6:.0f} us" if postmaster else "")
             if not after_half else f"failed POSTs: {sum(client.failed for client in clients)}"),
          flush=True)


def fill(database):
    begin = time.monotonic()
    subprocess.run([os.environ["KESU_DATA"], "synthesize", "--stations", str(STATIONS), "--database",
                    database], stdout=subprocess.DEVNULL, check=True)
    return time.monotonic() - begin


def main():
    with tempfile.TemporaryDirectory() as folder, cluster(with_standby=True) as (primary, standby):
        file = f"{folder}/world.db"
        print(f"{STATIONS:,} stations; filled in {fill(file):.0f} s (SQLite), "
              f"{fill(url(primary)):.0f} s (PostgreSQL)")
        primary.sql("VACUUM ANALYZE")
        sizes = {table: int(primary.sql(
            "SELECT sum(pg_total_relation_size(inhrelid)) FROM pg_inherits"
            f" WHERE inhparent = 'kesu.{table}'::regclass")) for table in ("access_point", "cell")}
        print(f"bytes a station: SQLite {os.path.getsize(file) / STATIONS:.0f}, PostgreSQL "
              f"{sizes['access_point'] / ACCESS_POINTS:.0f} an access point, "
              f"{sizes['cell'] / (STATIONS - ACCESS_POINTS):.0f} a cell")
        with open(f"{primary.data}/postmaster.pid", encoding="utf-8") as pid:
            postmaster = int(pid.readline())
        for lookups in (1, 100):
            what = "lone lookups" if lookups == 1 else f"POSTs of {lookups} lookups"
            with kesu_server("--workers", "1", "--max-cpu", "0", "--database", file) as (server, end):
                measure(f"SQLite, {what}", server, end, lookups)
            with kesu_server("--workers", "1", "--max-cpu", "0", "--database",
                             url(primary, standby)) as (server, end):
                # The connections are there by then.
                Client(int(server.rsplit(":", 1)[1]), posts(1, 1, 0), time.monotonic() + 1).run()
                measure(f"PostgreSQL, {what}", server, end, lookups, postmaster)
        with kesu_server("--workers", "1", "--database", url(primary, standby)) as (server, end):
            measure("PostgreSQL, lone lookups, the primary being killed", server, end, 1,
                    after_half=primary.kill)


if __name__ == "__main__":
    main()
