#include "server/storage/postgres_inquiry.h"

#include <utility>

#include "server/storage/key_match.h"
#include "server/storage/record_columns.h"

namespace kesu_server {
namespace {

constexpr PostgresType kInteger = PostgresType::kInteger;

/// The ids under which something may have been learned of a key.
std::vector<std::int64_t> LearnedIds(const StationKey& key) {
  const IdRange range = RangeOf(key);
  std::vector<std::int64_t> ids;
  for (std::int64_t id = range.first; id <= range.last; ++id) {
    if (MatchOf(key, id) > 0) ids.push_back(id);
  }
  return ids;
}

/// Keeps the one of two that answers better for a key.
template <typename Record>
void KeepBetter(const StationKey& key, std::optional<Record> record, std::optional<Record>* best) {
  if (!record) return;
  const int match = MatchOf(key, record->key.id);
  const int best_match = *best ? MatchOf(key, (*best)->key.id) : 0;
  if (match > best_match ||
      (match == best_match && match > 0 && record->key.id < (*best)->key.id)) {
    *best = std::move(record);
  }
}

/// The entry that a row is for, which counts from 1; null when there is none.
template <typename Entry>
Entry* EntryOf(std::int64_t number, std::vector<Entry>* entries) {
  if (number < 1 || number > static_cast<std::int64_t>(entries->size())) return nullptr;
  return &(*entries)[static_cast<std::size_t>(number) - 1];
}

}  // namespace

PostgresInquiry::PostgresInquiry(Inquiry inquiry) : inquiry_(std::move(inquiry)) {
  PostgresArrays macs({kInteger});
  PostgresArrays cells({kInteger, kInteger, kInteger});
  PostgresArrays learned({kInteger, kInteger, kInteger});
  for (std::size_t i = 0; i < inquiry_.keys.size(); ++i) {
    const StationKey& key = inquiry_.keys[i];
    if (key.is_access_point()) {
      access_points_.push_back(i);
      macs.Bind(1, key.id);
    } else {
      cells_.push_back(i);
      const IdRange range = RangeOf(key);
      cells.Bind(1, key.area);
      cells.Bind(2, range.first);
      cells.Bind(3, range.last);
    }
    for (const std::int64_t id : LearnedIds(key)) {
      learned.Bind(1, key.area);
      learned.Bind(2, id);
      learned.Bind(3, static_cast<std::int64_t>(i) + 1);
    }
  }
  if (!access_points_.empty()) queries_.push_back({&FindAccessPoints(), macs.Take()});
  if (!cells_.empty()) queries_.push_back({&FindCells(), cells.Take()});
  if (!inquiry_.keys.empty()) queries_.push_back({&FindLearned(), learned.Take()});
  if (!inquiry_.points.empty()) {
    PostgresArrays points({PostgresType::kNumber, PostgresType::kNumber});
    for (const LatLng& point : inquiry_.points) {
      points.Bind(1, point.latitude);
      points.Bind(2, point.longitude);
    }
    const PostgresParameters both = points.Take();
    for (const auto& [statement, radius_m] : {std::pair(&NearestAddresses(), kAddressRadiusM),
                                              std::pair(&NearestPlaces(), kPlaceRadiusM)}) {
      PostgresParameters parameters = both;
      parameters.Add(radius_m);
      parameters.Add(std::int64_t{1});
      queries_.push_back({statement, std::move(parameters)});
    }
  }
  Restart();
}

void PostgresInquiry::Restart() {
  imported_.assign(inquiry_.keys.size(), std::nullopt);
  learned_.assign(inquiry_.keys.size(), std::nullopt);
  surroundings_.assign(inquiry_.points.size(), {});
}

void PostgresInquiry::Take(std::size_t query, const PGresult* result) {
  const PostgresStatement* const statement = queries_[query].statement;
  for (int i = 0; i < PQntuples(result); ++i) TakeRow(statement, PostgresRow(result, i));
}

void PostgresInquiry::TakeRow(const PostgresStatement* statement, const PostgresRow& row) {
  if (statement == &FindAccessPoints()) return TakeAccessPoint(row);
  if (statement == &FindCells()) return TakeCell(row);
  if (statement == &FindLearned()) return TakeLearned(row);
  const LatLng* const point = EntryOf(row.Integer(0), &inquiry_.points);
  if (point == nullptr) return;
  Surroundings& around = *EntryOf(row.Integer(0), &surroundings_);
  if (statement == &NearestAddresses()) {
    auto address = ReadAddress(row, 1);
    if (!address) return;
    const double distance_m = DistanceM(*point, address->position);
    around.address = NearbyAddress{*std::move(address), distance_m};
  } else {
    auto place = ReadPlace(row, 1);
    if (!place) return;
    const double distance_m = DistanceM(*point, place->position);
    around.place = NearbyPlace{*std::move(place), distance_m};
  }
}

void PostgresInquiry::TakeAccessPoint(const PostgresRow& row) {
  const std::size_t* const index = EntryOf(row.Integer(0), &access_points_);
  if (index != nullptr) imported_[*index] = ReadStation(inquiry_.keys[*index], row, 1);
}

void PostgresInquiry::TakeCell(const PostgresRow& row) {
  const std::size_t* const index = EntryOf(row.Integer(0), &cells_);
  if (index == nullptr) return;
  const StationKey& key = inquiry_.keys[*index];
  KeepBetter(key, ReadStation({key.area, row.Integer(1)}, row, 2), &imported_[*index]);
}

void PostgresInquiry::TakeLearned(const PostgresRow& row) {
  std::optional<LearnedStation>* const best =
      EntryOf(row.Integer(kNumberOfLearnedColumns), &learned_);
  if (best == nullptr) return;
  const auto index = static_cast<std::size_t>(best - learned_.data());
  KeepBetter(inquiry_.keys[index], ReadLearned(row), best);
}

Findings PostgresInquiry::Finish(std::int64_t time) {
  Findings findings;
  findings.stations.reserve(imported_.size());
  for (std::size_t i = 0; i < imported_.size(); ++i) {
    findings.stations.push_back(Combine(imported_[i], learned_[i], time));
  }
  findings.surroundings = std::move(surroundings_);
  return findings;
}

}  // namespace kesu_server
