"""kesu and kesu-server, where the device hears what a test wants."""

import json
import signal
import subprocess
import time
import unittest

from fixture import KESU, kesu, kesu_json, kesu_server
from mock_radio import NM, Bus

LISBON, BERLIN = "00:00:5E:00:53:01", "00:00:5E:00:53:11"
LOCATION = "ret = {dbus.UInt32(1): '001,01,0001,000003E9,000000'}"


class CommandTest(unittest.TestCase):
    def setUp(self):
        self.bus = Bus()
        self.addCleanup(self.bus.close)
        self.url, _ = self.enterContext(kesu_server())

    def test_locate_here(self):
        nothing = kesu("locate", "--here", server=self.url)
        self.assertEqual((nothing.returncode, nothing.stdout, nothing.stderr),
                         (3, "", "kesu: nothing is heard here: NetworkManager does not run; "
                                 "ModemManager does not run\n"))
        status, [told] = kesu_json("locate", "--here", server=self.url)
        self.assertEqual((status, told["error"]["kind"]), (3, "nothing-heard"))

        networks = self.bus.start_network_manager()
        self.bus.add_wifi(networks, ("home_nomap", LISBON, 67, 2412, 3), ("", BERLIN, 67, 2412, 3))
        withheld = kesu("locate", "--here", server=self.url)
        self.assertEqual((withheld.returncode, withheld.stdout), (2, ""))
        self.assertIn("no access point may be told", withheld.stderr)

        self.bus.add_modem(self.bus.start_modem_manager(), LOCATION)
        status, [cell] = kesu_json("locate", "--here", server=self.url)
        # Where the cell of this identity stands, and no access point.
        self.assertEqual((status, cell["latitude"], cell["longitude"]), (0, 38.699788, -9.131853))

    def test_what_cannot_be_asked(self):
        for words in (["locate", "--here", "--cell", "1,1,1,1"], ["locate", "--here", "--next"],
                      ["locate", "--here", "x"], ["track", "x"], ["track", "--here"],
                      ["track", "--interval", "0.9"]):
            self.assertEqual(kesu(*words, server=self.url).returncode, 2, words)

    def test_track(self):
        words = [KESU, "--server", self.url, "--json", "track", "--interval", "1"]
        with subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as run:
            self.addCleanup(run.kill)
            self.assertIn("nothing is heard here", run.stderr.readline())
            # As long as that goes on, it is not told again.
            access_points = [("a", LISBON, 67, 2412, 3), ("b", LISBON.replace("01", "02"), 67, 2412, 3)]
            self.bus.add_wifi(self.bus.start_network_manager(), *access_points)
            self.assertAlmostEqual(json.loads(run.stdout.readline())["latitude"], 38.716, delta=0.001)
            asked = self.bus.calls(NM, "GetManagedObjects")
            while self.bus.calls(NM, "GetManagedObjects") < asked + 2:
                time.sleep(0.05)
            for i, mac in enumerate((BERLIN, BERLIN.replace("11", "12"))):
                path = f"/org/freedesktop/NetworkManager/AccessPoint/a{i}"
                self.bus.mock(NM, path).UpdateProperties(f"{NM}.AccessPoint", {"HwAddress": mac})
            # Between the two, what is heard grows older, and half of it may have changed.
            told = None
            while told is None or abs(told["latitude"] - 52.5) > 0.1:
                line = json.loads(run.stdout.readline())
                self.assertRegex(line.pop("time"), r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
                self.assertNotEqual(line, told)
                told = line
            run.send_signal(signal.SIGINT)
            self.assertEqual((run.stdout.read(), run.wait()), ("", -signal.SIGINT))


if __name__ == "__main__":
    unittest.main()
