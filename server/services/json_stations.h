#ifndef SERVER_SERVICES_JSON_STATIONS_H_
#define SERVER_SERVICES_JSON_STATIONS_H_

#include <vector>

#include "server/services/json_value.h"
#include "server/services/observation.h"

namespace kesu_server {

/// The "cellTowers" and "wifiAccessPoints" of an object, each station once and at most 1000 of
/// them; what is none is read over. Where a cell does not name its radio type, country or network,
/// the object's "radioType", "homeMobileCountryCode" and "homeMobileNetworkCode" do; one that names
/// no cell is the area that it names.
std::vector<Observation> ReadJsonStations(const Json& object);

}  // namespace kesu_server

#endif  // SERVER_SERVICES_JSON_STATIONS_H_
