// Where am I, and what is there: gjs -m locate.js [SERVER]
import Kesu from 'gi://Kesu?version=1.0';
import System from 'system';

const client = new Kesu.Client({server: System.programArgs[0] ?? 'http://127.0.0.1:8642'});
const seen = Kesu.Observation.new();
seen.add_cell(1, 1, 1, 1001, -71);
seen.add_access_point('00-00-5E-00-53-01', -60, null);
const where = client.locate(seen, null);
print(where.get_latitude(), where.get_longitude(), where.get_accuracy());
print(client.reverse(where.get_latitude(), where.get_longitude(), null).get_name());
