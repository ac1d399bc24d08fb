#ifndef SERVER_HTTP_REQUEST_HANDLER_H_
#define SERVER_HTTP_REQUEST_HANDLER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "server/http/fault.h"
#include "server/http/reply.h"
#include "server/protocol/post_reader.h"
#include "server/protocol/service_reply.h"

namespace kesu_server {

/// The one path that the server answers on.
inline constexpr std::string_view kServicePath = "/m/appreq/cllDovi";
struct HttpRequest {
  std::string method;
  std::string path;
  HttpHeaders headers;
  std::string_view body;
  /// The body was longer than it may be and has not been kept.
  bool is_too_large = false;
};

/// Answers HTTP requests: routes them, takes POSTs apart, hands each request block to the service
/// that it names, and puts the answers together.
class RequestHandler {
 public:
  using Service = std::function<ServiceReply(const ServiceRequest& request)>;
  using Report = std::function<void(const std::string& line)>;

  /// `report` receives a line about each POST that is refused.
  explicit RequestHandler(Report report) : report_(std::move(report)) {}

  void AddService(const std::string& name, Service service) {
    services_[name] = std::move(service);
  }

  /// From now on each POST that is answered with 200 uses up one use of `faults`, which is
  /// borrowed.
  void set_faults(FaultPlan* faults) { faults_ = faults; }
  /// Said to those whose body is too large.
  void set_max_body_bytes(std::size_t bytes) { max_body_bytes_ = bytes; }

  Reply Handle(const HttpRequest& request) const;

 private:
  Reply HandlePost(const HttpRequest& request) const;
  ServiceReply Answer(const ServiceRequest& request) const;

  Report report_;
  FaultPlan* faults_ = nullptr;
  std::size_t max_body_bytes_ = 0;
  std::map<std::string, Service, std::less<>> services_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_REQUEST_HANDLER_H_
