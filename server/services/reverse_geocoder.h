#ifndef SERVER_SERVICES_REVERSE_GEOCODER_H_
#define SERVER_SERVICES_REVERSE_GEOCODER_H_

#include <vector>

#include "server/geo/geodesy.h"
#include "server/services/described_feature.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// Turns positions into addresses and places.
class ReverseGeocoder {
 public:
  /// Addresses further away than this say nothing of a position, and places are not near.
  static constexpr double kAddressRadiusM = 200;
  static constexpr double kPlaceRadiusM = 300'000;

  /// `storage` is borrowed.
  explicit ReverseGeocoder(Storage* storage) : storage_(storage) {}

  /// What is at `position`, which must be on earth: the nearest address, and from its street up to
  /// its country what it is in. Where no address is known, the nearest listed place, by names that
  /// grow longer: "Lisbon"; "Lisbon, Portugal", just one of the two where the country is called the
  /// same; "nearest listed place: Lisbon, Portugal (12 km north-west)", the place being 12 km to
  /// the north-west. Nothing where neither is near. False when the storage fails.
  bool Describe(const LatLng& position, std::vector<DescribedFeature>* features);

 private:
  Storage* storage_;
};

}  // namespace kesu_server

#endif  // SERVER_SERVICES_REVERSE_GEOCODER_H_
