"""The command lines of kesu, what it makes of its outputs, and the bodies it decodes."""

import re
import unittest

from fixture import (SERVICE, Reply, answer, asker, cell, counted, http, kesu, kesu_json, kesu_server,
                     nested, number, place, reply, serving, wifi)

URL = "http://HOST:PORT or https://HOST:PORT"
# Command lines that make no sense, by what the message names.
REFUSED = {
    "command is missing": [""], "--nonsense": ["--nonsense locate"], '"find"': ["find"],
    "one file": ["decode"], "at least one point": ["reverse"], '"now"': ["httptest now"],
    "at least one of --cell, --wifi and --gps": ["locate"], '"3,4"': ["locate --gps 1,2 3,4"],
    "one --gps at most": ["locate --gps 1,2 --gps 1,2"], "--next": ["reverse 1,2 --next 3,4"],
    'MCC,MNC,AREA,CELL,DBM, not "1,1,1,1,1,1"': ["locate --cell 1,1,1,1,1,1"],
    'MCC must be a whole number from 1 to 999, not "0"': ["locate --cell 0,1,1,1"],
    "MCC": ["locate --cell 1000,1,1,1"], "MNC": ["locate --cell 1,1000,1,1"],
    "AREA": ["locate --cell 1,1,16777216,1", "locate --cell 1,1,1x,1"],
    "CELL": ["locate --cell 1,1,1,268435456", "locate --cell 1,1,1,99999999999999999999"],
    "DBM": ["locate --cell 1,1,1,1,-201", "locate --cell 1,1,1,1,21",
            "locate --wifi 00-00-5E-00-53-01,loud"],
    "MAC": ["locate --wifi 00-00:5E-00-53-01", "locate --wifi 00-00-5E-00-53-0G",
            "locate --wifi 00-00-5E-00-53-01,-60,1"],
    "LAT": ["locate --gps 90.1,0"], "LON": ["locate --gps 0,-180.1", "locate --gps 0,nan"],
    "LAT,LON": ["locate --gps 0", "locate --gps 0,0,0,0"],
    "METRES": ["locate --gps 0,0,-1", "locate --gps 0,0,nan", "locate --gps 0,0,2147483648"],
    "/nonexistent": ["--ca-file /nonexistent reverse 1,2"],
    "SECONDS": ["--timeout 0 reverse 1,2", "--timeout 86400.1 reverse 1,2"],
    URL: ["--server localhost:8642 reverse 1,2", "--server http://me@localhost reverse 1,2",
          "--server http://localhost:99999 reverse 1,2", "--server http://a%0ab reverse 1,2"],
    "with -, on standard input": ["reverse - 1,2", "locate - x"],
    "in place of --json": ["--json --geojson reverse 1,2", "decode - --geojson"],
    "--map is for locate and reverse": ["decode - --map x", "track --map x"],
    'written to "/dev/null"': ["locate --gps 1,2 --map /dev/null"],
    'written to "/nonexistent/x"': ["reverse 1,2 --map /nonexistent/x"],
    "the proxy is http://HOST:PORT": ["--proxy ftp://a reverse 1,2", "--proxy a reverse 1,2"],
    "server is too long": ["--server http://" + "x" * 100 + " reverse 1,2"],
}

# The options of a lookup, and the element of the request that they make.
SENT = {
    "--cell=999,0,0,0,20 --cell 1,999,16777215,268435455,-200 --cell 1,2,3,4":
        nested(1, nested(1, cell(999, 0, 0, 0, 20)),
               nested(3, cell(1, 999, 16777215, 268435455, -200)), nested(3, cell(1, 2, 3, 4))),
    "--wifi 00:00:5e:00:53:aF --wifi 00-00-5E-00-53-01,-60":
        wifi((b"00-00-5E-00-53-AF",), (b"00-00-5E-00-53-01", -60)),
    "--gps 90,180 --json --timeout 86400": place((90, 180)),
    "--gps 1,2,2147483647": place((1, 2), number(3, 2147483647)),
    "--gps -90,-180 --cell 1,2,3,4": nested(1, nested(1, cell(1, 2, 3, 4))) + place((-90, -180)),
}


