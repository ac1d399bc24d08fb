#include "tools/kesu/http_test_run.h"

#include "client/text.h"
#include "dovi/deployment_settings.h"
#include "kesu/httptest/set_header_test.h"

namespace kesu_tool {

HttpTestRun::HttpTestRun() : loop_(g_main_loop_new(nullptr, FALSE)) {}

HttpTestRun::~HttpTestRun() {
  g_main_loop_unref(loop_);
}

ExitStatus HttpTestRun::Run(HttpRequestFactory* factory, int timeout_ms, std::FILE* out) {
  char url[kDoviUrlBufferSize];
  WriteDoviServiceUrl(url);
  test_ = new common_kesu::SetHeaderTest(factory, url, out);
  if (test_->Start(this) != 0) {
    test_->Cancel();
    complaint_.clear();
    return kFailureExitStatus;
  }
  const unsigned timeout = g_timeout_add(static_cast<unsigned>(timeout_ms), OnTimeout, this);
  g_main_loop_run(loop_);
  g_source_remove(timeout);
  // A test that has ended has deleted itself.
  if (exit_status_ == kTimeoutExitStatus) test_->Cancel();
  return exit_status_;
}

void HttpTestRun::OnRequestFailed(common_base::RequestInterface*) {
  End(kFailureExitStatus);
  const std::string reason = kesu::detail::TextOf(test_->last_transport_error().text);
  if (!reason.empty()) complaint_ = "no reply from the service: " + reason;
}

void HttpTestRun::End(ExitStatus exit_status) {
  exit_status_ = exit_status;
  complaint_.clear();
  g_main_loop_quit(loop_);
}

gboolean HttpTestRun::OnTimeout(void* run) {
  g_main_loop_quit(static_cast<HttpTestRun*>(run)->loop_);
  return G_SOURCE_CONTINUE;
}

}  // namespace kesu_tool
