#include "server/storage/sqlite_storage.h"

#include <cstddef>
#include <utility>

#include "server/storage/key_match.h"
#include "server/storage/nearest_query.h"
#include "server/storage/sqlite_rows.h"
#include "server/storage/sqlite_schema.h"

namespace kesu_server {
namespace {

/// Runs a query for the area ?1 and ids from ?2 to ?3. Leaves the row that answers best, read by
/// `read`, in `best`; false when the query fails.
template <typename Record, typename Read>
bool FindBest(const StationKey& key, const IdRange& range, int id_column, SqliteStatement* query,
              Read read, std::optional<Record>* best) {
  query->Bind(1, key.area);
  query->Bind(2, range.first);
  query->Bind(3, range.last);
  int best_match = 0;
  while (best_match < kExactMatch && query->Step()) {
    const std::int64_t id = query->Integer(id_column);
    const int match = MatchOf(key, id);
    if (match <= best_match) continue;
    best_match = match;
    *best = read(StationKey{key.area, id}, *query);
  }
  return query->Reset();
}

/// The rows of a query for what is near a point, and their distances from it.
template <typename Nearby, typename Read>
bool FindNearest(const LatLng& point, int count, double radius_m, SqliteStatement* query, Read read,
                 std::vector<Nearby>* found) {
  found->clear();
  query->Bind(1, point.latitude);
  query->Bind(2, point.longitude);
  query->Bind(3, radius_m);
  query->Bind(4, std::int64_t{count});
  while (query->Step()) {
    if (auto what = read(*query, 0)) {
      const double distance_m = DistanceM(point, what->position);
      found->push_back({*std::move(what), distance_m});
    }
  }
  return query->Reset();
}

std::string SelectNearest(const char* columns, const char* table) {
  return std::string("SELECT ") + columns + " FROM " + table +
         " WHERE id MATCH nearest(?1, ?2, ?3) LIMIT ?4";
}

}  // namespace

struct SqliteStorage::Statements {
  explicit Statements(const SqliteConnection& connection)
      : access_point(connection, std::string("SELECT ") + kStationColumns +
                                     " FROM access_point WHERE mac = ?1"),
        cell(connection, std::string("SELECT id, ") + kStationColumns +
                             " FROM cell WHERE area = ?1 AND id BETWEEN ?2 AND ?3"),
        has_learned(connection, "SELECT 1 FROM learned LIMIT 1"),
        learned(connection, std::string("SELECT ") + kLearnedColumns +
                                " FROM learned WHERE area = ?1 AND id BETWEEN ?2 AND ?3"),
        store(connection,
              "INSERT OR REPLACE INTO learned VALUES"
              "(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14)"),
        places(connection, SelectNearest(kPlaceColumns, "place")),
        addresses(connection, SelectNearest(kAddressColumns, "address")) {}

  /// Of the first that could not be compiled.
  std::string CompileError() const {
    for (const SqliteStatement* statement :
         {&access_point, &cell, &has_learned, &learned, &store, &places, &addresses}) {
      if (!statement->compile_error().empty()) return statement->compile_error();
    }
    return {};
  }

  bool FindImported(const StationKey& key, std::optional<ImportedStation>* station) {
    if (key.is_access_point()) {
      access_point.Bind(1, key.id);
      if (access_point.Step()) *station = ReadStation(key, access_point, 0);
      return access_point.Reset();
    }
    const auto read = [](const StationKey& found, const SqliteStatement& row) {
      return ReadStation(found, row, 1);
    };
    return FindBest(key, RangeOf(key), 0, &cell, read, station);
  }

  bool FindLearned(const StationKey& key, const IdRange& range,
                   std::optional<LearnedStation>* station) {
    const auto read = [](const StationKey&, const SqliteStatement& row) {
      return ReadLearned(row);
    };
    return FindBest(key, range, 1, &learned, read, station);
  }

