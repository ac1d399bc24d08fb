#include "server/storage/postgres_storage.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "server/storage/postgres_inquiry.h"
#include "server/storage/postgres_schema.h"
#include "server/storage/record_columns.h"

namespace kesu_server {
namespace {

constexpr PostgresType kInteger = PostgresType::kInteger;
constexpr PostgresType kNumber = PostgresType::kNumber;

PostgresTarget::Purpose PurposeOf(PostgresStorage::Mode mode) {
  return mode == PostgresStorage::Mode::kRead ? PostgresTarget::Purpose::kRead
                                              : PostgresTarget::Purpose::kWrite;
}

PostgresParameters KeyArrays(std::span<const StationKey> keys) {
  PostgresArrays arrays({kInteger, kInteger});
  for (const StationKey& key : keys) {
    arrays.Bind(1, key.area);
    arrays.Bind(2, key.id);
  }
  return arrays.Take();
}

std::map<StationKey, LearnedStation> ReadAllLearned(const PGresult* rows) {
  std::map<StationKey, LearnedStation> all;
  for (int i = 0; i < PQntuples(rows); ++i) {
    if (const auto station = ReadLearned(PostgresRow(rows, i))) all.emplace(station->key, *station);
  }
  return all;
}

template <typename Nearby, typename Read>
bool FindNearest(const LatLng& point, int count, double radius_m,
                 const PostgresStatement& statement, PostgresConnection* connection, Read read,
                 std::vector<Nearby>* found) {
  found->clear();
  PostgresArrays arrays({kNumber, kNumber});
  arrays.Bind(1, point.latitude);
  arrays.Bind(2, point.longitude);
  PostgresParameters parameters = arrays.Take();
  parameters.Add(radius_m);
  parameters.Add(std::int64_t{count});
  if (!connection->Open()) return false;
  const PostgresResult rows = connection->Run(statement, parameters);
  if (!rows) return false;
  for (int i = 0; i < PQntuples(rows.get()); ++i) {
    if (auto what = read(PostgresRow(rows.get(), i), 1)) {
      const double distance_m = DistanceM(point, what->position);
      found->push_back({*std::move(what), distance_m});
    }
  }
  std::stable_sort(found->begin(), found->end(),
                   [](const Nearby& a, const Nearby& b) { return a.distance_m < b.distance_m; });
  return true;
}

}  // namespace

std::unique_ptr<PostgresStorage> PostgresStorage::Open(const std::string& url, Mode mode,
                                                       int time_limit_s, std::string* error,
                                                       Clock clock) {
  std::optional<PostgresTarget> target = PostgresTarget::Parse(url, PurposeOf(mode), error);
  if (!target) return nullptr;
  const std::string settings =
      "SET search_path = ''; SET statement_timeout = '" + std::to_string(time_limit_s) + "s'";
  std::unique_ptr<PostgresStorage> storage(
      new PostgresStorage(*std::move(target), settings, std::move(clock)));
  if (!storage->connection_.Open() || (mode == Mode::kCreate && !storage->CreateSchema())) {
    *error = storage->error();
    return nullptr;
  }
  return storage->CheckSchema(error) ? std::move(storage) : nullptr;
}

bool PostgresStorage::CreateSchema() {
  PostgresTransaction transaction(&connection_);
  if (!transaction.has_begun() || !connection_.Execute(kLockForImport)) return false;
  const PostgresResult found =
      connection_.Query("SELECT 1 FROM pg_catalog.pg_namespace WHERE nspname = 'kesu'");
  if (!found) return false;
  return (PQntuples(found.get()) > 0 || connection_.Execute(PostgresSchemaText())) &&
         transaction.Commit();
}

bool PostgresStorage::CheckSchema(std::string* error) {
  const std::string place = std::string(PQdb(connection_.handle())) + ": ";
  const PostgresResult found =
      connection_.Query("SELECT value FROM kesu.meta WHERE name = 'version'");
  if (!found) {
    *error = place + this->error();
    return false;
  }
  const std::int64_t version =
      PQntuples(found.get()) > 0 ? PostgresRow(found.get(), 0).Integer(0) : 0;
  if (version == kPostgresSchemaVersion) return true;
  *error = place + "has version " + std::to_string(version) + " of the tables, and only " +
           std::to_string(kPostgresSchemaVersion) + " is known here";
  return false;
}

bool PostgresStorage::FindStations(std::span<const StationKey> keys,
                                   std::vector<std::optional<Station>>* stations) {
  PostgresInquiry inquiry({{keys.begin(), keys.end()}, {}});
  if (!connection_.Open()) return false;
  for (std::size_t i = 0; i < inquiry.queries().size(); ++i) {
    const PostgresInquiry::Query& query = inquiry.queries()[i];
    const PostgresResult rows = connection_.Run(*query.statement, query.parameters);
    if (!rows) return false;
    inquiry.Take(i, rows.get());
  }
  *stations = inquiry.Finish(clock_()).stations;
  return true;
}

bool PostgresStorage::NearestPlaces(const LatLng& point, int count, double radius_m,
                                    std::vector<NearbyPlace>* places) {
  return FindNearest(point, count, radius_m, kesu_server::NearestPlaces(), &connection_,
                     ReadPlace<PostgresRow>, places);
}

bool PostgresStorage::NearestAddresses(const LatLng& point, int count, double radius_m,
                                       std::vector<NearbyAddress>* addresses) {
  return FindNearest(point, count, radius_m, kesu_server::NearestAddresses(), &connection_,
                     ReadAddress<PostgresRow>, addresses);
}

bool PostgresStorage::LoadLearned(std::span<const StationKey> keys,
                                  std::vector<std::optional<LearnedStation>>* stations) {
  if (!connection_.Open()) return false;
  const PostgresResult rows =
      connection_.Query(std::string("SELECT ") + kLearnedColumns +
                            " FROM unnest($1::bigint[], $2::bigint[]) k(area, id)"
                            " JOIN kesu.learned USING (area, id)",
                        KeyArrays(keys));
  if (!rows) return false;
  const std::map<StationKey, LearnedStation> found = ReadAllLearned(rows.get());
  stations->assign(keys.size(), std::nullopt);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const auto station = found.find(keys[i]);
    if (station != found.end()) (*stations)[i] = station->second;
  }
  return true;
}

