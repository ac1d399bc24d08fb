"""Files imported with kesu-data, served by kesu-server, and asked about with kesu."""

import fcntl
import gzip
import os
import sqlite3
import subprocess
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor

from fixture import KESU_SERVER, PATIENCE_S, kesu_json, kesu_server

KESU_DATA = os.environ["KESU_DATA"]

CELLS = "radio,mcc,net,area,cell,unit,lon,lat,range,samples\nLTE,1,1,5,7,0,13.5,52.5,1000,9\n"
WIFI = ("WigleWifi-1.6,appRelease=1\nMAC,SSID,Type,CurrentLatitude,CurrentLongitude\n"
        "00-00-5E-00-53-01,a,WIFI,52.6,13.4\n00-00-5E-00-53-02,b,WIFI,52.6,13.4002\n")
REPORT = ('{"position":{"latitude":1,"longitude":2,"accuracy":5},'
          '"wifiAccessPoints":[{"macAddress":"00005e005301"}]}\n')
ADDRESSES = ("LON,LAT,NUMBER,STREET,UNIT,CITY,DISTRICT,REGION,POSTCODE\n"
             "13.4,52.52,12,Hauptstr.,,Berlin,Mitte,,10115\n-100.0,40.0,7,Main St,2b,Alma,,NE,68920\n")
PLACES = ("1\tBerlin\tBerlin\t\t52.52\t13.41\tP\tPPLC\tDE\t\t16" + 8 * "\t" + "\n"
          "2\tAlma\tAlma\t\t40.1\t-99.4\tP\tPPL\tUS\t\tNE" + 8 * "\t" + "\n")
REGIONS = "DE.16\tLand Berlin\tLand Berlin\t1\n"
COUNTRIES = "#ISO\nDE\tDEU\t276\tGM\tGermany\tBerlin\nUS\tUSA\t840\tUS\tUnited States\tx\n"

# A point, its address, and the features up to the country.
DESCRIPTIONS = [
    ((52.5201, 13.4), "Hauptstr. 12, 10115 Berlin, Land Berlin, Germany",
     ["Hauptstr., Berlin", "Berlin", "Land Berlin", "Germany"]),
    ((40.0, -100.0), "7 Main St, 2b, Alma, NE 68920, United States",
     ["Main St, Alma", "Alma", "NE", "United States"]),
]


def kesu_data(*arguments, text=None, status=0):
    run = subprocess.run([KESU_DATA, *arguments], input=text, capture_output=True, text=True,
                         timeout=PATIENCE_S, check=False)
    assert run.returncode == status, (arguments, run)
    return run


def names(result):
    return [feature["name"] for feature in result["features"]]


