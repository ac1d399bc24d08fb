#include "server/storage/station_index.h"

#include <cstddef>

#include "server/storage/table_reader.h"

namespace kesu_server {
namespace {

constexpr double kCellSensitivityDbm = -110;
constexpr double kAccessPointSensitivityDbm = -90;

/// The columns that say where a station is and how it is received; they end each row.
constexpr std::size_t kModelColumns = 5;
constexpr std::size_t kCellKeyColumns = 4;
constexpr std::size_t kAccessPointKeyColumns = 1;

constexpr char kSchema[] =
    "CREATE TABLE station(key TEXT PRIMARY KEY, latitude REAL, longitude REAL, power REAL,"
    "                     exponent REAL, shadowing REAL, sensitivity REAL) WITHOUT ROWID;";
constexpr char kInsert[] = "INSERT INTO station VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)";
constexpr char kFind[] =
    "SELECT latitude, longitude, power, exponent, shadowing, sensitivity FROM station"
    " WHERE key = ?1";

/// Reads the model, which starts at `column`, and inserts the station. The limits keep every
/// distance of the model finite.
void InsertStation(TableRow& row, const std::string& key, std::size_t column,
                   double sensitivity_dbm, SqliteStatement* insert) {
  const LatLng position = row.Position(column);
  insert->Bind(1, key);
  insert->Bind(2, position.latitude);
  insert->Bind(3, position.longitude);
  insert->Bind(4, row.Number(column + 2, -100, 100));
  insert->Bind(5, row.Number(column + 3, 1, 10));
  insert->Bind(6, row.Number(column + 4, 0, 30));
  insert->Bind(7, sensitivity_dbm);
  if (row.error().empty() && !insert->Run()) row.Fail("the station is listed twice");
}

}  // namespace

std::string CellKey(int mcc, int mnc, int area_code, int cell_id) {
  return "cell " + std::to_string(mcc) + " " + std::to_string(mnc) + " " +
         std::to_string(area_code) + " " + std::to_string(cell_id);
}

std::string AccessPointKey(std::string_view mac_address) {
  constexpr std::size_t kDigits = 12;
  std::string digits;
  for (const char c : mac_address) {
    if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')) {
      digits += c;
    } else if (c >= 'A' && c <= 'F') {
      digits += static_cast<char>(c - 'A' + 'a');
    } else if (c != '-' && c != ':' && c != '.') {
      return {};
    }
    if (digits.size() > kDigits) return {};
  }
  return digits.size() == kDigits ? "wifi " + digits : std::string();
}

bool StationIndex::Load(const DataFile& cells, const DataFile& access_points, std::string* error) {
  if (!database_.Execute(kSchema)) {
    *error = database_.error();
    return false;
  }
  SqliteStatement insert(database_, kInsert);
  const auto add_cell = [&](TableRow& row) {
    const std::string key = CellKey(row.Integer(0), row.Integer(1), row.Integer(2), row.Integer(3));
    InsertStation(row, key, kCellKeyColumns, kCellSensitivityDbm, &insert);
  };
  const auto add_access_point = [&](TableRow& row) {
    const std::string key = AccessPointKey(row.Text(0));
    if (key.empty()) row.Fail(Quoted(row.Text(0)) + " is no MAC address");
    InsertStation(row, key, kAccessPointKeyColumns, kAccessPointSensitivityDbm, &insert);
  };
  if (!ReadTable(cells, kCellKeyColumns + kModelColumns, add_cell, error) ||
      !ReadTable(access_points, kAccessPointKeyColumns + kModelColumns, add_access_point, error)) {
    return false;
  }
  find_.emplace(database_, kFind);
  return true;
}

std::optional<Station> StationIndex::Find(const std::string& key) {
  std::optional<Station> station;
  find_->Bind(1, key);
  if (find_->Step()) {
    station = Station{{find_->Number(0), find_->Number(1)},
                      {find_->Number(2), find_->Number(3), find_->Number(4)},
                      find_->Number(5)};
  }
  find_->Reset();
  return station;
}

}  // namespace kesu_server
