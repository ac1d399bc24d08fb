#include "server/import/data_store.h"

#include <optional>

#include "server/storage/record_columns.h"
#include "server/storage/sqlite_rows.h"

namespace kesu_server {
namespace {

bool ForEachRow(SqliteStorage* storage, const std::string& columns, const std::string& rows,
                const std::function<bool(const SqliteStatement& row)>& take) {
  SqliteStatement query(*storage->connection(), "SELECT " + columns + " FROM " + rows);
  while (query.Step()) {
    if (!take(query)) return false;
  }
  return query.Reset();
}

bool ForEachRow(PostgresStorage* storage, const std::string& columns, const std::string& rows,
                const std::function<bool(const PostgresRow& row)>& take) {
  PostgresConnection* const connection = storage->connection();
  PostgresTransaction transaction(connection);
  if (!transaction.has_begun() || !connection->Execute("DECLARE rows NO SCROLL CURSOR FOR SELECT " +
                                                       columns + " FROM kesu." + rows)) {
    return false;
  }
  for (;;) {
    const PostgresResult some = connection->Query("FETCH 10000 FROM rows");
    if (!some) return false;
    const int count = PQntuples(some.get());
    for (int i = 0; i < count; ++i) {
      if (!take(PostgresRow(some.get(), i))) return false;
    }
    if (count == 0) return transaction.Commit();
  }
}

}  // namespace

Storage* StorageOf(const DataStore& store) {
  return std::visit([](auto* storage) -> Storage* { return storage; }, store);
}

std::string ErrorOf(const DataStore& store) {
  return std::visit([](auto* storage) { return std::string(storage->connection()->error()); },
                    store);
}

std::unique_ptr<Filling> BeginFilling(const DataStore& store) {
  if (SqliteStorage* const* const sqlite = std::get_if<SqliteStorage*>(&store)) {
    return BeginSqliteFilling((*sqlite)->connection());
  }
  return BeginPostgresFilling(std::get<PostgresStorage*>(store)->connection());
}

bool ForEachAccessPoint(const DataStore& store,
                        const std::function<bool(const ImportedStation& station)>& take) {
  const auto take_row = [&](const auto& row) {
    const std::optional<ImportedStation> station = ReadStation({0, row.Integer(0)}, row, 1);
    return !station || take(*station);
  };
  return std::visit(
      [&](auto* storage) {
        return ForEachRow(storage, std::string("mac, ") + kStationColumns, "access_point",
                          take_row);
      },
      store);
}

bool ForEachCell(const DataStore& store,
                 const std::function<bool(const ImportedStation& station)>& take) {
  const auto take_row = [&](const auto& row) {
    const StationKey key = {row.Integer(0), row.Integer(1)};
    const std::optional<ImportedStation> station = ReadStation(key, row, 2);
    return !station || take(*station);
  };
  return std::visit(
      [&](auto* storage) {
        return ForEachRow(storage, std::string("area, id, ") + kStationColumns,
                          "cell WHERE id >= 0", take_row);
      },
      store);
}

bool ForEachPlace(const DataStore& store,
                  const std::function<bool(std::int64_t id, const Place& place)>& take) {
  const auto take_row = [&](const auto& row) {
    const std::optional<Place> place = ReadPlace(row, 1);
    return !place || take(row.Integer(0), *place);
  };
  if (SqliteStorage* const* const sqlite = std::get_if<SqliteStorage*>(&store)) {
    return ForEachRow(*sqlite, std::string("id, ") + kPlaceColumns, "place ORDER BY id", take_row);
  }
  return ForEachRow(std::get<PostgresStorage*>(store),
                    "id, latitude, longitude, name, region, country", "place ORDER BY id",
                    take_row);
}

bool ForEachAddress(const DataStore& store,
                    const std::function<bool(const Address& address)>& take) {
  const auto take_row = [&](const auto& row) {
    const std::optional<Address> address = ReadAddress(row, 0);
    return !address || take(*address);
  };
  if (SqliteStorage* const* const sqlite = std::get_if<SqliteStorage*>(&store)) {
    return ForEachRow(*sqlite, kAddressColumns, "address", take_row);
  }
  return ForEachRow(
      std::get<PostgresStorage*>(store),
      "latitude, longitude, number, street, unit, city, district, region, postcode, country",
      "address", take_row);
}

}  // namespace kesu_server
