#ifndef SERVER_INSPECT_INSPECTOR_H_
#define SERVER_INSPECT_INSPECTOR_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "server/http/request_handler.h"
#include "server/inspect/event_feed.h"
#include "server/inspect/exchange_ring.h"
#include "server/inspect/own_site.h"
#include "server/storage/inquirer.h"
#include "tools/support/embedded_file.h"

namespace kesu_server {

/// Shows the last POSTs to whoever develops an application: a page, and what it asks for.
class Inspector {
 public:
  static constexpr char kFolder[] = "/inspect";

  /// The page is "index.html" among the files.
  Inspector(Visitors visitors, std::span<const EmbeddedFile> files)
      : visitors_(visitors), files_(files) {}

  /// Takes note of a request and its reply. POSTs of the services are kept.
  void Observe(const HttpRequest& request, const Reply& reply, std::int64_t duration_us,
               const std::string& client);

  /// Answers a request for the folder or for something in it.
  std::unique_ptr<Inquirer<Reply>> Begin(const HttpRequest& request);

 private:
  using Answer = std::unique_ptr<Inquirer<Reply>>;

  KeptBody Keep(std::string_view body, const HttpHeaders& headers) const;
  Answer Find(const HttpRequest& request);
  Answer FindFile(std::string_view name) const;
  Answer FindPost(std::string_view path) const;
  Answer FollowEvents(const HttpRequest& request);

  Visitors visitors_;
  std::span<const EmbeddedFile> files_;
  ExchangeRing ring_{ExchangeRing::Room()};
  EventFeed feed_{&ring_};
};

}  // namespace kesu_server

#endif  // SERVER_INSPECT_INSPECTOR_H_
