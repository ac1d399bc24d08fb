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
  const double variance_db2 =
      model.shadowing_db * model.shadowing_db + kModelErrorDb * kModelErrorDb;
  return std::sqrt(variance_db2) * std::numbers::ln10 / (10 * model.path_loss_exponent);
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
    candidate.blur_m =
        std::min(std::sqrt(station.position_error_m * station.position_error_m + moved_m * moved_m),
                 kHalfCircumferenceM);
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

/// Those that agree with one of them.
struct ConsistentSet {
  std::vector<Candidate> members;
  /// Those at the centre of a set just as large that contradicts this one: nobody can tell which is
  /// right.
  std::vector<Candidate> rivals;
};

/// How many agree with `anchor`, or any number below `at_least` when these are fewer.
std::size_t CountAgreeing(const Candidate& anchor, const std::vector<Candidate>& candidates,
                          std::size_t at_least) {
  std::size_t left = candidates.size();
  for (const Candidate& other : candidates) {
    if (!Agree(anchor, other) && --left < at_least) break;
  }
  return left;
}

/// Of all such sets the largest, and of equally large ones that of the nearest.
ConsistentSet LargestConsistentSet(const std::vector<Candidate>& candidates) {
  std::size_t most = 0;
  std::vector<const Candidate*> anchors;
  for (const Candidate& anchor : candidates) {
    const std::size_t count = CountAgreeing(anchor, candidates, most);
    if (count < most) continue;
    if (count > most) anchors.clear();
    most = count;
    anchors.push_back(&anchor);
    if (most == candidates.size()) break;
  }
  ConsistentSet set;
  set.members.reserve(most);
  const Candidate& best = *anchors.front();
  for (const Candidate& candidate : candidates) {
    if (Agree(best, candidate)) set.members.push_back(candidate);
  }
  for (const Candidate* const anchor : anchors) {
    if (!Agree(best, *anchor)) set.rivals.push_back(*anchor);
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
  ConsistentSet set = LargestConsistentSet(NearestCandidates(sightings));
  std::vector<Candidate>& candidates = set.members;
  LeaveOutCells(&candidates);
  const TangentPlane plane(candidates.front().sighting->station.position);
  std::vector<Range> ranges;
  ranges.reserve(candidates.size());
  for (const Candidate& candidate : candidates) ranges.push_back(RangeOf(candidate, plane));
  const PlaneEstimate fit = FitRanges(ranges);
  Estimate estimate = {plane.Position(fit.position), fit.radius_m};
  for (const Candidate& rival : set.rivals) {
    const double distance_m = DistanceM(estimate.position, rival.sighting->station.position);
    estimate.accuracy_m = std::max(estimate.accuracy_m, distance_m + rival.reach_m);
  }
  estimate.accuracy_m = std::clamp(estimate.accuracy_m, 1.0, kHalfCircumferenceM);
  return estimate;
}

}  // namespace kesu_server
