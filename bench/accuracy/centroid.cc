#include "centroid.h"

#include <algorithm>
#include <iterator>

namespace kesu_server {
namespace {

struct Circle {
  LatLng station;
  double distance_m = 0;
  double reach_m = 0;
};

/// The largest set that overlaps one of its members, so that a station elsewhere does no harm.
std::vector<Circle> LargestConsistentSet(const std::vector<Circle>& circles) {
  std::vector<Circle> largest;
  for (const Circle& anchor : circles) {
    std::vector<Circle> consistent;
    std::copy_if(
        circles.begin(), circles.end(), std::back_inserter(consistent), [&](const Circle& circle) {
          return DistanceM(anchor.station, circle.station) <= anchor.reach_m + circle.reach_m;
        });
    if (consistent.size() > largest.size()) largest = consistent;
  }
  return largest;
}

}  // namespace

Estimate WeightedCentroid(const std::vector<Sighting>& sightings) {
  std::vector<Circle> circles;
  for (const Sighting& sighting : sightings) {
    const Station& station = sighting.station;
    const double distance_m =
        station.model.DistanceM(sighting.received_dbm.value_or(station.sensitivity_dbm));
    circles.push_back({station.position, distance_m, distance_m * station.model.DistanceSpread()});
  }
  std::stable_sort(circles.begin(), circles.end(),
                   [](const Circle& a, const Circle& b) { return a.distance_m < b.distance_m; });
  std::vector<WeightedPosition> points;
  double weights = 0;
  double weighted_reach_m = 0;
  for (const Circle& circle : LargestConsistentSet(circles)) {
    const double weight = 1 / (circle.distance_m * circle.distance_m);
    points.push_back({circle.station, weight});
    weights += weight;
    weighted_reach_m += weight * circle.reach_m;
  }
  return {Centroid(points), weighted_reach_m / weights};
}

}  // namespace kesu_server
