#ifndef SERVER_SERVICES_LOCATION_MESSAGES_H_
#define SERVER_SERVICES_LOCATION_MESSAGES_H_

#include <optional>
#include <string>
#include <vector>

#include "kesu/common/base/gstring.h"
#include "kesu/proto/lbs.h"

#include "server/estimate/location_estimator.h"
#include "server/services/described_feature.h"
#include "server/services/observation.h"

/// What the messages of the location protocol say, and how to say it in them.
namespace kesu_server {

std::string TextOf(const common_base::GString& text);
common_base::GString GStringOf(const std::string& text);

/// The position of a location; none when it lacks a coordinate or is not on earth.
std::optional<LatLng> ReadPosition(const lbs::GLocation& location);
void WritePosition(const LatLng& position, lbs::GLatLng* latlng);

/// The serving cell, the neighbouring cells and the access points of an element, each once. Cells
/// that served earlier say nothing about here and do not count.
std::vector<Observation> ReadObservations(const lbs::GLocRequestElement& element);

void WriteFeatures(const std::vector<DescribedFeature>& features, lbs::GLocation* location);

}  // namespace kesu_server

#endif  // SERVER_SERVICES_LOCATION_MESSAGES_H_
