#ifndef SERVER_STORAGE_LEARNED_STATION_H_
#define SERVER_STORAGE_LEARNED_STATION_H_

#include <cstdint>
#include <limits>

#include "server/geo/geodesy.h"
#include "server/storage/station_key.h"

namespace kesu_server {

/// The end of a block that is for good.
inline constexpr std::int64_t kBlockedForGood = std::numeric_limits<std::int64_t>::max();

/// What has been learned of a station from observations of it: sums, never the observations. Times
/// are in seconds since 1970.
struct LearnedStation {
  StationKey key;
  /// The sum of the weights of all observations; 0 where there is none, or none since it was last
  /// blocked.
  double weight_sum = 0;
  /// The mean of where it was observed, by these weights.
  LatLng position;
  /// All observations are within so many metres of `position`.
  double radius_m = 0;
  /// The box that holds them, in degrees; `west` is greater than `east` where it reaches across the
  /// antimeridian.
  double south = 0;
  double north = 0;
  double west = 0;
  double east = 0;
  std::int64_t first_seen = 0;
  std::int64_t last_seen = 0;
  /// How often it was found to be moving, and until when nothing is to be made of it.
  int times_blocked = 0;
  std::int64_t blocked_until = 0;

  bool IsBlockedAt(std::int64_t time) const { return time < blocked_until; }
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_LEARNED_STATION_H_
