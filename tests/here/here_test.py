"""What is heard, from daemons that say what a test wants, on a bus of its own."""

import os
import subprocess
import unittest

from mock_radio import BOOT_TIME, NM, Bus

LOCATION = "ret = {dbus.UInt32(1): '001,01,0001,000003E9,000000'}"
# Ages leave a busy machine half a minute. With a cell:
FIX = """
import time
when = time.strftime('%H%M%S.00', time.gmtime(time.time() - 30))
position = {'utc-time': when, 'latitude': 38.5, 'longitude': -9.25}
ret = {dbus.UInt32(2): dbus.Dictionary(position, signature='sv'), dbus.UInt32(1): '001,01,0001,3E9,0'}
"""
# The first access point is heard again, and the scan is over.
SCAN = f"""
now = {BOOT_TIME}
objects['/org/freedesktop/NetworkManager/AccessPoint/a0'].UpdateProperties(
    'org.freedesktop.NetworkManager.AccessPoint', {{'LastSeen': dbus.Int32(now)}})
self.UpdateProperties('org.freedesktop.NetworkManager.Device.Wireless',
                      {{'LastScan': dbus.Int64(now * 1000)}})
"""


def refuse(name, text):
    return f"raise dbus.exceptions.DBusException('{text}', name='org.freedesktop.{name}')"


def observe(*milliseconds):
    words = [os.environ["OBSERVE"], *map(str, milliseconds)]
    run = subprocess.run(words, text=True, capture_output=True, timeout=120, check=False)
    assert (run.returncode, run.stderr) == (0, ""), run
    return run.stdout.splitlines()