class Commands(unittest.TestCase):
    def test_refused(self):
        for named, lines in REFUSED.items():
            for line in lines:
                with self.subTest(line):
                    run = kesu(*line.split())
                    self.assertEqual((run.returncode, run.stdout), (2, ""))
                    self.assertRegex(run.stderr, r"\Akesu: .*" + re.escape(named)
                                     + r'.*\nTry "kesu --help"\.\n\Z')

    def test_help_fits_a_terminal(self):
        self.assertLessEqual(max(map(len, kesu("--help").stdout.splitlines())), 80)

    def test_sent(self):
        words = " --next ".join(SENT).split()
        with serving(Reply(http(reply(*map(answer, range(len(SENT))))))) as server:
            status, results = kesu_json("locate", *words, server=server.url + "/")
        self.assertEqual((status, len(results), len(server.bodies)), (1, len(SENT), 1))
        for options, element in SENT.items():
            with self.subTest(options):
                block = counted(SERVICE) + b"\0\1" + counted(asker() + nested(4, element), 4)
                self.assertIn(block, server.bodies[0])

    def test_outputs(self):
        full = (3, "", "kesu: the results could not be written\n")
        reverse, httptest, traced = ["reverse", "38.71,-9.14"], ["httptest"], ["--trace"]
        decode = ["decode", "/dev/stdin"]
        # A reply block that says to be of 12 bytes and has 11: id 7, status 200, no encodings.
        cut = r"printf '\0\1\0\0\0\14\201\0\0\7\0\310\0\0\0\0\0\0\10' | "
        fault = ", offset 2: reply block: the length is 12, but there are 11 bytes\n"
        tree = ('{"offset":0,"name":"reply","length":19,"protocol_version":1,"blocks":[{"offset":2,'
                '"name":"reply block","type":33024,"length":12,"id":7,"status":200,"encodings":"",'
                '"value_after_encodings":0,"payload":{"offset":18,"length":1,"message":"GLocReply",'
                '"fields":[]}}],"error":{"offset":2,"message":"' + fault[12:-1] + '"}}\n')
        empty = "       0  reply, 2 bytes\n       0    protocol version: 1\n"
        with kesu_server() as (server, _):
            here = kesu("--timeout=9", *reverse, server=server).stdout
            self.assertRegex(
                here, r"\A38\.71000, -9\.14000: .*Lisbon.*\n  Lisbon\n  Lisbon, Portugal\n\Z")
            passed = "SetHeaderTest passed\nAll HTTP tests pass\n"
            for words, shell, expected in (
                    *((words, target, full) for target in (">/dev/full", ">&-") for words in (
                        reverse, httptest, ["decode", "-"], ["--help"], ["--version"])),
                    (traced + reverse, ">&- 2>&-", (3, "", "")),
                    *((traced + reverse, lost, (0, here, "")) for lost in ("2>&-", "2>/dev/full")),
                    (reverse, "<&- 2>&-", (0, here, "")), (reverse, "", (0, here, "")),
                    (reverse, "ulimit -n 6; ", (3, "", "kesu: too few files can be open at a "
                                                    "time\n")),
                    (httptest, "", (0, passed, "")),
                    (decode, r"printf '\0\1' | ", (0, empty, "")),
                    (["decode", "-", "--json"], cut, (5, tree, "kesu: standard input" + fault)),
                    (["decode", "--", "-/../.."], "", (2, "", 'kesu: "-/../.." cannot be read: '
                                                       "No such file or directory\n")),
                    (["decode", "-"], "<&-", (2, "", "kesu: standard input cannot be read: "
                                              "Bad file descriptor\n"))):
                with self.subTest((words, shell)):
                    command = shell + ' "$@"' if shell[-2:-1] in "|;" else 'exec "$@" ' + shell
                    run = kesu(*words, server=server, shell=command)
                    self.assertEqual((run.returncode, run.stdout, run.stderr), expected)
            for words, output in ((reverse, here), (httptest, passed)):
                run = kesu(*traced, *words, server=server)
                self.assertEqual((run.returncode, run.stdout), (0, output))
                self.assertIn("======================sendPostRequest\n", run.stderr)
                self.assertNotIn("Lisbon", run.stderr)
