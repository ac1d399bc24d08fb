#ifndef TESTS_DOVI_FIXTURE_H_
#define TESTS_DOVI_FIXTURE_H_

#include <atomic>
#include <filesystem>
#include <functional>
#include <iterator>
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

inline const std::string kOk = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

/// What some functions of curl and GLib answer in place of the truth, for what cannot be provoked
/// otherwise. In force until reset.
struct CurlOverrides {
  std::optional<gint64> monotonic_time;
  std::optional<long> timeout_ms;
  std::optional<int> highest_descriptor;
  bool multi_init_fails = false;
  bool easy_init_fails = false;
  bool add_handle_fails = false;
};

inline CurlOverrides curl_overrides;

/// How many descriptors ("fd") or threads ("task") the process has.
inline auto CountOf(const std::string& kind) {
  return std::distance(std::filesystem::directory_iterator("/proc/self/" + kind), {});
}

/// Holds back the look-ups of kName, which is 127.0.0.1, for as long as one lives.
struct HeldLookups {
  static constexpr char kName[] = "held.test";

  HeldLookups() { is_held = true; }
  ~HeldLookups() {
    is_held = false;
    while (CountOf("task") > 1) g_usleep(1000);
  }

  static inline std::atomic<bool> is_held = false;
};

/// Puts the settings back that were in force at the end of a scope.
class ScopedSettings {
 public:
  explicit ScopedSettings(const std::string& host, const std::string& proxy = "",
                          int connect_timeout_ms = 0, int total_timeout_ms = 0)
      : old_(GetDoviDeploymentSettings()), old_host_(old_.host), old_proxy_(old_.proxy) {
    REQUIRE(SetDoviDeploymentSettings(
        {host.c_str(), nullptr, proxy.c_str(), connect_timeout_ms, total_timeout_ms}));
  }
  ~ScopedSettings() {
    old_.host = old_host_.c_str();
    old_.ca_file = nullptr;
    old_.proxy = old_proxy_.c_str();
    SetDoviDeploymentSettings(old_);
  }

 private:
  DoviDeploymentSettings old_;
  std::string old_host_;
  std::string old_proxy_;
};

/// One request with all that it borrows, and what became of it.
class Exchange : public common_base::RequesterInterface {
 public:
  explicit Exchange(DoviHttpRequestFactory* factory, std::string body = "request",
                    bool is_get = false)
      : body_(std::move(body)), body_view_(ViewOf(body_)) {
    // Requests go to the address of the settings, whatever is asked for here.
    const common_base::GString url("http://ignored.invalid/");
    request = is_get ? factory->NewHttpGetRequest(url, &response_body, &status_info)
                     : factory->NewHttpPostRequest(url, &body_view_, &response_body, &status_info);
  }
  ~Exchange() override { Cancel(); }

  int Start() { return request->Start(this); }
  /// Does nothing when the request is gone already.
  void Cancel() {
    if (request != nullptr) std::exchange(request, nullptr)->Cancel();
  }
  bool HasEnded() const { return !told_.empty(); }
  /// Iterates the main loop until the end. What its requester was told, the status, the body and
  /// the kind of error, if there was one: "completed 200 o (closed-early)".
  std::string Outcome() const {
    REQUIRE(IterateUntil([this] { return HasEnded(); }));
    const std::string error = TransportErrorKindName(request->last_transport_error().kind);
    return told_ + std::to_string(request->HttpResponseStatusCode()) + " " + TextOf(response_body) +
           (error == "none" ? "" : " (" + error + ")");
  }
  /// The outcome of an exchange that is yet to be started.
  std::string Run() {
    REQUIRE(Start() == 0);
    return Outcome();
  }
  std::string ErrorText() const { return TextOf(request->last_transport_error().text); }
  /// "name=value|name=value|"
  std::string ResponseHeaders() const {
    const std::unique_ptr<HeaderFieldIteratorInterface> field(request->HttpResponseHeaders());
    std::string headers;
    for (; !field->AtEnd(); field->Next()) {
      headers += TextOf(field->FieldName()) + "=" + TextOf(field->FieldValue()) + "|";
    }
    return headers;
  }

  void OnRequestComplete(common_base::RequestInterface* ended) override {
    End(ended, "completed ");
  }
  void OnRequestFailed(common_base::RequestInterface* ended) override { End(ended, "failed "); }

  HttpRequestInterface* request;
  std::function<void()> on_end = [] {};
  common_base::ByteVector response_body;
  HttpRequestFactory::StatusInfo status_info;

 private:
  void End(common_base::RequestInterface* ended, const char* how) {
    CHECK(ended == request);
    told_ += how;
    on_end();
  }

  std::string body_;
  common_base::ByteView body_view_;
  std::string told_;
};

/// A server and the transport that goes to it.
struct Endpoint {
  /// Shows that the transport is in order: one exchange, with a server of its own, that succeeds.
  void RunAnotherExchange() {
    ScriptedServer another_server;
    const ScopedSettings to_another(another_server.host());
    another_server.Reply({kOk});
    CHECK(Exchange(&factory).Run() == "completed 200 ok");
  }
  /// Waits for so many requests to have arrived.
  void AwaitRequests(std::size_t count) const {
    REQUIRE(IterateUntil([&] { return server.requests().size() == count; }));
  }

  ScriptedServer server;
  ScopedSettings settings{server.host()};
  DoviHttpRequestFactory factory;
};

/// Iterates until what has been sent must have arrived.
inline void Settle() {
  IterateUntil([] { return false; }, 50);
}

}  // namespace kesu_test

#endif  // TESTS_DOVI_FIXTURE_H_