bool PostgresStorage::Store(std::span<const LearnedStation> stations) {
  PostgresArrays arrays({kInteger, kInteger, kNumber, kNumber, kNumber, kNumber, kNumber, kNumber,
                         kNumber, kNumber, kInteger, kInteger, kInteger, kInteger});
  for (const LearnedStation& station : stations) BindLearned(station, &arrays);
  return connection_.Run(kesu_server::StoreLearned(), arrays.Take()) != nullptr;
}

bool PostgresStorage::StoreLearned(std::span<const LearnedStation> stations) {
  PostgresTransaction transaction(&connection_);
  return transaction.has_begun() && Store(stations) && transaction.Commit();
}

bool PostgresStorage::Learn(std::span<const StationKey> keys, const Update& update) {
  PostgresTransaction transaction(&connection_);
  if (!transaction.has_begun()) return false;
  const PostgresParameters arrays = KeyArrays(keys);
  if (!connection_.Run(MakeLearned(), arrays)) return false;
  const PostgresResult rows = connection_.Run(LockLearned(), arrays);
  if (!rows) return false;
  const std::map<StationKey, LearnedStation> found = ReadAllLearned(rows.get());
  std::vector<LearnedStation> stations(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const auto station = found.find(keys[i]);
    if (station != found.end()) stations[i] = station->second;
    stations[i].key = keys[i];
  }
  update(&stations);
  return Store(std::move(stations)) && transaction.Commit();
}

std::optional<StorageCounts> PostgresStorage::Counts() {
  if (!connection_.Open()) return std::nullopt;
  const PostgresResult rows = connection_.Query(
      "SELECT name, value FROM kesu.meta UNION ALL SELECT 'learned', CASE"
      // Counting a great many takes long, and nobody needs it to the last one.
      " WHEN sum(reltuples) < 1e6 THEN (SELECT count(*) FROM kesu.learned)"
      " ELSE sum(reltuples)::bigint END FROM pg_catalog.pg_inherits JOIN pg_catalog.pg_class c"
      " ON c.oid = inhrelid WHERE inhparent = 'kesu.learned'::regclass");
  if (!rows) return std::nullopt;
  StorageCounts counts;
  const std::pair<const char*, std::int64_t*> all[] = {
      {"data_version", &counts.data_version},
      {"access_points", &counts.access_points},
      {"cells", &counts.cells},
      {"places", &counts.places},
      {"addresses", &counts.addresses},
      {"learned", &counts.learned_stations},
  };
  for (int i = 0; i < PQntuples(rows.get()); ++i) {
    const PostgresRow row(rows.get(), i);
    for (const auto& [name, count] : all) {
      if (row.Text(0) == name) *count = row.Integer(1);
    }
    if (row.Text(0) == "invented") counts.has_invented_data = row.Integer(1) != 0;
  }
  return counts;
}

}  // namespace kesu_server
