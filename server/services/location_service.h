#ifndef SERVER_SERVICES_LOCATION_SERVICE_H_
#define SERVER_SERVICES_LOCATION_SERVICE_H_

#include <functional>
#include <string>
#include <utility>

#include "kesu/proto/lbs.h"

#include "server/protocol/post_reader.h"
#include "server/protocol/service_reply.h"
#include "server/services/reverse_geocoder.h"
#include "server/storage/station_index.h"

namespace kesu_server {

/// The values of the status fields of a reply and of its elements.
enum LocationStatus { kFound = 0, kNothingFound = 1, kInvalidPosition = 2 };

/// The service "g:loc/ql": location lookup and reverse geocoding.
class LocationService {
 public:
  static constexpr char kName[] = "g:loc/ql";

  /// The indexes are borrowed. `new_platform_key` makes a key for whoever has none.
  LocationService(PlaceIndex* places, StationIndex* stations,
                  std::function<std::string()> new_platform_key)
      : geocoder_(places), stations_(stations), new_platform_key_(std::move(new_platform_key)) {}

  /// Status 400 and no payload when the request is no request message, or multipart.
  ServiceReply Answer(const ServiceRequest& request);
  /// Gives one reply element for each element of the request, in the same order.
  void Answer(const lbs::GLocRequest& request, lbs::GLocReply* reply);

 private:
  LocationStatus AnswerElement(const lbs::GLocRequestElement& question,
                               lbs::GLocReplyElement* answer);
  LocationStatus ReverseGeocode(const LatLng& position, const lbs::GGeocodeRequest& wish,
                                lbs::GLocReplyElement* answer);
  LocationStatus Locate(const lbs::GLocRequestElement& question, lbs::GLocReplyElement* answer);

  ReverseGeocoder geocoder_;
  StationIndex* stations_;
  std::function<std::string()> new_platform_key_;
};

}  // namespace kesu_server

#endif  // SERVER_SERVICES_LOCATION_SERVICE_H_
