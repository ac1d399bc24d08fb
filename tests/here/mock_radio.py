"""A system bus of its own, with a NetworkManager and a ModemManager that say what a test wants."""

import contextlib
import json
import os
import subprocess
import sys
import tempfile
import time

import dbus
import dbusmock

NM, MM = "org.freedesktop.NetworkManager", "org.freedesktop.ModemManager1"
CONFIGURATION = """<busconfig>
  <listen>unix:dir=%s</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
    %s
  </policy>
</busconfig>
"""
# On the same clock as NetworkManager's.
BOOT_TIME = "time.clock_gettime(time.CLOCK_BOOTTIME)"


def boot_time():
    return time.clock_gettime(time.CLOCK_BOOTTIME)


class Bus:
    """A bus; closing it ends what runs on it."""

    def __init__(self, *forbidden):
        """Nobody may call these interfaces."""
        self._stack = contextlib.ExitStack()
        self._folder = folder = self._stack.enter_context(tempfile.TemporaryDirectory(prefix="kesu-bus-"))
        rules = "".join(f'<deny send_interface="{interface}"/>' for interface in forbidden)
        with open(f"{folder}/bus.conf", "w", encoding="utf-8") as file:
            file.write(CONFIGURATION % (folder, rules))
        words = ["dbus-daemon", "--nofork", "--print-address=1", f"--config-file={folder}/bus.conf"]
        daemon = subprocess.Popen(words, stdout=subprocess.PIPE, text=True)
        self._stack.callback(daemon.wait)
        self._stack.callback(daemon.terminate)
        self._stack.callback(daemon.stdout.close)
        self.pid = daemon.pid
        self.address = daemon.stdout.readline().strip()
        os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = self.address
        self.connection = dbus.bus.BusConnection(self.address)
        self._stack.callback(self.connection.close)

    def close(self):
        self._stack.close()

    def mock(self, name, path="/"):
        return dbus.Interface(self.connection.get_object(name, path), dbusmock.MOCK_IFACE)

    def _spawn(self, name, path, *words):
        log = f"{self._folder}/{name}.log"
        command = [sys.executable, "-m", "dbusmock", "--system", "--logfile", log, *words]
        daemon = subprocess.Popen(command)
        self._stack.callback(daemon.wait)
        self._stack.callback(daemon.terminate)
        dbusmock.DBusTestCase.wait_for_bus_object(name, path, system_bus=True)
        return self.mock(name, path)

    def start_network_manager(self, **parameters):
        return self._spawn(NM, "/org/freedesktop", "--template", "networkmanager", "--parameters",
                           json.dumps(parameters))

    def start_modem_manager(self):
        path = f"/{MM.replace('.', '/')}"
        manager = self._spawn(MM, path, "--is-object-manager", MM, path, MM)
        manager.AddProperties(MM, dbus.Dictionary({"Version": "1.20"}, signature="sv"))
        return manager

    def start_wpa_supplicant(self, heard):
        """It hears access points: by address, their signal and name."""
        name, path = "fi.w1.wpa_supplicant1", "/fi/w1/wpa_supplicant1"
        supplicant = self._spawn(name, path, name, path, name)
        device = f"{path}/Interfaces/0"
        paths = []
        for address, (dbm, ssid) in heard.items():
            paths.append(dbus.ObjectPath(f"{device}/BSSs/{len(paths)}"))
            supplicant.AddObject(paths[-1], f"{name}.BSS", dbus.Dictionary({
                "SSID": dbus.ByteArray(ssid.encode()), "Signal": dbus.Int16(dbm),
                "BSSID": dbus.ByteArray(bytes.fromhex(address.replace(":", "")))},
                signature="sv"), dbus.Array([], signature="(ssss)"))
        scan = ("Scan", "a{sv}", "", f"self.EmitSignal('{name}.Interface', 'ScanDone', 'b', [True])")
        supplicant.AddObject(device, f"{name}.Interface", dbus.Dictionary({
            "Ifname": "wlan0", "State": "completed", "BSSs": dbus.Array(paths, signature="o")},
            signature="sv"), dbus.Array([scan], signature="(ssss)"))
        supplicant.AddProperties(name, dbus.Dictionary({
            "Interfaces": dbus.Array([dbus.ObjectPath(device)], signature="o")}, signature="sv"))

    def calls(self, name, method):
        """How often the daemon of this name was asked for it."""
        with open(f"{self._folder}/{name}.log", encoding="utf-8") as log:
            return sum(line.split()[1:2] == [method] and "raised:" not in line for line in log)

    def add_wifi(self, manager, *access_points, scanned_s_ago=5, state=30, on_scan="pass"):
        """access_points: (name, MAC, quality, frequency, seconds since it was heard, or None for
        never). A scan runs the code of `on_scan`."""
        device = manager.AddWiFiDevice("wifi", "wlan0", state)
        wireless = f"{NM}.Device.Wireless"
        last_scan = -1 if scanned_s_ago is None else int((boot_time() - scanned_s_ago) * 1000)
        self.mock(NM, device).AddProperty(wireless, "LastScan", dbus.Int64(last_scan, variant_level=1))
        self.mock(NM, device).AddMethod(wireless, "RequestScan", "a{sv}", "", "import time\n" + on_scan)
        for i, (name, mac, quality, frequency, heard_s_ago) in enumerate(access_points):
            path = manager.AddAccessPoint(device, f"a{i}", name, mac, 2, frequency, 54000, quality, 0)
            last_seen = -1 if heard_s_ago is None else int(boot_time() - heard_s_ago)
            self.mock(NM, path).UpdateProperties(
                f"{NM}.AccessPoint", {"LastSeen": dbus.Int32(last_seen, variant_level=1)})
        return device

    def add_modem(self, manager, location, state=8, enabled=1, quality=(50, True), signal=None,
                  access=1 << 14, number=0):
        """`location` is the code of GetLocation(), of which `ret` is the answer."""
        path = f"/{MM.replace('.', '/')}/Modem/{number}"
        numbers = {"State": dbus.Int32(state), "AccessTechnologies": dbus.UInt32(access)}
        strength = dbus.Struct((dbus.UInt32(quality[0]), quality[1]), signature="ub")
        manager.AddObject(path, f"{MM}.Modem", {**numbers, "SignalQuality": strength}, [])
        modem = self.mock(MM, path)
        modem.AddProperties(f"{MM}.Modem.Location", {"Enabled": dbus.UInt32(enabled)})
        modem.AddMethod(f"{MM}.Modem.Location", "GetLocation", "", "a{uv}", location)
        if signal is not None:
            technology, values = signal
            modem.AddProperties(f"{MM}.Modem.Signal",
                                {technology: dbus.Dictionary(values, signature="sv")})
