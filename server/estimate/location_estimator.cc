#include "server/estimate/location_estimator.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace kesu_server {
namespace {

/// More stations than these, nearest first, would add next to nothing to the estimate but make
/// comparing each with each slow.
constexpr std::size_t kMaxStations = 64;

/// The receiver is about `distance_m` and hardly more than `reach_m` away from the station.
struct Range {
  LatLng station;
  double distance_m = 0;
  double reach_m = 0;
};

std::vector<Range> NearestRanges(const std::vector<Sighting>& sightings) {
  std::vector<Range> ranges;
  for (const auto& [station, received_dbm] : sightings) {
    const double distance_m =
        station.model.DistanceM(received_dbm.value_or(station.sensitivity_dbm));
    ranges.push_back({station.position, distance_m, distance_m * station.model.DistanceSpread()});
  }
  std::stable_sort(ranges.begin(), ranges.end(),
                   [](const Range& a, const Range& b) { return a.distance_m < b.distance_m; });
  if (ranges.size() > kMaxStations) ranges.resize(kMaxStations);
  return ranges;
}

/// The ranges that overlap `anchor`.
std::vector<Range> ConsistentWith(const Range& anchor, const std::vector<Range>& ranges) {
  std::vector<Range> consistent;
  std::copy_if(ranges.begin(), ranges.end(), std::back_inserter(consistent),
               [&](const Range& range) {
                 return DistanceM(anchor.station, range.station) <= anchor.reach_m + range.reach_m;
               });
  return consistent;
}

/// The largest set that overlaps one of its members; of equally large ones that of the nearest.
std::vector<Range> LargestConsistentSet(const std::vector<Range>& ranges) {
  std::vector<Range> largest;
  for (const Range& anchor : ranges) {
    std::vector<Range> consistent = ConsistentWith(anchor, ranges);
    if (consistent.size() > largest.size()) largest = std::move(consistent);
  }
  return largest;
}

}  // namespace

std::optional<Estimate> EstimateLocation(const std::vector<Sighting>& sightings) {
  if (sightings.empty()) return std::nullopt;
  std::vector<WeightedPosition> points;
  double weights = 0;
  double weighted_reach_m = 0;
  for (const Range& range : LargestConsistentSet(NearestRanges(sightings))) {
    const double weight = 1 / (range.distance_m * range.distance_m);
    points.push_back({range.station, weight});
    weights += weight;
    weighted_reach_m += weight * range.reach_m;
  }
  return Estimate{Centroid(points), std::min(weighted_reach_m / weights, kHalfCircumferenceM)};
}

}  // namespace kesu_server
