#ifndef SUPPORT_STUB_TRANSPORT_H_
#define SUPPORT_STUB_TRANSPORT_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kesu/mux/http_request_factory.h"

namespace kesu_test {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

/// A transport without a network: its requests end when the test says so. It must outlive them.
class StubTransport final : public HttpRequestFactory {
 public:
  class Request;

  /// What is known of one request. It stays when the request is gone.
  struct Exchange {
    std::string method;
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

  /// From now on the factory returns null.
  void MakeNull(bool value) { makes_null_ = value; }
  /// From now on Start() yields this, whatever `on_start` reports.
  void SetStartResult(int result) { start_result_ = result; }

  /// Ends a request as complete, with status 200.
  void Reply(std::size_t index, std::string_view body,
             const HeaderList& headers = {{"Content-Type", "application/binary"}});
  /// Ends a request as failed.
  void Fail(std::size_t index, int status);

  std::size_t count() const { return exchanges_.size(); }
  const Exchange& exchange(std::size_t index) const { return *exchanges_.at(index); }
  /// How many requests exist at this moment.
  int open_count() const;

  HttpRequestInterface* NewHttpGetRequest(const common_base::GString& url,
                                          common_base::ByteVector* response_body,
                                          StatusInfo* status_info) override;
  HttpRequestInterface* NewHttpPostRequest(const common_base::GString& url,
                                           const common_base::ByteView* body,
                                           common_base::ByteVector* response_body,
                                           StatusInfo* status_info) override;

  /// What happens inside the making of a POST, and inside Start().
  std::function<void()> on_new = [] {};
  std::function<void()> on_start = [] {};

 private:
  bool makes_null_ = false;
  int start_result_ = 0;
  std::vector<std::unique_ptr<Exchange>> exchanges_;
};

}  // namespace kesu_test

#endif  // SUPPORT_STUB_TRANSPORT_H_
