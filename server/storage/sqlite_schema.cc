#include "server/storage/sqlite_schema.h"

#include <cstdint>
#include <optional>

namespace kesu_server {
namespace {

/// "Kesu", where SQLite keeps whose file it is.
constexpr std::int64_t kApplicationId = 0x4B657375;

/// A page is 4096 bytes, so that a lookup brings in little that it does not need. The columns of a
/// station stand in the order of their use, since SQLite reads a row from its beginning.
constexpr char kTables[] = R"sql(
CREATE TABLE access_point(mac INTEGER PRIMARY KEY, latitude INTEGER, longitude INTEGER,
  radius INTEGER, samples INTEGER, updated INTEGER, power INTEGER, exponent INTEGER,
  shadowing INTEGER);
CREATE TABLE cell(area INTEGER, id INTEGER, latitude INTEGER, longitude INTEGER,
  radius INTEGER, samples INTEGER, updated INTEGER, power INTEGER, exponent INTEGER,
  shadowing INTEGER, PRIMARY KEY(area, id)) WITHOUT ROWID;
CREATE TABLE learned(area INTEGER, id INTEGER, weight REAL, latitude REAL, longitude REAL,
  radius REAL, south REAL, north REAL, west REAL, east REAL, first_seen INTEGER,
  last_seen INTEGER, times_blocked INTEGER, blocked_until INTEGER,
  PRIMARY KEY(area, id)) WITHOUT ROWID;
CREATE VIRTUAL TABLE place USING rtree_i32(id, south, north, west, east, +name, +region, +country);
CREATE VIRTUAL TABLE address USING rtree_i32(id, south, north, west, east, +number, +street, +unit,
  +city, +district, +region, +postcode, +country);
CREATE TABLE meta(name TEXT PRIMARY KEY, value INTEGER) WITHOUT ROWID;
INSERT INTO meta VALUES('data_version', 0), ('access_points', 0), ('cells', 0), ('places', 0),
  ('addresses', 0), ('invented', 0);
)sql";

std::string SchemaText(SqliteConnection* connection) {
  SqliteStatement query(*connection,
                        "SELECT type, name, sql FROM sqlite_schema ORDER BY type, name, sql");
  std::string text;
  while (query.Step()) text += query.Text(0) + ' ' + query.Text(1) + ' ' + query.Text(2) + '\n';
  return query.Reset() ? text : std::string();
}

}  // namespace

bool CreateSchema(SqliteConnection* connection) {
  const bool has_journal =
      connection->Execute("PRAGMA page_size = 4096; PRAGMA journal_mode = WAL;");
  SqliteTransaction transaction(connection, SqliteTransaction::Kind::kWrite);
  if (!transaction.has_begun()) return false;
  // Somebody else may have made them meanwhile.
  if (!IsEmptyDatabase(connection)) return true;
  return has_journal &&
         connection->Execute("PRAGMA application_id = " + std::to_string(kApplicationId) +
                             "; PRAGMA user_version = " + std::to_string(kSchemaVersion) + ";" +
                             kTables) &&
         transaction.Commit();
}

bool CheckSchema(SqliteConnection* connection, const std::string& path, std::string* error) {
  const std::optional<std::int64_t> application = connection->Integer("PRAGMA application_id");
  if (!application) {
    *error = connection->error();
    return false;
  }
  if (*application != kApplicationId) {
    *error = path + ": a database of another program";
    return false;
  }
  const std::int64_t version = connection->Integer("PRAGMA user_version").value_or(0);
  if (version != kSchemaVersion) {
    *error = path + ": has version " + std::to_string(version) + " of the tables, and only " +
             std::to_string(kSchemaVersion) + " is known here";
    return false;
  }
  SqliteConnection pattern;
  if (!pattern.Open(":memory:", SqliteConnection::Mode::kCreate) || !CreateSchema(&pattern)) {
    *error = pattern.error();
    return false;
  }
  if (SchemaText(connection) == SchemaText(&pattern)) return true;
  *error = path + ": has other tables than it should";
  return false;
}

bool IsEmptyDatabase(SqliteConnection* connection) {
  return connection->Integer("SELECT count(*) FROM sqlite_schema") == 0;
}

bool CountRows(SqliteConnection* connection) {
  return connection->Execute(R"sql(
UPDATE meta SET value = (SELECT count(*) FROM access_point) WHERE name = 'access_points';
UPDATE meta SET value = (SELECT count(*) FROM cell) -
  (SELECT count(*) FROM cell WHERE id = -1) WHERE name = 'cells';
UPDATE meta SET value = (SELECT count(*) FROM place) WHERE name = 'places';
UPDATE meta SET value = (SELECT count(*) FROM address) WHERE name = 'addresses';
UPDATE meta SET value = value + 1 WHERE name = 'data_version';
)sql");
}

}  // namespace kesu_server
