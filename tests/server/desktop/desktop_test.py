"""GeoClue and libgeocode-glib, as they are installed, with kesu-server behind them."""

import contextlib
import json
import os
import subprocess
import tempfile
import time
import unittest

import dbus
import gi
from fixture import PATIENCE_S, isolating, kesu_server
from mock_radio import Bus

gi.require_version("GeocodeGlib", "2.0")
from gi.repository import GeocodeGlib, GLib  # noqa: E402

GEOCLUE = "org.freedesktop.GeoClue2"
CONFIGURATION = """[agent]
whitelist=geoclue-demo-agent
[network-nmea]
enable=false
[3g]
enable=false
[cdma]
enable=false
[modem-gps]
enable=false
[compass]
enable=false
[wifi]
enable=true
url=%s/v1/geolocate
submit-data=false
submission-nick=geoclue
[kesu-test]
allowed=true
system=true
users=
"""
# By address, with the signal and the name.
HEARD = {"00:00:5e:00:53:01": (-50, "a"), "00:00:5e:00:53:02": (-55, "b"), "00:00:5e:00:53:03": (-60, "c")}
REPORT = {"position": {"latitude": 52.52, "longitude": 13.405, "accuracy": 5},
          "wifiAccessPoints": [{"macAddress": address} for address in HEARD]}
ADDRESSES = ("LON,LAT,NUMBER,STREET,UNIT,CITY,DISTRICT,REGION,POSTCODE\n"
             "13.405,52.52,12,Hauptstr.,,Berlin,Mitte,Land Berlin,10115\n")


def import_data(kind, text, *options):
    subprocess.run([os.environ["KESU_DATA"], "import", kind, "-", *options], input=text, check=True,
                   text=True, stderr=subprocess.DEVNULL, timeout=PATIENCE_S)


@contextlib.contextmanager
def running(words):
    with subprocess.Popen(words, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as program:
        try:
            yield
        finally:
            program.terminate()


def eventually(probe):
    """What `probe` yields as soon as that is something."""
    deadline = time.monotonic() + PATIENCE_S
    while not (found := probe()) and time.monotonic() < deadline:
        time.sleep(0.05)
    return found


class Desktop(unittest.TestCase):
    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        database = f"--database={self.folder}/kesu.db"
        import_data("reports", json.dumps(REPORT), database)
        import_data("addresses", ADDRESSES, "--country=Germany", database)
        self.url, _ = self.enterContext(kesu_server(database))

    def test_geoclue_is_located_by_what_wpa_supplicant_hears(self):
        # Its configuration has one place in the file system.
        isolated = isolating("--mount")
        if not isolated:
            self.skipTest("no mount namespace here")
        with open(f"{self.folder}/geoclue.conf", "w", encoding="utf-8") as file:
            file.write(CONFIGURATION % self.url)
        bus = Bus()
        self.addCleanup(bus.close)
        bus.start_wpa_supplicant(HEARD)
        # Its clients wait for an agent, whoever they are.
        self.enterContext(running([*isolated, "sh", "-c", 'mount --bind "$1" "$2" && exec "$3" -t 0', "sh",
                                   file.name, "/etc/geoclue/geoclue.conf", os.environ["GEOCLUE"]]))
        self.assertTrue(eventually(lambda: bus.connection.name_has_owner(GEOCLUE)))
        self.enterContext(running(["/usr/libexec/geoclue-2.0/demos/agent"]))

        def at(path, interface):
            return dbus.Interface(bus.connection.get_object(GEOCLUE, path), interface)

        client = at("/org/freedesktop/GeoClue2/Manager", f"{GEOCLUE}.Manager").GetClient()
        properties = at(client, dbus.PROPERTIES_IFACE)
        properties.Set(f"{GEOCLUE}.Client", "DesktopId", "kesu-test")
        exact = dbus.UInt32(8)
        properties.Set(f"{GEOCLUE}.Client", "RequestedAccuracyLevel", exact)
        at(client, f"{GEOCLUE}.Client").Start()
        self.assertTrue(eventually(
            lambda: properties.Get(f"{GEOCLUE}.Client", "Location") != "/"))
        location = at(properties.Get(f"{GEOCLUE}.Client", "Location"), dbus.PROPERTIES_IFACE).GetAll(
            f"{GEOCLUE}.Location")
        self.assertAlmostEqual(location["Latitude"], 52.52, 4)
        self.assertAlmostEqual(location["Longitude"], 13.405, 4)
        self.assertTrue(0 < location["Accuracy"] < 500, location["Accuracy"])

    def test_libgeocode_gets_the_address(self):
        # It keeps answers there.
        os.environ["XDG_CACHE_HOME"] = self.folder
        backend = GeocodeGlib.Nominatim.new(self.url, "x@example.org")

        def resolve(latitude, longitude):
            reverse = GeocodeGlib.Reverse.new_for_location(
                GeocodeGlib.Location.new(latitude, longitude, 5))
            reverse.set_backend(backend)
            return reverse.resolve()

        place = resolve(52.5201, 13.405)
        self.assertEqual(
            {name: place.get_property(name) for name in ("building", "street", "postal-code", "area", "town",
                                                         "state", "country")},
            {"building": "12", "street": "Hauptstr.", "postal-code": "10115", "area": "Mitte",
             "town": "Berlin", "state": "Land Berlin", "country": "Germany"})
        self.assertAlmostEqual(place.get_location().get_latitude(), 52.52, 6)
        with self.assertRaisesRegex(GLib.Error, "Unable to geocode"):
            resolve(-52, 13)


if __name__ == "__main__":
    unittest.main()
