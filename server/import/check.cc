#include "server/import/check.h"

#include <cstdint>
#include <optional>

#include "server/storage/sqlite_connection.h"

namespace kesu_server {
namespace {

constexpr char kNotOnEarth[] =
    " WHERE typeof(latitude) != 'integer' OR typeof(longitude) != 'integer'"
    " OR abs(latitude) > 900000000 OR abs(longitude) > 1800000000";

void AddRows(SqliteConnection* connection, const std::string& sql, const std::string& good,
             std::vector<std::string>* faults) {
  SqliteStatement query(*connection, sql);
  while (query.Step()) {
    if (query.Text(0) != good) faults->push_back(query.Text(0));
  }
  if (!query.Reset()) faults->push_back(connection->error());
}

std::string NotOnEarthFault(const std::string& table, std::int64_t rows) {
  return table + ": " + std::to_string(rows) + " stations that are not on earth";
}

std::vector<std::string> FaultsIn(SqliteStorage* storage) {
  SqliteConnection* const connection = storage->connection();
  std::vector<std::string> faults;
  AddRows(connection, "PRAGMA integrity_check", "ok", &faults);
  for (const char* table : {"place", "address"}) {
    AddRows(connection, std::string("SELECT rtreecheck('main', '") + table + "')", "ok", &faults);
  }
  for (const std::string table : {"access_point", "cell"}) {
    const std::optional<std::int64_t> rows =
        connection->Integer("SELECT count(*) FROM " + table + kNotOnEarth);
    if (!rows) faults.push_back(connection->error());
    if (rows.value_or(0) > 0) {
      faults.push_back(NotOnEarthFault(table, *rows));
    }
  }
  return faults;
}

/// PostgreSQL looks after its pages itself.
std::vector<std::string> FaultsIn(PostgresStorage* storage) {
  PostgresConnection* const connection = storage->connection();
  std::vector<std::string> faults;
  for (const std::string table : {"access_point", "cell", "place", "address"}) {
    const PostgresResult rows =
        connection->Query("SELECT count(*) FROM kesu." + table +
                          " WHERE abs(latitude) > 900000000 OR abs(longitude) > 1800000000");
    const std::int64_t count = rows ? PostgresRow(rows.get(), 0).Integer(0) : 0;
    if (!rows) faults.push_back(connection->error());
    if (count > 0) faults.push_back(NotOnEarthFault(table, count));
  }
  return faults;
}

}  // namespace

std::vector<std::string> FindFaults(const DataStore& store) {
  return std::visit([](auto* storage) { return FaultsIn(storage); }, store);
}

}  // namespace kesu_server
