#include "server/services/reverse_geocoder.h"

#include <cmath>

namespace kesu_server {
namespace {

std::string DistanceAndDirection(const LatLng& from, const NearbyPlace& nearby) {
  const long kilometres = std::lround(nearby.distance_m / 1000);
  if (kilometres == 0) return "less than 1 km away";
  return std::to_string(kilometres) + " km " +
         std::string(CompassDirection(from, nearby.place.position));
}

}  // namespace

std::optional<PlaceDescription> ReverseGeocoder::Describe(const LatLng& position) {
  const std::optional<NearbyPlace> nearby = places_->Nearest(position, kRadiusM);
  if (!nearby) return std::nullopt;
  PlaceDescription description;
  description.place = nearby->place;
  description.name = nearby->place.name;
  description.name_and_country = description.name;
  if (nearby->place.country != description.name) {
    description.name_and_country += ", " + nearby->place.country;
  }
  description.sentence = "nearest listed place: " + description.name_and_country + " (" +
                         DistanceAndDirection(position, *nearby) + ")";
  return description;
}

}  // namespace kesu_server
