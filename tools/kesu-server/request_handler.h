#ifndef KESU_SERVER_REQUEST_HANDLER_H_
#define KESU_SERVER_REQUEST_HANDLER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/kesu-server/post_reader.h"

namespace kesu_server {

/// The one path that the server answers on.
inline constexpr std::string_view kServicePath = "/m/appreq/cllDovi";
/// The longest body that a POST may have.
inline constexpr std::size_t kMaxBodyBytes = std::size_t{1} << 20;

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
  std::string method;
  std::string path;
  HttpHeaders headers;
  std::string_view body;
  /// The body was longer than kMaxBodyBytes and has not been kept.
  bool is_too_large = false;
};

/// Everything that is sent back, Content-Length included.
struct Reply {
  unsigned status = 0;
  HttpHeaders headers;
  std::string body;
};

/// What a service says to one request: the status of its reply block, 200 when all is well, and
/// the payload.
struct ServiceReply {
  std::int16_t status = 0;
  std::string payload;
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

  Reply Handle(const HttpRequest& request) const;

 private:
  Reply HandlePost(const HttpRequest& request) const;
  ServiceReply Answer(const ServiceRequest& request) const;

  Report report_;
  std::map<std::string, Service, std::less<>> services_;
};

}  // namespace kesu_server

#endif  // KESU_SERVER_REQUEST_HANDLER_H_
