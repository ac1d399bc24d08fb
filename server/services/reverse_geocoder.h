#ifndef SERVER_SERVICES_REVERSE_GEOCODER_H_
#define SERVER_SERVICES_REVERSE_GEOCODER_H_

#include <vector>

#include "server/geo/geodesy.h"
#include "server/services/described_feature.h"
#include "server/storage/inquiry.h"

namespace kesu_server {

/// What is at `position`, of which these are the surroundings: the nearest address, and from its
/// street up to its country what it is in. Where no address is known, the nearest listed place, by
/// names that grow longer: "Lisbon"; "Lisbon, Portugal", just one of the two where the country is
/// called the same; "nearest listed place: Lisbon, Portugal (12 km north-west)", the place being 12
/// km to the north-west. Nothing where neither is near.
std::vector<DescribedFeature> Describe(const LatLng& position, const Surroundings& surroundings);

}  // namespace kesu_server

#endif  // SERVER_SERVICES_REVERSE_GEOCODER_H_
