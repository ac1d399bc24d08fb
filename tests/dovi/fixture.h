#ifndef TESTS_DOVI_FIXTURE_H_
#define TESTS_DOVI_FIXTURE_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <doctest/doctest.h>

#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"

#include "support/bytes.h"
#include "support/scripted_server.h"

namespace kesu_test {

/// What some functions of curl answer in place of the truth, for what cannot be provoked
/// otherwise. In force until reset.
struct CurlOverrides {
  std::optional<long> timeout_ms;
  std::optional<int> highest_descriptor;
  bool multi_init_fails = false;
  bool easy_init_fails = false;
  bool add_handle_fails = false;
};

inline CurlOverrides curl_overrides;

/// Puts the default settings back at the end of a scope.
struct ScopedSettings {
  explicit ScopedSettings(const std::string& host, const std::string& proxy = "",
                          int total_timeout_ms = 0) {
    REQUIRE(SetDoviDeploymentSettings({host.c_str(), nullptr, proxy.c_str(), 0, total_timeout_ms}));
  }
  ~ScopedSettings() { SetDoviDeploymentSettings({}); }
};

/// One request with all that it borrows, and what became of it.
class Exchange : public common_base::RequesterInterface {
 public:
  enum Method { kPost, kGet };

  Exchange(DoviHttpRequestFactory* factory, std::string body, Method method = kPost)
      : body_(std::move(body)), body_view_(ViewOf(body_)) {
    // Requests go to the address of the settings, whatever is asked for here.
    const common_base::GString url("http://ignored.invalid/");
    request = method == kGet
                  ? factory->NewHttpGetRequest(url, &response_body, &status_info)
                  : factory->NewHttpPostRequest(url, &body_view_, &response_body, &status_info);
  }
  ~Exchange() override { Cancel(); }

  int Start() { return request->Start(this); }
  /// Does nothing when the request is gone already.
  void Cancel() {
    if (request != nullptr) std::exchange(request, nullptr)->Cancel();
  }
  /// Starts, and iterates the main loop until the end.
  void Run() {
    REQUIRE(Start() == 0);
    REQUIRE(IterateUntil([this] { return HasEnded(); }));
  }
  bool HasEnded() const { return completed + failed > 0; }
  /// "name=value|name=value|"
  std::string ResponseHeaders() const {
    const std::unique_ptr<HeaderFieldIteratorInterface> field(request->HttpResponseHeaders());
    std::string headers;
    for (; !field->AtEnd(); field->Next()) {
      headers += TextOf(field->FieldName()) + "=" + TextOf(field->FieldValue()) + "|";
    }
    return headers;
  }

  void OnRequestComplete(common_base::RequestInterface* ended) override { End(ended, &completed); }
  void OnRequestFailed(common_base::RequestInterface* ended) override { End(ended, &failed); }

  HttpRequestInterface* request;
  int completed = 0;
  int failed = 0;
  std::function<void()> on_end = [] {};
  common_base::ByteVector response_body;
  HttpRequestFactory::StatusInfo status_info;

 private:
  void End(common_base::RequestInterface* ended, int* count) {
    CHECK(ended == request);
    ++*count;
    on_end();
  }

  std::string body_;
  common_base::ByteView body_view_;
};

}  // namespace kesu_test

#endif  // TESTS_DOVI_FIXTURE_H_
