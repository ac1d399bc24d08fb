#ifndef SERVER_ESTIMATE_RANGE_FIT_H_
#define SERVER_ESTIMATE_RANGE_FIT_H_

#include <optional>
#include <vector>

#include "server/geo/tangent_plane.h"

namespace kesu_server {

/// What one signal says of where the receiver is. Distances are in metres.
struct Range {
  PlanePoint station;
  /// The natural logarithm of the distance that the signal speaks of; none when no signal was
  /// stated, which says no more than that the receiver is within `reach_m`.
  std::optional<double> log_distance;
  /// The standard deviation of that logarithm.
  double log_spread = 0;
  double reach_m = 0;
  /// How far off the station may be, and the receiver gone since: a standard deviation along each
  /// axis.
  double blur_m = 0;
  /// Whether there are as many such stations further away, of which those were received whose
  /// signal happened to be strong.
  bool is_one_of_many = false;
};

struct PlaneEstimate {
  PlanePoint position;
  /// The receiver is within it in 95 of 100 cases.
  double radius_m = 0;
};

/// Where the receiver is, by all of `ranges`, which are not empty.
PlaneEstimate FitRanges(const std::vector<Range>& ranges);

}  // namespace kesu_server

#endif  // SERVER_ESTIMATE_RANGE_FIT_H_
