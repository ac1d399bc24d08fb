#ifndef SERVER_SERVICES_DESCRIBED_FEATURE_H_
#define SERVER_SERVICES_DESCRIBED_FEATURE_H_

#include <optional>
#include <string>
#include <vector>

#include "server/geo/geodesy.h"

namespace kesu_server {

/// The kinds of features in a reply.
enum FeatureType {
  kPlaceFeature = 1,
  kPlaceAndCountryFeature = 2,
  kNearestPlaceFeature = 3,
  kAddressFeature = 4,
  kStreetFeature = 5,
  kRegionFeature = 6,
  kCountryFeature = 7,
};

/// The kinds of components of an address in a reply.
enum AddressComponentType {
  kPlaceComponent = 1,
  kCountryComponent = 2,
  kNumberComponent = 3,
  kStreetComponent = 4,
  kUnitComponent = 5,
  kDistrictComponent = 6,
  kRegionComponent = 7,
  kPostcodeComponent = 8,
};

struct AddressComponent {
  AddressComponentType type = kPlaceComponent;
  std::string name;
};

/// Something that is at a position or near it.
struct DescribedFeature {
  FeatureType type = kPlaceFeature;
  std::string name;
  std::optional<LatLng> center;
  /// As on an envelope. These two are empty where the feature has no address.
  std::vector<std::string> address_lines;
  std::vector<AddressComponent> components;
};

}  // namespace kesu_server

#endif  // SERVER_SERVICES_DESCRIBED_FEATURE_H_
