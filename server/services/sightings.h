#ifndef SERVER_SERVICES_SIGHTINGS_H_
#define SERVER_SERVICES_SIGHTINGS_H_

#include <optional>
#include <span>
#include <vector>

#include "server/estimate/location_estimator.h"
#include "server/services/observation.h"
#include "server/storage/station.h"

namespace kesu_server {

/// The area of the cell that comes first.
std::optional<StationKey> AreaOfServingCell(const std::vector<Observation>& observations);

/// What is to be looked up for what was observed together: the stations, and behind them the area
/// of the cell that comes first, if there is one.
std::vector<StationKey> KeysOf(const std::vector<Observation>& observations);

/// The observations of known stations. `stations` has one entry for each of KeysOf(), perhaps
/// without that of the area. Where none is known the area stands for its cell.
std::vector<Sighting> SightingsOf(const std::vector<Observation>& observations,
                                  std::span<const std::optional<Station>> stations);

}  // namespace kesu_server

#endif  // SERVER_SERVICES_SIGHTINGS_H_
