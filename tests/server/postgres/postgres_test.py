"""kesu-server over a real PostgreSQL: slow tables, lost hosts, and what is learned meanwhile."""

import contextlib
import http.client
import json
import os
import sqlite3
import subprocess
import tempfile
import threading
import time
import unittest

from cluster import cluster, url
from fixture import PATIENCE_S, SERVICE, kesu_server, nested, number, place, post, wifi

PATH, HEADERS = "/m/appreq/cllDovi", {"Content-Type": "application/binary"}
POSITION = (12.5, 77.25)
STATIONS = """
INSERT INTO kesu.access_point VALUES (1, 125000000, 772500000, 50, 9, 0);
INSERT INTO kesu.cell VALUES (1 << 39, 59, -400000000, 1790000000, 500, 1, 0);
INSERT INTO kesu.place VALUES (1, 125000000, 772500000, 'Town', 'Region', 'Country');
"""
MAC = b"00-00-00-00-00-01"


def question(*elements):
    return nested(1, nested(8, b"k")) + b"".join(nested(4, element) for element in elements)


LOOKUP = question(wifi((MAC, -60)))
REVERSE = question(place(POSITION) + nested(4))


class Client:
    """A connection that is kept open."""

    def __init__(self, server):
        self.connection = http.client.HTTPConnection(server[7:], timeout=PATIENCE_S)

    def statuses(self, *payloads):
        """Of the reply's blocks."""
        self.connection.request("POST", PATH, post(*((SERVICE, 0, p) for p in payloads)), HEADERS)
        reply = self.connection.getresponse()
        body = reply.read()
        assert reply.status == 200, reply.status
        found, at = [], 2
        while at < len(body):
            found.append(int.from_bytes(body[at + 8:at + 10], "big"))
            at += 6 + int.from_bytes(body[at:at + 4], "big")
        return found

    def is_located(self):
        self.connection.request("POST", "/v1/geolocate", json.dumps(
            {"wifiAccessPoints": [{"macAddress": MAC.decode()}]}))
        reply = self.connection.getresponse()
        answer = json.loads(reply.read())
        return reply.status == 200 and abs(answer["location"]["lat"] - POSITION[0]) < 0.01


def serving(*nodes, options="", words=()):
    return kesu_server("--workers", "1", "--database", url(*nodes, options=options), *words)


def fill(node):
    with serving(node, words=["--learn"]):
        pass
    node.sql(STATIONS)


def wait_for(condition):
    end = time.monotonic() + PATIENCE_S
    while not condition():
        assert time.monotonic() < end
        time.sleep(0.05)


class PostgresTest(unittest.TestCase):
    def test_a_slow_table_keeps_only_those_waiting_who_need_it(self):
        with cluster() as primary:
            fill(primary)
            with serving(primary, words=["--database-timeout", "2", "--max-waiting", "3"]) as (
                    server, end):
                self.assertEqual(Client(server).statuses(LOOKUP, REVERSE, LOOKUP), [200] * 3)
                locker = primary.begin("LOCK TABLE kesu.place")
                waiting = [Client(server) for _ in range(3)]
                statuses = []
                threads = [threading.Thread(
                    target=lambda client=client: statuses.append(client.statuses(REVERSE, LOOKUP)))
                    for client in waiting[:2]]
                begin = time.monotonic()
                for thread in threads:
                    thread.start()
                time.sleep(0.3)
                quick = Client(server)
                for _ in range(50):
                    self.assertEqual(quick.statuses(LOOKUP), [200])
                self.assertLess(time.monotonic() - begin, 1.9)
                # A client that goes away meanwhile does no harm, but keeps its place until then.
                waiting[2].connection.request(
                    "POST", PATH, post((SERVICE, 0, REVERSE)), HEADERS)
                waiting[2].connection.close()
                time.sleep(0.2)
                self.assertEqual(quick.statuses(LOOKUP, LOOKUP), [503, 503])
                for thread in threads:
                    thread.join()
                self.assertEqual(statuses, [[503, 503]] * 2)
                self.assertLess(time.monotonic() - begin, 10)
                locker.kill()
                locker.communicate()
                wait_for(lambda: quick.statuses(REVERSE, LOOKUP) == [200, 200])
                primary.begin("LOCK TABLE kesu.place")
                waiting[0].connection.request(
                    "POST", PATH, post((SERVICE, 0, REVERSE)), HEADERS)
                time.sleep(0.2)
                # What is under way is finished when the server ends.
                end.process.terminate()
                reply = waiting[0].connection.getresponse()
                self.assertEqual(reply.status, 200)
                reply.read()
                messages = "\n".join(end())
                self.assertNotIn("secret", messages)

    def test_lookups_go_on_when_the_primary_dies(self):
        with cluster(with_standby=True) as (primary, standby):
            fill(primary)
            written = primary.sql("SELECT pg_current_wal_lsn()").strip()
            wait_for(lambda: standby.sql(
                f"SELECT pg_last_wal_replay_lsn() >= '{written}'::pg_lsn") == "t\n")
            with serving(primary, standby, words=["--learn"]) as (server, end):
                client, answers, is_over = Client(server), [], threading.Event()

                def ask():
                    while not is_over.is_set():
                        answers.append(client.statuses(LOOKUP, REVERSE))
                asking = threading.Thread(target=ask)
                asking.start()
                wait_for(lambda: len(answers) > 50)
                primary.kill()
                count = len(answers)
                wait_for(lambda: len(answers) > count + 200)
                # What is learned now waits until there is a primary again.
                fix = place((50, 20), number(3, 5)) + wifi((b"00-00-5e-00-53-77", -60))
                self.assertEqual(Client(server).statuses(question(fix)), [200])
                with serving(primary, standby, words=["--learn"]) as (another, _):
                    self.assertTrue(Client(another).is_located())
                standby.promote()
                wait_for(lambda: "1\n" == standby.sql("SELECT count(*) FROM kesu.learned"))
                is_over.set()
                asking.join()
                self.assertEqual([a for a in answers if a != [200, 200]], [])
                self.assertTrue(Client(server).is_located())
                messages = "\n".join(end())
                self.assertIn("the database: ", messages)
                self.assertIn("the database answers again", messages)
                self.assertNotIn("secret", messages)

    def test_what_is_imported_comes_out_again_as_from_sqlite(self):
        with cluster() as primary, tempfile.TemporaryDirectory() as folder:
            stores = [url(primary), f"{folder}/a.db"]
            for name, text in FILES.items():
                with open(f"{folder}/{name}", "wb") as file:
                    file.write(text)
            for name, kind in IMPORTS:
                told = [kesu_data("import", kind, f"{folder}/{name}", database=store)
                        for store in stores]
                self.assertEqual(told[0], told[1])
            for command in (["stats"], ["check"], *(["export", kind] for kind in KINDS)):
                told = [kesu_data(*command, database=store) for store in stores]
                self.assertEqual(*(sorted(text.splitlines()) for text in told))
            # No export shows what was learned, nor the areas.
            rows = "SELECT count(*), sum(weight) FROM {}learned"
            with contextlib.closing(sqlite3.connect(stores[1])) as database:
                self.assertEqual(database.execute(rows.format("")).fetchall(), [(900, 12000)])
            self.assertEqual(primary.sql(rows.format("kesu.")).strip(), "900|12000")
            rows = "SELECT area, latitude, longitude, radius, samples FROM {} WHERE id = -1"
            with contextlib.closing(sqlite3.connect(stores[1])) as database:
                expected = database.execute(rows.format("cell") + " ORDER BY 1").fetchall()
            self.assertEqual(primary.sql(rows.format("kesu.cell") + " ORDER BY 1").splitlines(),
                             ["|".join(map(str, row)) for row in expected])
            self.assertIn("some of the stations are invented", kesu_data(
                "synthesize", "--stations", "12000", database=stores[0]))
            before = primary.sql("SELECT * FROM kesu.meta ORDER BY 1")
            primary.sql("ALTER TABLE kesu.cell ADD CHECK (latitude < 0) NOT VALID")
            self.assertIn("violates check", kesu_data("import", "cells", f"{folder}/cells.csv",
                                                      database=stores[0], status=3))
            self.assertEqual(primary.sql("SELECT * FROM kesu.meta ORDER BY 1"), before)


