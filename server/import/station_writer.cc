#include "server/import/station_writer.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <span>

#include "server/storage/sqlite_rows.h"

namespace kesu_server {
namespace {

/// A hostile file may have any number of sightings of one station.
constexpr std::size_t kMaxGroup = 10'000;

std::string Insert(const char* verb, const char* table, int parameters) {
  std::string sql = std::string(verb) + " INTO " + table + " VALUES(?1";
  for (int i = 2; i <= parameters; ++i) sql += ", ?" + std::to_string(i);
  return sql + ")";
}

int KeyColumns(const StationKey& key) {
  return key.is_access_point() ? 1 : 2;
}

void BindKey(const StationKey& key, SqliteStatement* statement) {
  if (!key.is_access_point()) statement->Bind(1, key.area);
  statement->Bind(KeyColumns(key), key.id);
}

}  // namespace

StationWriter::StationWriter(SqliteConnection* connection)
    : connection_(connection),
      insert_access_point_(*connection, Insert("INSERT OR IGNORE", "access_point", 9)),
      replace_access_point_(*connection, Insert("REPLACE", "access_point", 9)),
      find_access_point_(*connection, std::string("SELECT ") + kStationColumns +
                                          " FROM access_point WHERE mac = ?1"),
      insert_cell_(*connection, Insert("INSERT OR IGNORE", "cell", 10)),
      replace_cell_(*connection, Insert("REPLACE", "cell", 10)),
      find_cell_(*connection, std::string("SELECT ") + kStationColumns +
                                  " FROM cell WHERE area = ?1 AND id = ?2"),
      cells_of_area_(*connection, std::string("SELECT ") + kStationColumns +
                                      " FROM cell WHERE area = ?1 AND id >= 0") {}

bool StationWriter::Put(const PackedStation& station) {
  if (!group_.empty() && (group_.front().key != station.key || group_.size() >= kMaxGroup) &&
      !Flush()) {
    return false;
  }
  if (station.key.area != area_) {
    if (!WriteArea()) return false;
    area_ = station.key.area;
  }
  group_.push_back(station);
  return true;
}

bool StationWriter::Finish() {
  return (group_.empty() || Flush()) && WriteArea();
}

bool StationWriter::Flush() {
  const bool is_access_point = group_.front().key.is_access_point();
  // Sightings add up; of what a list says of a cell the last word counts.
  const ImportedStation station =
      is_access_point ? MeanOf(group_) : MeanOf(std::span(group_).last(1));
  group_.clear();
  return Write(station, false);
}

bool StationWriter::Write(const ImportedStation& station, bool is_newer_enough) {
  const StationKey& key = station.key;
  const bool is_access_point = key.is_access_point();
  SqliteStatement* const write = is_newer_enough
                                     ? (is_access_point ? &replace_access_point_ : &replace_cell_)
                                     : (is_access_point ? &insert_access_point_ : &insert_cell_);
  BindKey(key, write);
  BindStation(station, KeyColumns(key) + 1, write);
  if (!write->Run()) return false;
  if (is_newer_enough || sqlite3_changes(connection_->handle()) > 0) return true;

  // There is one already.
  SqliteStatement* const find = is_access_point ? &find_access_point_ : &find_cell_;
  BindKey(key, find);
  std::optional<ImportedStation> present;
  if (find->Step()) present = ReadStation(key, *find, 0);
  if (!find->Reset()) return false;
  return Write(present ? Update(*present, station) : station, true);
}

bool StationWriter::WriteArea() {
  if (area_ == 0) return true;
  std::vector<PackedStation> cells;
  cells_of_area_.Bind(1, area_);
  while (cells_of_area_.Step()) {
    const auto cell = ReadStation({area_, kWholeArea}, cells_of_area_, 0);
    if (cell) cells.push_back(Pack({cell->key, cell->position, cell->radius_m, 1, cell->updated}));
  }
  if (!cells_of_area_.Reset()) return false;
  return cells.empty() || Write(MeanOf(cells), true);
}

}  // namespace kesu_server
