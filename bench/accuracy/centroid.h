#ifndef ACCURACY_CENTROID_H_
#define ACCURACY_CENTROID_H_

#include <vector>

#include "server/estimate/location_estimator.h"

namespace kesu_server {

/// What the estimate is measured against: the centroid of the stations, each weighted with 1 / d^2,
/// d being the distance that its signal speaks of. The accuracy is the mean of these distances,
/// each with one standard deviation of the signal, with the same weights.
Estimate WeightedCentroid(const std::vector<Sighting>& sightings);

}  // namespace kesu_server

#endif  // ACCURACY_CENTROID_H_
