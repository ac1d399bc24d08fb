#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "server/import/data_store.h"
#include "server/storage/postgres_schema.h"
#include "server/storage/record_columns.h"

namespace kesu_server {
namespace {

constexpr PostgresType kInteger = PostgresType::kInteger;
constexpr PostgresType kText = PostgresType::kText;

/// So many rows go over at a time.
constexpr std::size_t kBatch = 5000;
/// An area has up to some ten thousand cells.
constexpr std::size_t kAreas = 100;
/// A hostile file may have any number of sightings of one station.
constexpr std::size_t kMaxGroup = 10'000;

/// The arrays that BindStation() fills behind those of the key.
std::vector<PostgresType> StationTypes(int key_columns) {
  return std::vector<PostgresType>(static_cast<std::size_t>(key_columns + kNumberOfStationColumns),
                                   kInteger);
}

/// Takes rows of integers, some as narrower ones, and of texts, in place of those that are there.
std::string Upsert(const std::string& table, const std::string& key, const std::string& columns,
                   const std::vector<PostgresType>& types) {
  std::string arrays;
  for (std::size_t i = 1; i <= types.size(); ++i) {
    arrays += (i > 1 ? ", $" : "$") + std::to_string(i) +
              (types[i - 1] == kText ? "::text[]" : "::bigint[]");
  }
  return "INSERT INTO kesu." + table + " SELECT * FROM unnest(" + arrays + ") ON CONFLICT (" + key +
         ") DO UPDATE SET " + TakeExcluded(columns);
}

/// Rows of one table that have not gone over yet.
class Batch {
 public:
  Batch(const char* name, const std::string& table, const std::string& key,
        const std::string& columns, const std::vector<PostgresType>& types)
      : statement_{name, Upsert(table, key, columns, types)}, arrays_(types) {}

  PostgresArrays* arrays() { return &arrays_; }
  bool Flush(PostgresConnection* connection) {
    return arrays_.is_empty() || connection->Run(statement_, arrays_.Take()) != nullptr;
  }

 private:
  PostgresStatement statement_;
  PostgresArrays arrays_;
};

class PostgresFilling final : public Filling {
 public:
  explicit PostgresFilling(PostgresConnection* connection)
      : connection_(connection),
        transaction_(connection),
        access_points_("fill_access_points", "access_point", "mac", kStationColumns,
                       StationTypes(1)),
        cells_("fill_cells", "cell", "area, id", kStationColumns, StationTypes(2)),
        places_("fill_places", "place", "id", "latitude, longitude, name, region, country",
                {kInteger, kInteger, kInteger, kText, kText, kText}),
        addresses_(
            "fill_addresses", "address", "id",
            "latitude, longitude, number, street, unit, city, district, region, postcode, country",
            {kInteger, kInteger, kInteger, kText, kText, kText, kText, kText, kText, kText,
             kText}) {}

  bool Begin() { return transaction_.has_begun() && connection_->Execute(kLockForImport); }

  bool Put(const PackedStation& station) override {
    if (!group_.empty() && (group_.front().key != station.key || group_.size() >= kMaxGroup) &&
        !EndGroup()) {
      return false;
    }
    group_.push_back(station);
    return true;
  }

  bool PutPlace(std::int64_t id, const Place& place) override {
    // One statement must not change a row twice.
    waiting_places_.insert_or_assign(id, place);
    return waiting_places_.size() < kBatch || FlushPlaces();
  }
  bool PutAddress(std::int64_t id, const Address& address) override {
    waiting_addresses_.insert_or_assign(id, address);
    return waiting_addresses_.size() < kBatch || FlushPlaces();
  }

  bool MarkInvented() override {
    return connection_->Execute("UPDATE kesu.meta SET value = 1 WHERE name = 'invented'");
  }

  bool Commit() override {
    return (group_.empty() || EndGroup()) && FlushStations() && FlushAreas() && FlushPlaces() &&
           connection_->Execute(PostgresCountRows()) && transaction_.Commit();
  }

 private:
  bool EndGroup() {
    const StationKey key = group_.front().key;
    // Sightings add up; of what a list says of a cell the last word counts.
    const ImportedStation station =
        key.is_access_point() ? MeanOf(group_) : MeanOf(std::span(group_).last(1));
    group_.clear();
    if (!stations_.empty() && stations_.back().key == key) {
      stations_.back() = Update(stations_.back(), station);
      return true;
    }
    if (stations_.size() >= kBatch && !FlushStations()) return false;
    stations_.push_back(station);
    return true;
  }

  bool FlushStations() {
    std::map<StationKey, ImportedStation> present;
    if (!FindPresent(&present)) return false;
    for (const ImportedStation& station : stations_) {
      const auto found = present.find(station.key);
      Bind(found == present.end() ? station : Update(found->second, station));
    }
    if (!access_points_.Flush(connection_) || !cells_.Flush(connection_)) return false;
    const std::int64_t last_area = stations_.empty() ? 0 : stations_.back().key.area;
    stations_.clear();
    // That of the last one may go on.
    const bool is_open = !areas_.empty() && areas_.back() == last_area;
    if (areas_.size() <= kAreas) return true;
    if (is_open) areas_.pop_back();
    if (!FlushAreas()) return false;
    if (is_open) areas_.push_back(last_area);
    return true;
  }

