#include "server/services/reverse_geocoder.h"

#include <cmath>
#include <vector>

namespace kesu_server {
namespace {

std::string DistanceAndDirection(const LatLng& from, const NearbyPlace& nearby) {
  const long kilometres = std::lround(nearby.distance_m / 1000);
  if (kilometres == 0) return "less than 1 km away";
  return std::to_string(kilometres) + " km " +
         std::string(CompassDirection(from, nearby.place.position));
}

}  // namespace

bool ReverseGeocoder::Describe(const LatLng& position,
                               std::optional<PlaceDescription>* description) {
  std::vector<NearbyPlace> places;
  if (!storage_->NearestPlaces(position, 1, kRadiusM, &places)) return false;
  if (places.empty()) return true;
  const NearbyPlace& nearby = places.front();
  PlaceDescription& what = description->emplace();
  what.place = nearby.place;
  what.name = nearby.place.name;
  what.name_and_country = what.name;
  if (nearby.place.country != what.name) what.name_and_country += ", " + nearby.place.country;
  what.sentence = "nearest listed place: " + what.name_and_country + " (" +
                  DistanceAndDirection(position, nearby) + ")";
  return true;
}

}  // namespace kesu_server
