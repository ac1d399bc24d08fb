#include "tools/kesu/http_test_run.h"

#include "dovi/deployment_settings.h"
#include "kesu/httptest/set_header_test.h"

namespace kesu_tool {

HttpTestRun::HttpTestRun() : loop_(g_main_loop_new(nullptr, FALSE)) {}

HttpTestRun::~HttpTestRun() {
  g_main_loop_unref(loop_);
}

Result HttpTestRun::Run(HttpRequestFactory* factory, int timeout_ms, std::FILE* out) {
  char url[kDoviUrlBufferSize];
  WriteDoviServiceUrl(url);
  test_ = new common_kesu::SetHeaderTest(factory, url, out);
  if (test_->Start(this) != 0) {
    test_->Cancel();
    result_.outcome = Outcome::kFailed;
    return result_;
  }
  const unsigned timeout = g_timeout_add(static_cast<unsigned>(timeout_ms), OnTimeout, this);
  g_main_loop_run(loop_);
  g_source_remove(timeout);
  // A test that has ended has deleted itself.
  if (result_.outcome == Outcome::kTimedOut) test_->Cancel();
  return result_;
}

void HttpTestRun::OnRequestFailed(common_base::RequestInterface*) {
  result_.SetTransportError(test_->last_transport_error());
  End(Outcome::kFailed);
}

void HttpTestRun::End(Outcome outcome) {
  result_.outcome = outcome;
  g_main_loop_quit(loop_);
}

gboolean HttpTestRun::OnTimeout(void* run) {
  g_main_loop_quit(static_cast<HttpTestRun*>(run)->loop_);
  return G_SOURCE_CONTINUE;
}

}  // namespace kesu_tool
