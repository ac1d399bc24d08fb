#include "dovi/deferred_request_source.h"
#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/mobile_service_mux.h"

/// Everything that an application has before its first request, and its end.
int main() {
  DoviDeploymentSettings settings;
  settings.trace = DoviTraceTarget::kNowhere;
  SetDoviDeploymentSettings(settings);
  common_base::MonotonicClock clock;
  DoviHttpRequestFactory factory;
  common_base::SimpleRequestQueue queue(&clock);
  const DeferredRequestSource timer(&queue, &clock);
  common_kesu::MobileServiceMux::Initialize(&factory, &queue, &clock, new common_kesu::MuxConfig);
  common_kesu::MobileServiceMux::DeleteInstance();
  return 0;
}
