#include "server/simulation/town.h"

#include <cmath>

namespace kesu_server {
namespace {

/// In the open sea.
constexpr LatLng kCentre = {-40, -110};
constexpr double kEdgeM = 150;
constexpr double kStreetDistanceM = 120;
constexpr double kStreetHalfWidthM = 6;
constexpr double kMissedPart = 0.1;
constexpr double kMovedAwayM = 200'000;
constexpr double kHeightM = 3;

constexpr double kAccessPointSensitivityDbm = -90;
constexpr double kCellSensitivityDbm = -110;

}  // namespace

Town::Town(const TownPlan& plan) : plan_(plan), plane_(kCentre) {
  Random random(plan.seed);
  const double area_km2 = plan.side_m * plan.side_m / 1e6;
  const auto access_points = static_cast<int>(area_km2 * plan.access_points_per_km2);
  for (int i = 0; i < access_points; ++i) AddAccessPoint(&random);
  for (int i = 0; i < plan.cell_sites; ++i) AddCellSite(&random);
}

PlanePoint Town::AnyPoint(double margin_m, Random* random) const {
  const double half_m = plan_.side_m / 2 - margin_m;
  const double east = random->Uniform(-half_m, half_m);
  return {east, random->Uniform(-half_m, half_m)};
}

void Town::AddAccessPoint(Random* random) {
  Transmitter made;
  made.position = AnyPoint(0, random);
  made.model = {random->Uniform(-33, -27), random->Uniform(2.8, 3.2), 6};
  made.listed.sensitivity_dbm = kAccessPointSensitivityDbm;
  made.listed.model = {-30, 3, 6};
  Add(made, random);
}

void Town::AddCellSite(Random* random) {
  Transmitter made;
  made.is_cell = true;
  made.position = AnyPoint(0, random);
  made.listed.sensitivity_dbm = kCellSensitivityDbm;
  made.listed.model = {28, 3.5, 8};
  for (int i = 0; i < plan_.cells_of_a_site; ++i) {
    made.model = {random->Uniform(25, 31), random->Uniform(3.3, 3.7), 8};
    Add(made, random);
  }
}

void Town::Add(const Transmitter& transmitter, Random* random) {
  Transmitter added = transmitter;
  added.listed.position = Position(added.position);
  // The exponent is not known well, the power at the middle of the range is.
  constexpr double kDecades = 1.6;
  added.listed.model.reference_power_dbm =
      added.model.reference_power_dbm + random->Normal(plan_.reference_error_db) +
      10 * kDecades * (added.listed.model.path_loss_exponent - added.model.path_loss_exponent);
  if (!added.is_cell && random->Chance(plan_.moved_within)) {
    added.listed.position = Position(AnyPoint(0, random));
  } else if (!added.is_cell && random->Chance(plan_.moved_away)) {
    added.listed.position = Position({kMovedAwayM, random->Uniform(-kMovedAwayM, kMovedAwayM)});
  }
  transmitters_.push_back(added);
}

PlanePoint Town::Indoors(Random* random) const {
  return AnyPoint(kEdgeM, random);
}

PlanePoint Town::OnStreet(Random* random) const {
  PlanePoint point = AnyPoint(kEdgeM, random);
  double& across = random->Chance(0.5) ? point.east : point.north;
  across = std::round(across / kStreetDistanceM) * kStreetDistanceM +
           random->Uniform(-kStreetHalfWidthM, kStreetHalfWidthM);
  return point;
}

std::vector<Reception> Town::Observe(const PlanePoint& point, Random* random) const {
  const double shared = random->Normal(std::sqrt(plan_.shared_shadowing));
  const double own = std::sqrt(1 - plan_.shared_shadowing);
  // The cells of a site come one behind the other.
  double of_site = 0;
  std::vector<Reception> heard;
  for (std::size_t i = 0; i < transmitters_.size(); ++i) {
    const Transmitter& it = transmitters_[i];
    const double distance_m =
        std::hypot(point.east - it.position.east, point.north - it.position.north, kHeightM);
    const bool is_first_of_site = i == 0 || it.position.east != transmitters_[i - 1].position.east;
    if (is_first_of_site) of_site = random->Normal(own);
    const double alone = it.is_cell ? (of_site + random->Normal(own)) * std::sqrt(0.5) : of_site;
    const double shadowing_db = it.model.shadowing_db * (shared + alone);
    const double dbm = it.model.reference_power_dbm -
                       10 * it.model.path_loss_exponent * std::log10(distance_m) + shadowing_db;
    const bool is_missed = random->Chance(kMissedPart);
    if (dbm < it.listed.sensitivity_dbm || is_missed) continue;
    heard.push_back({i, static_cast<int>(std::lround(dbm))});
  }
  return heard;
}

}  // namespace kesu_server
