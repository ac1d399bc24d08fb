#ifndef KESU_TOOL_HTTP_TEST_RUN_H_
#define KESU_TOOL_HTTP_TEST_RUN_H_

#include <cstdio>

#include <glib.h>

#include "kesu/common/base/request_interface.h"
#include "kesu/httptest/set_header_test.h"
#include "kesu/mux/http_request_factory.h"

#include "tools/kesu/result.h"

namespace kesu_tool {

/// One run of the HTTP self-test on GLib's default main context. Used once.
class HttpTestRun : private common_base::RequesterInterface {
 public:
  HttpTestRun();
  HttpTestRun(const HttpTestRun&) = delete;
  HttpTestRun& operator=(const HttpTestRun&) = delete;
  ~HttpTestRun() override;

  /// Prints the outcome to `out`; both are borrowed. Its outcome is kFound when the test has
  /// passed, kFailed or kTimedOut. Of a run that is out of time nothing is printed.
  Result Run(HttpRequestFactory* factory, int timeout_ms, std::FILE* out);

 private:
  void OnRequestComplete(common_base::RequestInterface*) override { End(Outcome::kFound); }
  void OnRequestFailed(common_base::RequestInterface*) override;
  void End(Outcome outcome);
  static gboolean OnTimeout(void* run);

  GMainLoop* loop_;
  /// Deletes itself when it ends.
  common_kesu::SetHeaderTest* test_ = nullptr;
  Result result_;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_HTTP_TEST_RUN_H_