  void Bind(ImportedStation station) {
    constexpr std::int64_t kMostSamples = 1'000'000'000;
    station.samples = std::min(station.samples, kMostSamples);
    const StationKey& key = station.key;
    if (key.is_access_point()) {
      access_points_.arrays()->Bind(1, key.id);
      return BindStation(station, 2, access_points_.arrays());
    }
    cells_.arrays()->Bind(1, key.area);
    cells_.arrays()->Bind(2, key.id);
    BindStation(station, 3, cells_.arrays());
    if (key.id != kWholeArea && (areas_.empty() || areas_.back() != key.area)) {
      areas_.push_back(key.area);
    }
  }

  bool FindPresent(std::map<StationKey, ImportedStation>* present) {
    PostgresArrays macs({kInteger});
    PostgresArrays keys({kInteger, kInteger});
    for (const ImportedStation& station : stations_) {
      if (station.key.is_access_point()) {
        macs.Bind(1, station.key.id);
      } else {
        keys.Bind(1, station.key.area);
        keys.Bind(2, station.key.id);
      }
    }
    static const PostgresStatement kAccessPoints = {
        "present_access_points", std::string("SELECT 0::bigint, mac, ") + kStationColumns +
                                     " FROM unnest($1::bigint[]) k(mac)"
                                     " JOIN kesu.access_point USING (mac)"};
    static const PostgresStatement kCells = {
        "present_cells", std::string("SELECT area, id, ") + kStationColumns +
                             " FROM unnest($1::bigint[], $2::bigint[]) k(area, id)"
                             " JOIN kesu.cell USING (area, id)"};
    return (macs.is_empty() || TakePresent(kAccessPoints, macs.Take(), present)) &&
           (keys.is_empty() || TakePresent(kCells, keys.Take(), present));
  }

  bool TakePresent(const PostgresStatement& statement, const PostgresParameters& parameters,
                   std::map<StationKey, ImportedStation>* present) {
    const PostgresResult rows = connection_->Run(statement, parameters);
    for (int i = 0; rows && i < PQntuples(rows.get()); ++i) {
      const PostgresRow row(rows.get(), i);
      const StationKey key = {row.Integer(0), row.Integer(1)};
      if (const auto station = ReadStation(key, row, 2)) present->emplace(key, *station);
    }
    return rows != nullptr;
  }

  /// Computes the areas anew whose cells have changed.
  bool FlushAreas() {
    static const PostgresStatement kCells = {
        "cells_of_areas", std::string("SELECT area, ") + kStationColumns +
                              " FROM unnest($1::bigint[]) k(area) JOIN kesu.cell USING (area)"
                              " WHERE id >= 0"};
    for (std::size_t begin = 0; begin < areas_.size(); begin += kAreas) {
      PostgresArrays arrays({kInteger});
      const std::size_t end = std::min(begin + kAreas, areas_.size());
      for (std::size_t i = begin; i < end; ++i) arrays.Bind(1, areas_[i]);
      const PostgresResult rows = connection_->Run(kCells, arrays.Take());
      if (!rows) return false;
      std::map<std::int64_t, std::vector<PackedStation>> cells;
      for (int i = 0; i < PQntuples(rows.get()); ++i) {
        const PostgresRow row(rows.get(), i);
        const auto cell = ReadStation({row.Integer(0), kWholeArea}, row, 1);
        if (!cell) continue;
        cells[cell->key.area].push_back(
            Pack({cell->key, cell->position, cell->radius_m, 1, cell->updated}));
      }
      for (const auto& [area, of_area] : cells) Bind(MeanOf(of_area));
      if (!cells_.Flush(connection_)) return false;
    }
    areas_.clear();
    return true;
  }

  bool FlushPlaces() {
    for (const auto& [id, place] : waiting_places_) BindPlace(id, place, places_.arrays());
    for (const auto& [id, address] : waiting_addresses_) {
      BindAddress(id, address, addresses_.arrays());
    }
    waiting_places_.clear();
    waiting_addresses_.clear();
    return places_.Flush(connection_) && addresses_.Flush(connection_);
  }

  PostgresConnection* connection_;
  PostgresTransaction transaction_;
  Batch access_points_;
  Batch cells_;
  Batch places_;
  Batch addresses_;
  std::vector<PackedStation> group_;
  /// Each once, in the order of their keys.
  std::vector<ImportedStation> stations_;
  std::vector<std::int64_t> areas_;
  std::map<std::int64_t, Place> waiting_places_;
  std::map<std::int64_t, Address> waiting_addresses_;
};

}  // namespace

std::unique_ptr<Filling> BeginPostgresFilling(PostgresConnection* connection) {
  auto filling = std::make_unique<PostgresFilling>(connection);
  if (!filling->Begin()) return nullptr;
  return filling;
}

}  // namespace kesu_server
