"""What a Python program does with a main loop; prints one line at the end. Run by programs_test.py."""

import sys
import threading

import gi
gi.require_version("Kesu", "1.0")
from gi.repository import Gio, GLib, Kesu

loop = GLib.MainLoop()
client = Kesu.Client(server=sys.argv[1], batch_wait=0)
told = set()


def tell(what):
    told.add(what)
    if len(told) == 3:
        cancel_one()
    if len(told) == 4:
        loop.quit()


def cancel_one():
    cancellable = Gio.Cancellable()
    client.set_paused(True)
    client.locate_async(seen, cancellable, on_cancelled)
    threading.Timer(0, cancellable.cancel).start()


def on_cancelled(_, result):
    try:
        client.locate_finish(result)
    except GLib.Error as error:
        assert error.matches(Gio.io_error_quark(), Gio.IOErrorEnum.CANCELLED), error
        tell("cancelled")


def on_places(_, result):
    lisbon, nowhere = client.reverse_many_finish(result)
    assert nowhere.get_error().matches(Kesu.error_quark(), Kesu.Error.NOT_FOUND)
    tell(max((feature.get_name() for feature in lisbon.get_features()), key=len))
    assert all(isinstance(feature.get_address_lines(), list) for feature in lisbon.get_features())


def on_located(_, result):
    where = client.locate_finish(result)
    assert abs(where.get_latitude() - 38.7) < 0.1
    points = [Kesu.Point.new(where.get_latitude(), where.get_longitude()), Kesu.Point.new(89, 0)]
    client.reverse_many_async(points, None, on_places)


def wait_on_a_thread():
    name = client.reverse(38.7167, -9.1333, None).get_name()
    GLib.idle_add(tell, name)


client.connect("notify::last-location", lambda _, what: tell(what.name))
seen = Kesu.Observation.new()
client.set_paused(True)
try:
    client.locate(seen, None)
except GLib.Error as error:
    assert error.matches(Kesu.error_quark(), Kesu.Error.MISUSE), error
seen.add_cell(1, 1, 1, 1001, -71)
client.locate_async(seen, None, on_located)
thread = threading.Thread(target=wait_on_a_thread)
thread.start()
GLib.idle_add(client.set_paused, False)
GLib.timeout_add_seconds(50, loop.quit)
loop.run()
thread.join()
print(sorted(told), client.props.posts > 0, client.get_failures(Kesu.Error.MISUSE))