  SqliteStatement access_point;
  SqliteStatement cell;
  SqliteStatement has_learned;
  SqliteStatement learned;
  SqliteStatement store;
  SqliteStatement places;
  SqliteStatement addresses;
};

std::unique_ptr<SqliteStorage> SqliteStorage::Open(const std::string& path, Mode mode,
                                                   std::string* error, Clock clock) {
  std::unique_ptr<SqliteStorage> storage(new SqliteStorage(std::move(clock)));
  SqliteConnection* const connection = &storage->connection_;
  if (!connection->Open(path, mode)) {
    *error = connection->error();
    return nullptr;
  }
  if (mode == Mode::kCreate && IsEmptyDatabase(connection) && !CreateSchema(connection)) {
    *error = connection->error();
    return nullptr;
  }
  if (!CheckSchema(connection, path, error)) return nullptr;
  if (!storage->Prepare()) {
    *error = storage->error_;
    return nullptr;
  }
  return storage;
}

SqliteStorage::SqliteStorage(Clock clock) : clock_(std::move(clock)) {}

SqliteStorage::~SqliteStorage() = default;

bool SqliteStorage::Prepare() {
  if (!AddNearestQuery(&connection_)) return Fail();
  statements_ = std::make_unique<Statements>(connection_);
  error_ = statements_->CompileError();
  return error_.empty();
}

bool SqliteStorage::Fail() {
  error_ = connection_.error();
  return false;
}

bool SqliteStorage::FindStations(std::span<const StationKey> keys,
                                 std::vector<std::optional<Station>>* stations) {
  stations->assign(keys.size(), std::nullopt);
  // One view of the data for all of them, and one lock.
  SqliteTransaction transaction(&connection_, SqliteTransaction::Kind::kRead);
  if (!transaction.has_begun()) return Fail();
  const bool has_learned = statements_->has_learned.Step();
  if (!statements_->has_learned.Reset()) return Fail();

  const std::int64_t now = clock_();
  for (std::size_t i = 0; i < keys.size(); ++i) {
    std::optional<ImportedStation> imported;
    std::optional<LearnedStation> learned;
    if (!statements_->FindImported(keys[i], &imported) ||
        (has_learned && !statements_->FindLearned(keys[i], RangeOf(keys[i]), &learned))) {
      return Fail();
    }
    (*stations)[i] = Combine(imported, learned, now);
  }
  return transaction.Commit() || Fail();
}

bool SqliteStorage::NearestPlaces(const LatLng& point, int count, double radius_m,
                                  std::vector<NearbyPlace>* places) {
  return FindNearest(point, count, radius_m, &statements_->places, ReadPlace<SqliteStatement>,
                     places) ||
         Fail();
}

bool SqliteStorage::NearestAddresses(const LatLng& point, int count, double radius_m,
                                     std::vector<NearbyAddress>* addresses) {
  return FindNearest(point, count, radius_m, &statements_->addresses, ReadAddress<SqliteStatement>,
                     addresses) ||
         Fail();
}

bool SqliteStorage::LoadEach(std::span<const StationKey> keys,
                             std::vector<std::optional<LearnedStation>>* stations) {
  stations->assign(keys.size(), std::nullopt);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const IdRange only = {keys[i].id, keys[i].id};
    if (!statements_->FindLearned(keys[i], only, &(*stations)[i])) return Fail();
  }
  return true;
}

bool SqliteStorage::StoreEach(std::span<const LearnedStation> stations) {
  for (const LearnedStation& station : stations) {
    BindLearned(station, &statements_->store);
    if (!statements_->store.Run()) return Fail();
  }
  return true;
}

bool SqliteStorage::LoadLearned(std::span<const StationKey> keys,
                                std::vector<std::optional<LearnedStation>>* stations) {
  SqliteTransaction transaction(&connection_, SqliteTransaction::Kind::kRead);
  if (!transaction.has_begun()) return Fail();
  return LoadEach(keys, stations) && (transaction.Commit() || Fail());
}

bool SqliteStorage::StoreLearned(std::span<const LearnedStation> stations) {
  SqliteTransaction transaction(&connection_, SqliteTransaction::Kind::kWrite);
  if (!transaction.has_begun()) return Fail();
  return StoreEach(stations) && (transaction.Commit() || Fail());
}

bool SqliteStorage::Learn(std::span<const StationKey> keys, const Update& update) {
  SqliteTransaction transaction(&connection_, SqliteTransaction::Kind::kWrite);
  if (!transaction.has_begun()) return Fail();
  std::vector<std::optional<LearnedStation>> found;
  if (!LoadEach(keys, &found)) return false;
  std::vector<LearnedStation> stations(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (found[i]) stations[i] = *found[i];
    stations[i].key = keys[i];
  }
  update(&stations);
  return StoreEach(stations) && (transaction.Commit() || Fail());
}

std::optional<StorageCounts> SqliteStorage::Counts() {
  StorageCounts counts;
  SqliteStatement meta(connection_, "SELECT name, value FROM meta");
  while (meta.Step()) {
    const std::string name = meta.Text(0);
    const std::int64_t value = meta.Integer(1);
    if (name == "data_version") counts.data_version = value;
    if (name == "access_points") counts.access_points = value;
    if (name == "cells") counts.cells = value;
    if (name == "places") counts.places = value;
    if (name == "addresses") counts.addresses = value;
    if (name == "invented") counts.has_invented_data = value != 0;
  }
  const std::optional<std::int64_t> learned = connection_.Integer("SELECT count(*) FROM learned");
  if (!meta.Reset() || !learned) {
    Fail();
    return std::nullopt;
  }
  counts.learned_stations = *learned;
  return counts;
}

}  // namespace kesu_server
