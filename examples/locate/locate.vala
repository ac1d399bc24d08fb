// Where am I, and what is there: locate-vala [SERVER]
int main(string[] args) {
    var client = new Kesu.Client(args.length > 1 ? args[1] : "http://127.0.0.1:8642");
    var seen = new Kesu.Observation();
    seen.add_cell(1, 1, 1, 1001, -71);
    seen.add_access_point("00-00-5E-00-53-01", -60, null);
    try {
        var where = client.locate(seen, null);
        print("%f %f %f\n", where.get_latitude(), where.get_longitude(), where.get_accuracy());
        var place = client.reverse(where.get_latitude(), where.get_longitude(), null);
        print("%s\n", place.get_name());
    } catch (Error error) {
        printerr("%s\n", error.message);
        return 1;
    }
    return 0;
}
