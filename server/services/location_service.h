#ifndef SERVER_SERVICES_LOCATION_SERVICE_H_
#define SERVER_SERVICES_LOCATION_SERVICE_H_

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kesu/proto/lbs.h"

#include "server/estimate/location_estimator.h"
#include "server/learn/lesson.h"
#include "server/protocol/post_reader.h"
#include "server/protocol/service_reply.h"
#include "server/services/reverse_geocoder.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// The values of the status fields of a reply and of its elements.
enum LocationStatus { kFound = 0, kNothingFound = 1, kInvalidPosition = 2 };

/// The service "g:loc/ql": location lookup and reverse geocoding.
class LocationService {
 public:
  static constexpr char kName[] = "g:loc/ql";

  /// `storage` is borrowed. `new_platform_key` makes a key for whoever has none.
  LocationService(Storage* storage, std::function<std::string()> new_platform_key)
      : geocoder_(storage), storage_(storage), new_platform_key_(std::move(new_platform_key)) {}

  /// What takes the lessons of lookups that carry the device's own fix; nothing learns without it.
  /// It must not wait for anything.
  void set_teach(std::function<void(const std::vector<Lesson>&)> teach) {
    teach_ = std::move(teach);
  }

  /// No payload, and status 400 when the request is no request message, or multipart, and 503 when
  /// the storage fails.
  ServiceReply Answer(const ServiceRequest& request);
  /// Gives one reply element for each element of the request, in the same order. False when the
  /// storage fails.
  bool Answer(const lbs::GLocRequest& request, lbs::GLocReply* reply);

 private:
  /// Each of these yields none when the storage fails.
  std::optional<LocationStatus> AnswerElement(const lbs::GLocRequestElement& question,
                                              const std::vector<Sighting>& sightings,
                                              lbs::GLocReplyElement* answer);
  std::optional<LocationStatus> ReverseGeocode(const LatLng& position,
                                               const lbs::GGeocodeRequest& wish,
                                               lbs::GLocReplyElement* answer);
  std::optional<LocationStatus> Locate(const lbs::GLocRequestElement& question,
                                       const std::vector<Sighting>& sightings,
                                       lbs::GLocReplyElement* answer);
  /// The known stations of each element, which are all looked up at once.
  bool FindSightings(const lbs::GLocRequest& request,
                     std::vector<std::vector<Sighting>>* sightings);

  ReverseGeocoder geocoder_;
  Storage* storage_;
  std::function<std::string()> new_platform_key_;
  std::function<void(const std::vector<Lesson>&)> teach_;
};

}  // namespace kesu_server

#endif  // SERVER_SERVICES_LOCATION_SERVICE_H_
