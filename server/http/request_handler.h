#ifndef SERVER_HTTP_REQUEST_HANDLER_H_
#define SERVER_HTTP_REQUEST_HANDLER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/http/fault.h"
#include "server/http/reply.h"
#include "server/http/worker_record.h"
#include "server/protocol/post_reader.h"
#include "server/protocol/service_reply.h"
#include "server/storage/dialogues.h"
#include "server/storage/inquirer.h"

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
  /// Others that wait for the storage meanwhile. Beyond them nobody may ask it.
  std::size_t waiting = 1000;
};

/// Answers HTTP requests: routes them, takes POSTs apart, hands each request block to the service
/// that it names, and puts the answers together.
class RequestHandler {
 public:
  /// The request is there until the answer is.
  using Service =
      std::function<std::unique_ptr<Inquirer<ServiceReply>>(const ServiceRequest& request)>;
  using Call = std::function<std::unique_ptr<Inquirer<Reply>>(const HttpRequest& request)>;
  using Page = std::function<Reply(const HttpRequest& request)>;
  using Report = std::function<void(const std::string& line)>;
  using Done = std::function<void(Reply reply)>;

  /// `report` receives a line about each POST that is refused. `lookup` is what services and calls
  /// ask, `record` counts what is asked for; both are borrowed.
  RequestHandler(const PostLimits& limits, Lookup* lookup, WorkerRecord* record, Report report)
      : limits_(limits),
        dialogues_(lookup, limits.waiting),
        record_(record),
        report_(std::move(report)) {}

  void AddService(const std::string& name, Service service) {
    services_[name] = std::move(service);
  }
  /// One that asks nobody.
  void AddPlainService(const std::string& name,
                       std::function<ServiceReply(const ServiceRequest& request)> service);
  /// Something else that is answered, at a path of its own.
  void AddPage(const std::string& method, const std::string& path, Page page) {
    pages_[path] = {method, std::move(page), {}, {}};
  }
  /// One that asks the storage, and is counted as `name`.
  void AddCall(const std::string& name, const std::string& method, const std::string& path,
               Call call) {
    pages_[path] = {method, {}, name, std::move(call)};
  }

  /// For the path of a folder and all within it, whatever the method.
  void AddFolder(const std::string& path, Call call) { folders_[path] = std::move(call); }

  /// From now on each POST that is to be answered with 200 uses up one use of `faults`, which is
  /// borrowed.
  void set_faults(FaultPlan* faults) { faults_ = faults; }

  /// Calls `done` once: from inside, or later when the storage has answered, never after that has
  /// gone. The request must stay until then.
  void Handle(const HttpRequest& request, Done done);

 private:
  struct PageEntry {
    std::string method;
    /// One of these.
    Page page;
    std::string name;
    Call call;
  };

  /// Null when it is in none.
  const Call* FindFolder(std::string_view path) const;
  void HandlePage(const PageEntry& entry, const HttpRequest& request, Done done);
  void HandleCall(const PageEntry& entry, const HttpRequest& request, Done done);
  void Ask(std::shared_ptr<Inquirer<Reply>> inquirer, Done done);
  void HandlePost(const HttpRequest& request, Done done);
  void Answer(Post post, Done done);
  std::unique_ptr<Inquirer<ServiceReply>> Begin(const ServiceRequest& request) const;
  Reply BodyTooLarge() const;

  PostLimits limits_;
  Dialogues dialogues_;
  WorkerRecord* record_;
  Report report_;
  FaultPlan* faults_ = nullptr;
  std::map<std::string, Service, std::less<>> services_;
  std::map<std::string, PageEntry, std::less<>> pages_;
  std::map<std::string, Call, std::less<>> folders_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_REQUEST_HANDLER_H_
