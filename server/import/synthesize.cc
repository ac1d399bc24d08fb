#include "server/import/synthesize.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <numbers>
#include <optional>
#include <random>
#include <vector>

#include "server/import/packed_station.h"
#include "server/storage/data_set.h"
#include "server/storage/demonstration.h"

namespace kesu_server {
namespace {

constexpr std::int64_t kFirstMac = 0x00005E800000;
constexpr std::int64_t kCellsPerArea = 200;
constexpr double kMetresPerDegree = 111'195;

std::vector<LatLng> PlacesOf(const DataStore& store) {
  std::vector<LatLng> places;
  ForEachPlace(store, [&](std::int64_t, const Place& place) {
    places.push_back(place.position);
    return true;
  });
  return places;
}

/// The generator's numbers are the same everywhere, those of the standard's distributions are not.
class Chance {
 public:
  explicit Chance(std::uint64_t seed) : generator_(seed) {}

  double Between(double low, double high) {
    constexpr double kSteps = 0x1p53;
    return low + (high - low) * (static_cast<double>(generator_() >> 11) / kSteps);
  }
  /// A point of the disc, all of its areas being equally likely.
  LatLng Near(const LatLng& centre, double radius_m) {
    const double distance = radius_m * std::sqrt(Between(0, 1)) / kMetresPerDegree;
    const double angle = Between(0, 2 * std::numbers::pi);
    const double cosine = std::max(0.01, std::cos(centre.latitude * std::numbers::pi / 180));
    LatLng point = {std::clamp(centre.latitude + distance * std::cos(angle), -90.0, 90.0),
                    centre.longitude + distance * std::sin(angle) / cosine};
    if (point.longitude > 180) point.longitude -= 360;
    if (point.longitude < -180) point.longitude += 360;
    return point;
  }

 private:
  std::mt19937_64 generator_;
};

/// Towns grow with what lives in them: a disc in which stations are as dense as in a town.
double TownRadiusM(std::int64_t stations_per_place, double metres_between) {
  return std::max(1'000.0, metres_between * std::sqrt(static_cast<double>(stations_per_place)));
}

}  // namespace

bool Synthesize(std::int64_t stations, std::uint64_t seed, const DataStore& store,
                std::string* error) {
  std::vector<LatLng> places = PlacesOf(store);
  if (places.empty()) {
    auto built_in = SqliteStorage::Open(":memory:", SqliteStorage::Mode::kCreate, error);
    if (!built_in || !LoadDataSet(BuiltInData(), built_in.get(), error)) return false;
    places = PlacesOf(built_in.get());
  }
  const auto number_of_places = static_cast<std::int64_t>(places.size());
  const std::int64_t access_points = std::min(stations * 3 / 4, kMostInventedAccessPoints);
  const std::int64_t cells = stations - access_points;

  Chance chance(seed);
  const auto place_of = [&](std::int64_t index, std::int64_t count) {
    return places[static_cast<std::size_t>(index * number_of_places / count)];
  };
  const std::unique_ptr<Filling> filling = BeginFilling(store);
  bool is_good = filling != nullptr;
  const double access_point_spread_m = TownRadiusM(access_points / number_of_places, 20);
  for (std::int64_t i = 0; is_good && i < access_points; ++i) {
    StationRecord record;
    record.key = {0, kFirstMac + i};
    record.position = chance.Near(place_of(i, access_points), access_point_spread_m);
    record.radius_m = chance.Between(50, 150);
    is_good = filling->Put(Pack(record));
  }
  const double cell_spread_m = TownRadiusM(cells / number_of_places, 500);
  for (std::int64_t i = 0; is_good && i < cells; ++i) {
    StationRecord record;
    record.key =
        CellKey({1, 1, i / kCellsPerArea + 1, i + 1, RadioType::kLte}).value_or(StationKey());
    record.position = chance.Near(place_of(i, cells), cell_spread_m);
    record.radius_m = chance.Between(500, 5'000);
    is_good = filling->Put(Pack(record));
  }
  is_good = is_good && filling->MarkInvented() && filling->Commit();
  if (!is_good) *error = ErrorOf(store);
  return is_good;
}

}  // namespace kesu_server