class HereTest(unittest.TestCase):
    def bus(self, *forbidden):
        bus = Bus(*forbidden)
        self.addCleanup(bus.close)
        return bus

    def hears(self, *lines, options=()):
        self.assertRegex("\n".join(observe(*options)), "^" + "\n".join(lines) + "$")

    def test_everything_that_can_be_heard(self):
        bus = self.bus()
        bus.add_wifi(bus.start_network_manager(),
                     ("cafe", "00:00:5E:00:53:01", 67, 2412, 30), ("", "00:00:5E:00:53:02", 100, 5180, 70),
                     ("old", "00:00:5E:00:53:03", 50, 2412, 300), ("x", "00:00:5E:00:53:04", 50, 2412, None),
                     ("x", "00:00:5E:00:53", 50, 2412, 3), ("x", "", 50, 2412, 3),
                     ("home_nomap", "00:00:5E:00:53:05", 0, 0, 0))
        modems = bus.start_modem_manager()
        bus.add_modem(modems, FIX, signal=("Lte", {"rsrp": -95.4, "rssi": -70.0}))
        self.hears("cell 1,1,1,1001 -95 dBm 0 s",
                   'wifi 00:00:5E:00:53:01 -60 dBm [3-5]. s channel 1 "cafe"',
                   'wifi 00:00:5E:00:53:02 -40 dBm [7-9]. s channel 36 ""',
                   'wifi 00:00:5E:00:53:05 -100 dBm [0-2]?. s channel none "home_nomap"',
                   r"fix 38\.5000,-9\.2500 [3-5]. s")
        self.assertEqual(bus.calls(NM, "RequestScan"), 0)

    def test_the_signal_of_a_modem(self):
        rows = [
            # (access technologies, measured, quality and whether it is recent), dBm
            ((1 << 5, ("Umts", {"rscp": -88.5, "rssi": -70.0}), (50, True)), "-89"),
            ((1 << 1, ("Gsm", {"rssi": -75.0}), (50, True)), "-75"),
            ((1 << 14 | 1 << 15, ("Nr5g", {"rsrp": -101.0}), (50, True)), "-101"),
            # Of another technology, without a value, or none that can be.
            ((1 << 1, ("Lte", {"rsrp": -95.0}), (50, True)), "-82"),
            ((1 << 14, ("Lte", {}), (50, True)), "-82"),
            ((1 << 14, ("Lte", {"rsrp": 1e300}), (100, True)), "-51"),
            ((1 << 14, ("Lte", {"rsrp": float("nan")}), (0, False)), "none"),
            ((1 << 14, None, (4000000000, True)), "none"),
        ]
        bus = self.bus()
        modems = bus.start_modem_manager()
        for i, ((access, signal, quality), _) in enumerate(rows):
            bus.add_modem(modems, LOCATION, access=access, signal=signal, quality=quality, number=i)
        cells = [line for line in observe() if line.startswith("cell")]
        self.assertEqual(sorted(cells), sorted(f"cell 1,1,1,1001 {dbm} dBm 0 s" for _, dbm in rows))

    def test_scans_are_asked_for_when_they_are_due_and_waited_for(self):
        seen = ("cafe", "00:00:5E:00:53:01", 67, 2412, 70)
        line = 'wifi 00:00:5E:00:53:01 -60 dBm %s s channel 1 "cafe"'
        missing = "missing no-daemon: ModemManager does not run"
        busy = refuse("NetworkManager.Device.NotAllowed", "Busy")
        rows = [
            # seconds since the last scan, what a scan does, options; its age, scans in two runs
            (100, SCAN, (60000, 60000), "[0-5]?.", 1),
            (None, SCAN, (60000, 60000), "[0-5]?.", 1),
            # NetworkManager's own pause, whatever is wanted; for long.
            (-60, SCAN, (60000, 0), "(?:[7-9]|10).", 0),
            # It ends never, or is refused, or ends with its daemon.
            (100, "pass", (3000, 60000), "(?:[7-9]|10).", 2),
            (100, busy, (60000, 60000), "(?:[7-9]|10).", 2),
        ]
        for scanned_s_ago, on_scan, options, age, scans in rows:
            with self.subTest(scanned_s_ago=scanned_s_ago, on_scan=on_scan):
                bus = self.bus()
                bus.add_wifi(bus.start_network_manager(), seen, scanned_s_ago=scanned_s_ago,
                             on_scan=on_scan)
                for _ in range(2):
                    self.hears(line % age, missing, options=options)
                self.assertEqual(bus.calls(NM, "RequestScan"), scans)

    def test_what_is_missing_is_told(self):
        os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=/nonexistent"
        self.hears("missing no-bus: no system bus: .+", "missing no-bus: no system bus: .+")
        wifi, modem = {"on_scan": SCAN}, {"location": LOCATION}
        denied = {"location": refuse("ModemManager1.Error.Core.Unauthorized", "Not you")}
        rows = [
            # Interfaces that nobody may call, parameters of NetworkManager, of a wifi device and of a
            # modem, options; what is told of wifi and of the modem.
            ((), None, None, None, (), "no-daemon: NetworkManager does", "no-daemon: ModemManager does"),
            ((), {}, None, None, (), "no-device: NetworkManager has", "no-daemon: .*"),
            (("org.freedesktop.DBus.ObjectManager",), {}, wifi, modem, (),
             "no-permission: NetworkManager tells", "no-permission: ModemManager: Reject"),
            ((), {}, wifi, denied, (), "nothing-heard: no access", "no-permission: ModemManager: Not you"),
            ((), {"WirelessEnabled": False}, wifi, {**modem, "state": 3}, (),
             "switched-off: wifi", "switched-off: the modem is disabled"),
            ((), {"WirelessHardwareEnabled": False}, wifi, {**modem, "state": 2}, (),
             "switched-off: wifi", "switched-off: the modem is locked"),
            ((), {}, {"on_scan": refuse("Other", "Broken"), "scanned_s_ago": None},
             {**modem, "state": -1}, (), "failed: NetworkManager: Broken", "failed: the modem is out"),
            ((), {}, wifi, {"location": "ret = dbus.Dictionary({}, signature='uv')", "enabled": 2}, (),
             "nothing-heard: .*", "nothing-heard: the modem does not tell"),
            ((), {}, wifi, {"location": LOCATION.replace("3E9", "000")}, (),
             "nothing-heard: .*", "nothing-heard: the modem is in no network"),
            ((), {}, wifi, {"location": "import time; time.sleep(60)"}, (3000,),
             "nothing-heard: .*", "timed-out: ModemManager did"),
        ]
        for forbidden, networks, wifi, modem, options, *missing in rows:
            with self.subTest(missing=missing):
                bus = self.bus(*forbidden)
                if networks is not None:
                    manager = bus.start_network_manager(**networks)
                    if wifi is not None:
                        bus.add_wifi(manager, **wifi)
                if modem is not None:
                    bus.add_modem(bus.start_modem_manager(), **modem)
                self.hears(*(f"missing {text}.*" for text in missing), options=options)

    def test_cancelled_at_any_moment(self):
        bus = self.bus()
        bus.add_wifi(bus.start_network_manager(), ("cafe", "00:00:5E:00:53:01", 67, 2412, 3),
                     scanned_s_ago=None)
        bus.add_modem(bus.start_modem_manager(), "import time; time.sleep(0.2); " + LOCATION)
        for milliseconds in (1, 2, 4, 8, 16, 32, 64):
            self.assertEqual(observe(60000, 60000, milliseconds), [])

    def test_the_bus_ends_meanwhile(self):
        bus = self.bus()
        bus.add_wifi(bus.start_network_manager(), scanned_s_ago=None,
                     on_scan=f"import os; os.kill({bus.pid}, 9)")
        self.hears("missing no-bus: .*", "missing (no-bus|no-daemon): .*")


if __name__ == "__main__":
    unittest.main()
