#ifndef TESTS_DOVI_EXCHANGE_H_
#define TESTS_DOVI_EXCHANGE_H_

#include <functional>
#include <string>

#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"

#include "support/scripted_server.h"

/// Puts the default settings back at the end of a scope.
struct ScopedSettings {
  explicit ScopedSettings(const std::string& host, int total_timeout_ms = 0);
  ~ScopedSettings();
};

/// One request with all that it borrows, and what became of it.
class Exchange : public common_base::RequesterInterface {
 public:
  enum Method { kPost, kGet };

  Exchange(DoviHttpRequestFactory* factory, std::string body, Method method = kPost);
  ~Exchange() override { Cancel(); }

  int Start() { return request->Start(this); }
  /// Does nothing when the request is gone already.
  void Cancel();
  /// Starts, and iterates the main loop until the end.
  void Run();
  bool HasEnded() const { return completed + failed > 0; }
  /// "name=value|name=value"
  std::string ResponseHeaders() const;

  void OnRequestComplete(common_base::RequestInterface* ended) override;
  void OnRequestFailed(common_base::RequestInterface* ended) override;

  HttpRequestInterface* request;
  int completed = 0;
  int failed = 0;
  std::function<void()> on_end = [] {};
  common_base::GVector<unsigned char> response_body;
  HttpRequestFactory::StatusInfo status_info;

 private:
  std::string body_;
  common_base::ByteView body_view_;
};

#endif  // TESTS_DOVI_EXCHANGE_H_
