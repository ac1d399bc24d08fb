#include "server/storage/station.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace kesu_server {
namespace {

/// What is usual for a kind of stations.
struct Kind {
  double sensitivity_dbm;
  double path_loss_exponent;
  double shadowing_db;
  double least_radius_m;
  double usual_radius_m;
  double greatest_radius_m;
};

constexpr Kind kAccessPoint = {-90, 3.0, 6.0, 50, 100, 5'000};
/// In the order of RadioType.
constexpr std::array<Kind, 6> kCells = {{
    {-110, 3.5, 8.0, 300, 3'000, 100'000},
    {-110, 3.5, 8.0, 500, 5'000, 100'000},
    {-110, 3.5, 8.0, 300, 3'000, 100'000},
    {-110, 3.5, 8.0, 300, 2'000, 100'000},
    {-110, 3.5, 8.0, 200, 1'000, 100'000},
    {-110, 3.5, 8.0, 500, 5'000, 100'000},
}};
constexpr Kind kArea = {-110, 3.5, 8.0, 1'000, 20'000, 500'000};

const Kind& KindOf(const StationKey& key) {
  if (key.is_access_point()) return kAccessPoint;
  if (key.id == kWholeArea) return kArea;
  const auto radio = static_cast<std::size_t>(RadioTypeOf(key));
  return kCells[radio < kCells.size() ? radio : 0];
}

}  // namespace

double SensitivityDbm(const StationKey& key) {
  return KindOf(key).sensitivity_dbm;
}

RadioModel ModelFromRadius(const StationKey& key, double radius_m) {
  const Kind& kind = KindOf(key);
  return {kind.sensitivity_dbm +
              10 * kind.path_loss_exponent * std::log10(PlausibleRadiusM(key, radius_m)),
          kind.path_loss_exponent, kind.shadowing_db};
}

double PlausibleRadiusM(const StationKey& key, double radius_m) {
  const Kind& kind = KindOf(key);
  if (radius_m <= 0) return kind.usual_radius_m;
  return std::clamp(radius_m, kind.least_radius_m, kind.greatest_radius_m);
}

double PositionErrorM(const StationKey& key, double weight) {
  // Many observations do better, but those from one side of it, from a street say, never find it.
  constexpr double kOfMany = 0.05;
  constexpr double kOfOne = 0.9;
  return KindOf(key).usual_radius_m * std::sqrt(kOfMany + kOfOne / (1 + weight));
}

MeanPosition Combine(const MeanPosition& a, const MeanPosition& b) {
  MeanPosition mean;
  mean.weight = a.weight + b.weight;
  // Between points so near each other a straight line is as good as a great circle.
  double turn = b.position.longitude - a.position.longitude;
  if (turn > 180) turn -= 360;
  if (turn < -180) turn += 360;
  const double share = mean.weight > 0 ? b.weight / mean.weight : 0;
  mean.position.latitude =
      a.position.latitude + share * (b.position.latitude - a.position.latitude);
  mean.position.longitude = a.position.longitude + share * turn;
  if (mean.position.longitude > 180) mean.position.longitude -= 360;
  if (mean.position.longitude < -180) mean.position.longitude += 360;
  mean.radius_m = std::max(DistanceM(mean.position, a.position) + a.radius_m,
                           DistanceM(mean.position, b.position) + b.radius_m);
  return mean;
}

std::optional<Station> Combine(const std::optional<ImportedStation>& imported,
                               const std::optional<LearnedStation>& learned, std::int64_t time) {
  if (learned && learned->IsBlockedAt(time)) return std::nullopt;
  const bool has_learned = learned && learned->weight_sum > 0;
  if (!imported && !has_learned) return std::nullopt;
  const StationKey& key = imported ? imported->key : learned->key;

  MeanPosition mean;
  if (imported) {
    mean = {imported->position, imported->radius_m, static_cast<double>(imported->samples)};
  }
  if (has_learned) {
    const MeanPosition own = {learned->position, learned->radius_m, learned->weight_sum};
    mean = imported ? Combine(mean, own) : own;
  }
  const bool has_model = imported && imported->model;
  Station station;
  station.position = mean.position;
  station.sensitivity_dbm = SensitivityDbm(key);
  station.model = has_model ? *imported->model : ModelFromRadius(key, mean.radius_m);
  if (!has_model) station.position_error_m = PositionErrorM(key, mean.weight);
  station.radius_m = has_model && mean.radius_m <= 0
                         ? station.model.DistanceM(station.sensitivity_dbm)
                         : PlausibleRadiusM(key, mean.radius_m);
  return station;
}

}  // namespace kesu_server
