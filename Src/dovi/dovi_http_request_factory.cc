#include "dovi/dovi_http_request_factory.h"

#include <cstdint>

#include <glib.h>

#include "dovi/dovi_http_request.h"
#include "dovi/easy_handles.h"
#include "dovi/exchange_queue.h"
#include "dovi/glibcurl.h"
#include "dovi/trace.h"
#include "kesu/common/base/logging.h"

using common_base::GVector;
using common_base::GVectorRef;

namespace {

/// The one that has the curl source.
const DoviHttpRequestFactory* active_factory = nullptr;
/// Why the last one that was refused was.
const char* last_refusal = nullptr;

const char* ReasonToRefuse() {
  if (active_factory != nullptr) return "there is another DoviHttpRequestFactory";
  GMainContext* const context = g_main_context_get_thread_default();
  if (context == nullptr || context == g_main_context_default()) return nullptr;
  return "the thread's default main context is not GLib's default main context";
}

}  // namespace

DoviHttpRequestFactory::DoviHttpRequestFactory() {
  if (const char* reason = ReasonToRefuse()) {
    last_refusal = reason;
    if (common_base::LogEnabled(common_base::kLogErrors)) {
      common_base::LogErrorInternal("DoviHttpRequestFactory refuses to work: %s", reason);
    }
    return;
  }
  active_factory = this;
  DoviTrace("=========glibcurl_init================\n");
  glibcurl_init();
  QueuedExchange::Open(&DoviHttpRequest::CollectAndGiveTurns);
}

DoviHttpRequestFactory::~DoviHttpRequestFactory() {
  if (active_factory != this) return;
  active_factory = nullptr;
  QueuedExchange::Close();
  ReleaseSpareEasyHandles();
  DoviTrace("=========Clean up the curl================\n");
  glibcurl_cleanup();
}

void DoviHttpRequestFactory::NetworkHasChanged() {
  glibcurl_network_changed();
}

const char* DoviHttpRequestFactory::refusal() const {
  return active_factory == this ? nullptr : last_refusal;
}

HttpRequestInterface* DoviHttpRequestFactory::NewHttpGetRequest(
    const common_base::GString&, GVector<unsigned char>* response_body, StatusInfo* status_info) {
  DoviTrace("=========NewHttpGetRequest================\n");
  return new DoviHttpRequest(this, nullptr, response_body, status_info);
}

HttpRequestInterface* DoviHttpRequestFactory::NewHttpPostRequest(
    const common_base::GString&, const GVectorRef<const unsigned char>* body,
    GVector<unsigned char>* response_body, StatusInfo* status_info) {
  DoviTrace("=========NewHttpPostRequest================\n");
  auto* request = new DoviHttpRequest(this, body, response_body, status_info);
  // The low 32 bits of the address, deliberately: they tell requests apart in a trace.
  DoviTrace("=========NewHttpPostRequest req================%d\n",
            static_cast<int>(reinterpret_cast<std::uintptr_t>(request)));
  return request;
}
