#ifndef SERVER_SERVICES_REVERSE_GEOCODER_H_
#define SERVER_SERVICES_REVERSE_GEOCODER_H_

#include <optional>
#include <string>

#include "server/geo/geodesy.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// What is said about the nearest listed place, from the shortest text to the longest.
struct PlaceDescription {
  Place place;
  /// "Lisbon"
  std::string name;
  /// "Lisbon, Portugal"; just the name where the country is called the same.
  std::string name_and_country;
  /// "nearest listed place: Lisbon, Portugal (12 km north-west)": the place lies 12 km to the
  /// north-west. It is no street address, and says so.
  std::string sentence;
};

/// Turns positions into places.
class ReverseGeocoder {
 public:
  /// Places further away than this are not near.
  static constexpr double kRadiusM = 300'000;

  /// `storage` is borrowed.
  explicit ReverseGeocoder(Storage* storage) : storage_(storage) {}

  /// Leaves none in `description` when no listed place is near `position`, which must be on earth.
  /// False when the storage fails.
  bool Describe(const LatLng& position, std::optional<PlaceDescription>* description);

 private:
  Storage* storage_;
};

}  // namespace kesu_server

#endif  // SERVER_SERVICES_REVERSE_GEOCODER_H_
