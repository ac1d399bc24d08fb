#include "server/storage/demonstration.h"

#include <cstddef>
#include <cstdint>
#include <optional>

#include "server/storage/sqlite_rows.h"
#include "server/storage/sqlite_schema.h"
#include "server/storage/table_reader.h"

namespace kesu_server {
namespace {

enum PlaceColumn {
  kLatitude,
  kLongitude,
  kCountryCodes,
  kCountry,
  kName,
  kZone,
  kPlaceColumnCount
};

/// The columns that say where a station is and how it is received; they end each row.
constexpr std::size_t kModelColumns = 5;
constexpr std::size_t kCellKeyColumns = 4;
constexpr std::size_t kAccessPointKeyColumns = 1;

/// Inserts the station whose position and model start at `column`. The key's parameters are bound.
void InsertStation(TableRow& row, std::size_t column, int parameter, SqliteStatement* insert) {
  ImportedStation station;
  station.position = row.Position(column);
  station.model = {row.Number(column + 2, -100, 100), row.Number(column + 3, 1, 10),
                   row.Number(column + 4, 0, 30)};
  BindStation(station, parameter, insert);
  if (row.error().empty() && !insert->Run()) row.Fail("the station is listed twice");
}

bool LoadCells(const DataFile& cells, SqliteConnection* connection, std::string* error) {
  SqliteStatement insert(*connection,
                         "INSERT INTO cell VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)");
  const auto add = [&](TableRow& row) {
    const std::optional<StationKey> key =
        CellKey({row.Integer(0), row.Integer(1), row.Integer(2), row.Integer(3)});
    if (!key) return row.Fail("no cell can have these numbers");
    insert.Bind(1, key->area);
    insert.Bind(2, key->id);
    InsertStation(row, kCellKeyColumns, 3, &insert);
  };
  return ReadTable(cells, kCellKeyColumns + kModelColumns, add, error);
}

bool LoadAccessPoints(const DataFile& access_points, SqliteConnection* connection,
                      std::string* error) {
  SqliteStatement insert(*connection,
                         "INSERT INTO access_point VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)");
  const auto add = [&](TableRow& row) {
    const std::optional<StationKey> key = AccessPointKey(row.Text(0));
    if (!key) return row.Fail(Quoted(row.Text(0)) + " is no MAC address");
    insert.Bind(1, key->id);
    InsertStation(row, kAccessPointKeyColumns, 2, &insert);
  };
  return ReadTable(access_points, kAccessPointKeyColumns + kModelColumns, add, error);
}

bool LoadPlaces(const DataFile& places, SqliteConnection* connection, std::string* error) {
  SqliteStatement insert(*connection, kInsertPlace);
  std::int64_t id = 0;
  const auto add = [&](TableRow& row) {
    const Place place = {row.Position(kLatitude), row.Text(kName), {}, row.Text(kCountry)};
    BindPlace(++id, place, &insert);
    if (row.error().empty() && !insert.Run()) row.Fail(connection->error());
  };
  return ReadTable(places, kPlaceColumnCount, add, error);
}

}  // namespace

bool LoadDataSet(const DataSet& data, SqliteStorage* storage, std::string* error) {
  SqliteConnection* const connection = storage->connection();
  SqliteTransaction transaction(connection, SqliteTransaction::Kind::kWrite);
  if (!LoadPlaces(data.places, connection, error) || !LoadCells(data.cells, connection, error) ||
      !LoadAccessPoints(data.access_points, connection, error)) {
    return false;
  }
  if (CountRows(connection) && transaction.Commit()) return true;
  *error = connection->error();
  return false;
}

}  // namespace kesu_server
