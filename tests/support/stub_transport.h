#ifndef SUPPORT_STUB_TRANSPORT_H_
#define SUPPORT_STUB_TRANSPORT_H_

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kesu/mux/http_request_factory.h"

namespace kesu_test {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

/// A transport without a network: its requests end when the test says so. It must outlive them.
/// Whoever uses it wrongly ends the process.
class StubTransport final : public HttpRequestFactory {
 public:
  class Request;

  /// What is known of one request. It stays when the request is gone.
  struct Exchange {
    std::string url;
    /// As it was at the start of the request.
    std::string body;
    HeaderList request_headers;
    bool is_started = false;
    bool has_ended = false;
    /// Null once it has been cancelled, which is how its owner gets rid of it.
    Request* request = nullptr;
  };

  ~StubTransport() override;

  /// Ends a request with that status, as complete if that is 200, otherwise as failed.
  void End(std::size_t index, int status, std::string_view body = "",
           const HeaderList& headers = {{"Content-Type", "application/binary"}});

  std::size_t count() const { return exchanges_.size(); }
  const Exchange& exchange(std::size_t index) const { return exchanges_.at(index); }
  const Exchange& latest() const { return exchanges_.back(); }
  /// The requests that have been started and not ended, from the oldest on.
  std::vector<std::size_t> Open() const;

  HttpRequestInterface* NewHttpGetRequest(const common_base::GString& url,
                                          common_base::ByteVector* response_body,
                                          StatusInfo* status_info) override;
  HttpRequestInterface* NewHttpPostRequest(const common_base::GString& url,
                                           const common_base::ByteView* body,
                                           common_base::ByteVector* response_body,
                                           StatusInfo* status_info) override;

  /// Whether the factory returns null.
  bool makes_null = false;
  /// What Start() yields, whatever `on_start` reports.
  int start_result = 0;
  /// What the requests say of an exchange that ends without a status.
  common_kesu::TransportError error;
  /// What happens inside the making of a POST, and inside Start().
  std::function<void()> on_new = [] {};
  std::function<void()> on_start = [] {};

 private:
  std::deque<Exchange> exchanges_;
};

}  // namespace kesu_test

#endif  // SUPPORT_STUB_TRANSPORT_H_
