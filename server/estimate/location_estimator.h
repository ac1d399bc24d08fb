#ifndef SERVER_ESTIMATE_LOCATION_ESTIMATOR_H_
#define SERVER_ESTIMATE_LOCATION_ESTIMATOR_H_

#include <optional>
#include <vector>

#include "server/geo/geodesy.h"
#include "server/storage/station.h"

namespace kesu_server {

/// A known station that was received, and how well if that was said.
struct Sighting {
  Station station;
  std::optional<double> received_dbm;
};

struct Estimate {
  LatLng position;
  /// Half the width of what is known: when no signal is more than one standard deviation stronger
  /// than its distance would have it, the receiver is within this many metres.
  double accuracy_m = 0;
};

/// Where the receiver is; none without a sighting. The position is the centroid of the stations,
/// weighted with 1 / d^2, d being the distance that the path-loss model gives for the signal (or
/// for the weakest signal that can be noticed, when none was stated). Its distance to the receiver
/// is at most the mean of the receiver's distances to the stations, with the same weights; that
/// mean, each distance taken with the model's spread, is the accuracy. Stations that cannot have
/// been received at the same spot as most of the others are left out.
std::optional<Estimate> EstimateLocation(const std::vector<Sighting>& sightings);

}  // namespace kesu_server

#endif  // SERVER_ESTIMATE_LOCATION_ESTIMATOR_H_
