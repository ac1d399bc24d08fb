import gi; gi.require_version("Kesu", "1.0")
from gi.repository import Kesu
client = Kesu.Client(server="http://127.0.0.1:8642")
seen = Kesu.Observation.new()
seen.add_cell(1, 1, 1, 1001, -71)                        # mcc, mnc, area, cell, dBm
seen.add_access_point("00-00-5E-00-53-01", -60, None)    # MAC, dBm, name or None
where = client.locate(seen, None)                         # raises GLib.Error of Kesu.Error, e.g. NOT_FOUND
print(where.get_latitude(), where.get_longitude(), where.get_accuracy())
print(client.reverse(where.get_latitude(), where.get_longitude(), None).get_name())