KINDS = ["cells", "wifi", "places", "addresses"]
CELLS = b"radio,mcc,net,area,cell,unit,lon,lat,range,samples,changeable,created,updated,averageSignal\n"
WIFI = (b"WigleWifi-1.4,x\nMAC,SSID,AuthMode,FirstSeen,Channel,RSSI,CurrentLatitude,"
        b"CurrentLongitude,AltitudeMeters,AccuracyMeters,Type\n")
FILES = {
    "cells.csv": CELLS + b"".join(
        b"LTE,262,1,%d,%d,0,%d.5,48.25,700,%d,1,0,%d,0\n" % (i // 7, i, i % 90, i % 5, 900 + i)
        for i in range(9000)) + b"GSM,1,1,1,1,0,5,5,1,9223372036854775807,1,0,1,0\nGSM,x\n",
    # One cell older, one newer than before.
    "newer.csv": CELLS + b"LTE,262,1,0,1,0,7,8,9,1,1,0,5,0\nLTE,262,1,0,2,0,7,8,9,1,1,0,5000,0\n",
    "wifi.csv": WIFI + b"".join(
        b"00:00:5e:00:%02x:%02x,a,,2024-02-29 00:00:%02d,1,-%d,50.%d,8,0,5,WIFI\n"
        % (i % 40, i % 99, i % 60, 40 + i % 50, i % 9) for i in range(12000)),
    # In more than one transaction.
    "reports.json": b"{}\n" + b"".join(
        b'{"position":{"latitude":1,"longitude":2,"accuracy":9},"wifiAccessPoints":[{"macAddress":'
        b'"00005e%06x"}]}\n' % (i % 900) for i in range(12000)),
    "allCountries.txt": b"\t".join([b"1", b"T\xffwn\0", b"", b"", b"-1", b"2", b"P", b"PPL", b"DE"]
                                   + [b""] * 10) + b"\n",
    "addresses.csv": b"LON,LAT,NUMBER,STREET,UNIT,CITY,DISTRICT,REGION,POSTCODE\n"
                     b"1,2,3,\"a, b\",,c,,,d\n1,2,3,\"a, b\",,c,,,d\n",
}
IMPORTS = [("reports.json", "reports"), ("cells.csv", "cells"), ("newer.csv", "cells"), ("wifi.csv", "wifi"),
           ("wifi.csv", "wifi"), ("allCountries.txt", "places"), ("addresses.csv", "addresses")]


def kesu_data(*arguments, database, status=0):
    done = subprocess.run([os.environ["KESU_DATA"], *arguments, "--database", database],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          timeout=PATIENCE_S, check=False)
    assert done.returncode == status, (arguments, done.returncode, done.stdout)
    assert "secret" not in done.stdout
    return done.stdout


if __name__ == "__main__":
    unittest.main()
