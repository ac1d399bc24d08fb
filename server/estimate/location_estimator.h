#ifndef SERVER_ESTIMATE_LOCATION_ESTIMATOR_H_
#define SERVER_ESTIMATE_LOCATION_ESTIMATOR_H_

#include <optional>
#include <vector>

#include "server/geo/geodesy.h"
#include "server/storage/station.h"

namespace kesu_server {

/// A known station that was received, and how well and how many seconds ago, if that was said.
struct Sighting {
  Station station;
  std::optional<double> received_dbm = {};
  std::optional<double> age_s = {};
  bool is_cell = false;
};

struct Estimate {
  LatLng position;
  /// The receiver is within so many metres in 95 of 100 cases.
  double accuracy_m = 0;
};

/// Where the receiver is; none without a sighting. docs/server.md describes the method. It takes a
/// bounded time, whatever the sightings are, as long as their stations are on earth and their
/// models as the tables allow them.
std::optional<Estimate> EstimateLocation(const std::vector<Sighting>& sightings);

}  // namespace kesu_server

#endif  // SERVER_ESTIMATE_LOCATION_ESTIMATOR_H_
