#include "server/services/reverse_geocoder.h"

#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "server/services/address_text.h"

namespace kesu_server {
namespace {

std::string DistanceAndDirection(const LatLng& from, const NearbyPlace& nearby) {
  const long kilometres = std::lround(nearby.distance_m / 1000);
  if (kilometres == 0) return "less than 1 km away";
  return std::to_string(kilometres) + " km " +
         std::string(CompassDirection(from, nearby.place.position));
}

/// What an address does not say of itself is that of the nearest place.
Address Complete(Address address, const std::optional<NearbyPlace>& nearby) {
  // A place of another town may be as near as this, but hardly one of another region.
  constexpr double kOwnTownM = 10'000;
  if (!nearby) return address;
  const Place& place = nearby->place;
  if (address.city.empty() && nearby->distance_m <= kOwnTownM) address.city = place.name;
  if (address.country.empty()) address.country = place.country;
  if (address.region.empty() && address.country == place.country) address.region = place.region;
  return address;
}

std::vector<AddressComponent> ComponentsOf(const Address& address) {
  std::vector<AddressComponent> components;
  const std::pair<AddressComponentType, const std::string*> all[] = {
      {kNumberComponent, &address.number},     {kStreetComponent, &address.street},
      {kUnitComponent, &address.unit},         {kDistrictComponent, &address.district},
      {kPostcodeComponent, &address.postcode}, {kPlaceComponent, &address.city},
      {kRegionComponent, &address.region},     {kCountryComponent, &address.country},
  };
  for (const auto& [type, name] : all) {
    if (!name->empty()) components.push_back({type, *name});
  }
  return components;
}

/// From the address up to the country.
std::vector<DescribedFeature> FeaturesOf(const Address& address) {
  const std::vector<std::string> lines = AddressLines(address);
  const LatLng& center = address.position;
  std::vector<DescribedFeature> features = {
      {kAddressFeature, Join(lines, ", "), center, lines, ComponentsOf(address)},
      {kStreetFeature, Join({address.street, address.city}, ", "), center, {}, {}},
  };
  const std::pair<FeatureType, const std::string*> rest[] = {
      {kPlaceFeature, &address.city},
      {kRegionFeature, &address.region},
      {kCountryFeature, &address.country},
  };
  for (const auto& [type, name] : rest) {
    if (!name->empty()) features.push_back({type, *name, std::nullopt, {}, {}});
  }
  return features;
}

std::vector<DescribedFeature> FeaturesOf(const LatLng& position, const NearbyPlace& nearby) {
  const Place& place = nearby.place;
  std::vector<std::string> names = {place.name};
  for (const std::string* name : {&place.region, &place.country}) {
    if (!name->empty() && *name != names.back()) names.push_back(*name);
  }
  const std::string name_and_country = Join(names, ", ");
  std::vector<DescribedFeature> features;
  if (place.name != name_and_country) {
    features.push_back({kPlaceFeature, place.name, place.position, {}, {}});
  }
  std::vector<AddressComponent> components = {{kPlaceComponent, place.name}};
  if (!place.region.empty()) components.push_back({kRegionComponent, place.region});
  components.push_back({kCountryComponent, place.country});
  features.push_back({kPlaceAndCountryFeature,
                      name_and_country,
                      place.position,
                      {name_and_country},
                      std::move(components)});
  features.push_back({kNearestPlaceFeature,
                      "nearest listed place: " + name_and_country + " (" +
                          DistanceAndDirection(position, nearby) + ")",
                      place.position,
                      {},
                      {}});
  return features;
}

}  // namespace

std::vector<DescribedFeature> Describe(const LatLng& position, const Surroundings& surroundings) {
  if (surroundings.address) {
    return FeaturesOf(Complete(surroundings.address->address, surroundings.place));
  }
  if (surroundings.place) return FeaturesOf(position, *surroundings.place);
  return {};
}

}  // namespace kesu_server
