#include "server/estimate/location_estimator.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "server/estimate/range_fit.h"
#include "server/geo/tangent_plane.h"

namespace kesu_server {
namespace {

/// More stations than these, nearest first, would add next to nothing to the estimate but make
/// comparing each with each slow.
constexpr std::size_t kMaxStations = 64;
/// How fast a receiver is taken to have moved since it received a station.
constexpr double kSpeedMPerS = 2;
/// How far off the constants of a model are taken to be, besides the shadowing.
constexpr double kModelErrorDb = 2;
/// Beyond so many standard deviations a signal contradicts the position.
constexpr double kContradiction = 2.5;

struct Candidate {
  const Sighting* sighting = nullptr;
  double distance_m = 0;
  double blur_m = 0;
  /// The standard deviation of the distance's natural logarithm.
  double log_spread = 0;
  /// The receiver is hardly further than this from the station.
  double reach_m = 0;
  SpherePoint place;
};

double LogSpread(const RadioModel& model) {
  return std::hypot(model.shadowing_db, kModelErrorDb) * std::numbers::ln10 /
         (10 * model.path_loss_exponent);
}

std::vector<Candidate> NearestCandidates(const std::vector<Sighting>& sightings) {
  std::vector<Candidate> candidates;
  candidates.reserve(sightings.size());
  for (const Sighting& sighting : sightings) {
    const Station& station = sighting.station;
    const double moved_m = std::max(sighting.age_s.value_or(0), 0.0) * kSpeedMPerS;
    Candidate candidate;
    candidate.sighting = &sighting;
    candidate.distance_m =
        station.model.DistanceM(sighting.received_dbm.value_or(station.sensitivity_dbm));
    candidate.blur_m = std::min(std::hypot(station.position_error_m, moved_m), kHalfCircumferenceM);
    candidates.push_back(candidate);
  }
  const auto is_nearer = [](const Candidate& a, const Candidate& b) {
    return a.distance_m < b.distance_m;
  };
  std::stable_sort(candidates.begin(), candidates.end(), is_nearer);
  if (candidates.size() > kMaxStations) candidates.resize(kMaxStations);
  for (Candidate& candidate : candidates) {
    const Station& station = candidate.sighting->station;
    candidate.log_spread = LogSpread(station.model);
    candidate.reach_m = candidate.distance_m * std::exp(kContradiction * candidate.log_spread) +
                        kContradiction * candidate.blur_m;
    candidate.place = OnSphere(station.position);
  }
  return candidates;
}

bool Agree(const Candidate& a, const Candidate& b) {
  const double reach_m = a.reach_m + b.reach_m;
  return ChordSquaredM2(a.place, b.place) <= reach_m * reach_m;
}

/// Those that agree with one of them: of all such sets the largest, and of equally large ones that
/// of the nearest.
std::vector<Candidate> LargestConsistentSet(const std::vector<Candidate>& candidates) {
  std::size_t most = 0;
  const Candidate* best = nullptr;
  for (const Candidate& anchor : candidates) {
    const auto count = static_cast<std::size_t>(
        std::count_if(candidates.begin(), candidates.end(),
                      [&](const Candidate& other) { return Agree(anchor, other); }));
    if (count <= most) continue;
    most = count;
    best = &anchor;
    if (most == candidates.size()) break;
  }
  std::vector<Candidate> set;
  set.reserve(most);
  for (const Candidate& candidate : candidates) {
    if (Agree(*best, candidate)) set.push_back(candidate);
  }
  return set;
}

/// Cells say nothing beside access points, which are so much nearer; they had their say in which of
/// those can be true.
void LeaveOutCells(std::vector<Candidate>* candidates) {
  const auto is_cell = [](const Candidate& candidate) { return candidate.sighting->is_cell; };
  if (std::all_of(candidates->begin(), candidates->end(), is_cell)) return;
  candidates->erase(std::remove_if(candidates->begin(), candidates->end(), is_cell),
                    candidates->end());
}

Range RangeOf(const Candidate& candidate, const TangentPlane& plane) {
  Range range;
  range.station = plane.Project(candidate.place);
  if (candidate.sighting->received_dbm) range.log_distance = std::log(candidate.distance_m);
  range.log_spread = candidate.log_spread;
  range.reach_m = candidate.distance_m;
  range.blur_m = candidate.blur_m;
  range.is_one_of_many = !candidate.sighting->is_cell;
  return range;
}

}  // namespace

std::optional<Estimate> EstimateLocation(const std::vector<Sighting>& sightings) {
  if (sightings.empty()) return std::nullopt;
  std::vector<Candidate> candidates = LargestConsistentSet(NearestCandidates(sightings));
  LeaveOutCells(&candidates);
  const TangentPlane plane(candidates.front().sighting->station.position);
  std::vector<Range> ranges;
  ranges.reserve(candidates.size());
  for (const Candidate& candidate : candidates) ranges.push_back(RangeOf(candidate, plane));
  const PlaneEstimate estimate = FitRanges(ranges);
  return Estimate{plane.Position(estimate.position),
                  std::clamp(estimate.radius_m, 1.0, kHalfCircumferenceM)};
}

}  // namespace kesu_server
