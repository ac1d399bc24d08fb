#ifndef SERVER_HTTP_REQUEST_HANDLER_H_
#define SERVER_HTTP_REQUEST_HANDLER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/http/fault.h"
#include "server/http/reply.h"
#include "server/http/worker_record.h"
#include "server/protocol/post_reader.h"
#include "server/protocol/reply_writer.h"
#include "server/protocol/service_reply.h"

namespace kesu_server {

/// The path of the services.
inline constexpr std::string_view kServicePath = "/m/appreq/cllDovi";
struct HttpRequest {
  std::string method;
  std::string path;
  /// The arguments behind the path, with their escapes taken away.
  HttpHeaders arguments;
  HttpHeaders headers;
  std::string_view body;
  /// The body was longer than it may be and has not been kept.
  bool is_too_large = false;
};

/// What one POST may take.
struct PostLimits {
  /// The longest body of any request.
  std::size_t body_bytes = std::size_t{1} << 20;
  std::size_t requests = 2000;
  /// CPU time in milliseconds. The requests that are left then are not answered.
  unsigned cpu_ms = 1000;
};

/// Answers HTTP requests: routes them, takes POSTs apart, hands each request block to the service
/// that it names, and puts the answers together.
class RequestHandler {
 public:
  using Service = std::function<ServiceReply(const ServiceRequest& request)>;
  using Page = std::function<Reply(const HttpRequest& request)>;
  using Report = std::function<void(const std::string& line)>;

  /// `report` receives a line about each POST that is refused. `record`, which is borrowed, counts
  /// what is asked for.
  RequestHandler(const PostLimits& limits, WorkerRecord* record, Report report)
      : limits_(limits), record_(record), report_(std::move(report)) {}

  void AddService(const std::string& name, Service service) {
    services_[name] = std::move(service);
  }
  /// Something else that is answered, at a path of its own.
  void AddPage(const std::string& method, const std::string& path, Page page) {
    pages_[path] = {method, std::move(page)};
  }

  /// From now on each POST that is answered with 200 uses up one use of `faults`, which is
  /// borrowed.
  void set_faults(FaultPlan* faults) { faults_ = faults; }

  Reply Handle(const HttpRequest& request) const;

 private:
  struct PageEntry {
    std::string method;
    Page page;
  };

  Reply HandlePage(const PageEntry& entry, const HttpRequest& request) const;
  Reply HandlePost(const HttpRequest& request) const;
  std::vector<ReplyBlock> Answer(const Post& post) const;
  ServiceReply Answer(const ServiceRequest& request) const;
  Reply BodyTooLarge() const;

  PostLimits limits_;
  WorkerRecord* record_;
  Report report_;
  FaultPlan* faults_ = nullptr;
  std::map<std::string, Service, std::less<>> services_;
  std::map<std::string, PageEntry, std::less<>> pages_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_REQUEST_HANDLER_H_