class Data(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.database = f"--database={self.folder}/kesu.db"

    def write(self, name, text):
        path = f"{self.folder}/{name}"
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def test_files_of_each_kind_are_found_by_a_server_that_runs_already(self):
        kesu_data("import", "cells", "-", self.database, text=CELLS)
        self.write("admin1CodesASCII.txt", REGIONS)
        countries = self.write("names", COUNTRIES)
        with kesu_server(self.database) as (server, _):
            self.assertEqual(kesu_json("locate", "--cell=1,1,5,7", server=server)[0], 0)
            seen = ["--wifi=00:00:5e:00:53:01,-50", "--wifi=00:00:5e:00:53:02,-50"]
            self.assertEqual(kesu_json("locate", *seen, server=server)[0], 1)

            packed = f"{self.folder}/wifi.csv"
            with gzip.open(packed, "wt") as file:
                file.write(WIFI)
            kesu_data("import", "wifi", packed, self.database)
            kesu_data("import", "places", self.write("p", PLACES), "--countries", countries,
                      self.database)
            kesu_data("import", "addresses", self.write("a", ADDRESSES), self.database)
            status, [found] = kesu_json("locate", *seen, server=server)
            self.assertEqual(status, 0)
            self.assertAlmostEqual(found["latitude"], 52.6, 4)
            self.assertAlmostEqual(found["longitude"], 13.4001, 4)

            points = [f"{lat},{lon}" for (lat, lon), _, _ in DESCRIPTIONS]
            status, results = kesu_json("reverse", *points, "52.53,13.41", server=server)
            for (_, address, features), result in zip(DESCRIPTIONS, results):
                self.assertEqual(result["address"], address)
                self.assertEqual(names(result), [address, *features])
            self.assertEqual(names(results[-1])[:2], ["Berlin", "Berlin, Land Berlin, Germany"])
        stats = kesu_data("stats", self.database).stdout
        self.assertEqual(stats, "access points: 2\ncells: 1\nlearned stations: 0\nplaces: 2\n"
                                "addresses: 2\ndata version: 4\n")
        self.assertEqual(kesu_data("check", self.database).stdout, "no faults\n")

    def test_exports_can_be_imported_and_come_out_the_same(self):
        for kind, text in (("cells", CELLS), ("wifi", WIFI), ("addresses", ADDRESSES),
                           ("places", PLACES)):
            kesu_data("import", kind, "-", self.database, text=text)
            out = kesu_data("export", kind, self.database).stdout
            again = f"--database={self.folder}/again.db"
            kesu_data("import", kind, "-", again, text=out)
            self.assertEqual(kesu_data("export", kind, again).stdout, out)
            self.assertEqual(out.count("\n"), {"cells": 2, "wifi": 4, "addresses": 3, "places": 2}[kind])

    def test_invented_stations_are_the_same_for_a_seed_and_are_told_of(self):
        exports = []
        for seed in (1, 1, 2):
            database = f"--database={self.folder}/{len(exports)}.db"
            kesu_data("synthesize", "--stations=400", f"--seed={seed}", database)
            exports.append(kesu_data("export", "cells", database).stdout)
        self.assertEqual(exports[0], exports[1])
        self.assertNotEqual(exports[0], exports[2])
        self.assertEqual(exports[0].count("\nLTE,1,1,"), 100)
        words = [KESU_SERVER, "--port=0", f"--database={self.folder}/0.db"]
        with subprocess.Popen(words, stdout=subprocess.PIPE, text=True) as server:
            lines = [server.stdout.readline(), server.stdout.readline()]
            server.terminate()
        self.assertEqual(lines[1], "the database has invented stations in it\n")

    def test_words_and_files_that_cannot_be_used(self):
        self.write("text", "a text, and no database at all, which is long enough to be read as one " * 9)
        for words, status, error in [
            ([], 2, "no command"), (["eat"], 2, 'unknown command "eat"'),
            (["import", "sea", "x"], 2, 'unknown kind "sea"'), (["import", "cells"], 2, "no file"),
            (["stats", "x"], 2, 'unexpected argument "x"'), (["stats"], 2, "--database is missing"),
            (["export", "reports"], 2, 'unknown kind "reports"'),
            (["synthesize", self.database], 2, "--stations must be from 1 to 1000000000"),
            (["stats", self.database], 3, "unable to open database file"),
            (["import", "cells", "/nowhere", self.database], 3, "/nowhere: No such file"),
            (["import", "cells", self.folder, self.database], 3, "Is a directory"),
            (["import", "wifi", "/dev/null", self.database], 1, "0 records taken"),
            (["import", "cells", "x", f"--database={self.folder}/text"], 3, "file is not a database"),
        ]:
            with self.subTest(words):
                self.assertIn(error, kesu_data(*words, status=status).stderr)

    def test_one_import_of_stations_at_a_time_and_any_number_of_others(self):
        with open(f"{self.folder}/kesu.db.import.lock", "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            run = kesu_data("import", "cells", "-", self.database, text=CELLS, status=3)
            self.assertIn("another import of stations is at work", run.stderr)
            # Four make the database at the same time.
            with ThreadPoolExecutor(4) as pool:
                list(pool.map(lambda _: kesu_data("import", "reports", "-", self.database, text=REPORT),
                              range(4)))
        kesu_data("import", "cells", "-", self.database, text=CELLS)
        self.assertEqual(set(os.listdir(self.folder)), {"kesu.db"})
        stats = kesu_data("stats", self.database).stdout
        self.assertIn("cells: 1\nlearned stations: 1\n", stats)
        self.assertIn("data version: 5\n", stats)

    def test_a_disk_that_is_full_is_an_error_and_nothing_is_half_there(self):
        cells = "".join(f"GSM,1,1,{cell % 100},{cell},0,1,1\n" for cell in range(50_000))
        path = self.write("cells", cells)
        limited = ["sh", "-c", 'trap "" XFSZ; ulimit -f 500; exec "$@"', "sh", KESU_DATA, "import",
                   "cells", path, self.database]
        run = subprocess.run(limited, capture_output=True, text=True, timeout=PATIENCE_S, check=False)
        self.assertEqual(run.returncode, 3)
        self.assertRegex(run.stderr, "disk")
        self.assertEqual(kesu_data("check", self.database).stdout, "no faults\n")
        self.assertIn("cells: 0\n", kesu_data("stats", self.database).stdout)
        kesu_data("import", "cells", path, self.database)
        self.assertIn("cells: 50000\n", kesu_data("stats", self.database).stdout)

    def test_a_damaged_database_is_an_error_and_not_an_end(self):
        kesu_data("synthesize", "--stations=4000", self.database)
        kesu_data("import", "places", "-", self.database, text=PLACES)
        path = f"{self.folder}/kesu.db"
        sqlite3.connect(path).execute("PRAGMA wal_checkpoint(TRUNCATE)")
        with open(path, "rb") as file:
            good = file.read()
        # Pages become nonsense of some sort: all but the first, which says what the file is, or
        # every other one.
        answered = 0
        for filler in (b"\0", b"\xff", b"\x0d\0\0\0\5", b"\2\0\0\xff\xff\7"):
            for first, step in ((1, 1), (1, 2), (2, 2), (14, 1)):
                damaged = bytearray(good)
                for at in range(first * 4096, len(good), step * 4096):
                    damaged[at:at + 4096] = (filler * 4096)[:4096]
                with open(path, "wb") as file:
                    file.write(damaged)
                check = kesu_data("check", self.database, status=3)
                self.assertNotEqual(check.stdout + check.stderr, "")
                answered += self.ask_what_may_be_damaged()
        self.assertGreater(answered, 0)

    def ask_what_may_be_damaged(self):
        """Whether the server starts, and then lives; if it does not it says why."""
        with subprocess.Popen([KESU_SERVER, "--port=0", self.database], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True) as server:
            line = server.stdout.readline()
            if not line:
                self.assertRegex(server.stderr.read(), "malformed|undersize RTree")
                self.assertEqual(server.wait(), 3)
                return False
            for words in (("locate", "--cell=1,1,1,1"), ("reverse", "52.5,13.4"),
                          ("locate", "--wifi=00:00:5e:80:00:01", "--wifi=00:00:5e:80:00:02")):
                self.assertIn(kesu_json(*words, server=line.split()[-1])[0], (0, 1, 3))
            server.terminate()
            self.assertEqual(server.wait(), 0)
            return True
