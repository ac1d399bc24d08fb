#include "tools/kesu/http_test_run.h"

#include "dovi/deployment_settings.h"
#include "kesu/httptest/set_header_test.h"

namespace kesu_tool {

HttpTestRun::HttpTestRun() : loop_(g_main_loop_new(nullptr, FALSE)) {}

HttpTestRun::~HttpTestRun() {
  g_main_loop_unref(loop_);
}

Outcome HttpTestRun::Run(HttpRequestFactory* factory, int timeout_ms, std::FILE* out) {
  char url[kDoviUrlBufferSize];
  WriteDoviServiceUrl(url);
  auto* const test = new common_kesu::SetHeaderTest(factory, url, out);
  if (test->Start(this) != 0) {
    test->Cancel();
    return Outcome::kFailed;
  }
  const unsigned timeout = g_timeout_add(static_cast<unsigned>(timeout_ms), OnTimeout, this);
  g_main_loop_run(loop_);
  g_source_remove(timeout);
  // A test that has ended has deleted itself.
  if (outcome_ == Outcome::kTimedOut) test->Cancel();
  return outcome_;
}

void HttpTestRun::End(Outcome outcome) {
  outcome_ = outcome;
  g_main_loop_quit(loop_);
}

gboolean HttpTestRun::OnTimeout(void* run) {
  g_main_loop_quit(static_cast<HttpTestRun*>(run)->loop_);
  return G_SOURCE_CONTINUE;
}

}  // namespace kesu_tool
