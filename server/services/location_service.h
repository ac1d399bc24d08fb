#ifndef SERVER_SERVICES_LOCATION_SERVICE_H_
#define SERVER_SERVICES_LOCATION_SERVICE_H_

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "server/learn/lesson.h"
#include "server/protocol/post_reader.h"
#include "server/protocol/service_reply.h"
#include "server/storage/inquirer.h"

namespace kesu_server {

/// The values of the status fields of a reply and of its elements.
enum LocationStatus { kFound = 0, kNothingFound = 1, kInvalidPosition = 2 };

/// The service "g:loc/ql": location lookup and reverse geocoding.
class LocationService {
 public:
  static constexpr char kName[] = "g:loc/ql";

  /// `new_platform_key` makes a key for whoever has none.
  explicit LocationService(std::function<std::string()> new_platform_key)
      : new_platform_key_(std::move(new_platform_key)) {}

  /// What takes the lessons of lookups that carry the device's own fix; nothing learns without it.
  /// It must not wait for anything.
  void set_teach(std::function<void(const std::vector<Lesson>&)> teach) {
    teach_ = std::move(teach);
  }

  /// Its answer has one reply element for each element of the request, in the same order. No
  /// payload, and status 400 when the request is no request message, or multipart, and 503 when the
  /// storage fails. The service and the request must outlive it.
  std::unique_ptr<Inquirer<ServiceReply>> Begin(const ServiceRequest& request) const;

 private:
  class Work;

  std::function<std::string()> new_platform_key_;
  std::function<void(const std::vector<Lesson>&)> teach_;
};

}  // namespace kesu_server

#endif  // SERVER_SERVICES_LOCATION_SERVICE_H_
