#ifndef KESU_TOOL_HTTP_TEST_RUN_H_
#define KESU_TOOL_HTTP_TEST_RUN_H_

#include <cstdio>
#include <string>

#include <glib.h>

#include "kesu/common/base/request_interface.h"
#include "kesu/httptest/set_header_test.h"
#include "kesu/mux/http_request_factory.h"

#include "tools/kesu/exit_status.h"

namespace kesu_tool {

/// One run of the HTTP self-test on GLib's default main context. Used once.
class HttpTestRun : private common_base::RequesterInterface {
 public:
  HttpTestRun();
  HttpTestRun(const HttpTestRun&) = delete;
  HttpTestRun& operator=(const HttpTestRun&) = delete;
  ~HttpTestRun() override;

  /// Prints the outcome to `out`; both are borrowed. Of a run that is out of time nothing is
  /// printed.
  ExitStatus Run(HttpRequestFactory* factory, int timeout_ms, std::FILE* out);

  /// Why the transport brought no answer; empty where it brought one.
  const std::string& complaint() const { return complaint_; }

 private:
  void OnRequestComplete(common_base::RequestInterface*) override { End(kFoundExitStatus); }
  void OnRequestFailed(common_base::RequestInterface*) override;
  void End(ExitStatus exit_status);
  static gboolean OnTimeout(void* run);

  GMainLoop* loop_;
  /// Deletes itself when it ends.
  common_kesu::SetHeaderTest* test_ = nullptr;
  ExitStatus exit_status_ = kTimeoutExitStatus;
  std::string complaint_ = "no answer in time";
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_HTTP_TEST_RUN_H_
