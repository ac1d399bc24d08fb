#include "tools/kesu/session.h"

#include "dovi/deployment_settings.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/mobile_service_mux.h"

namespace kesu_tool {
namespace {

common_kesu::MuxConfig* NewConfig() {
  char url[kDoviUrlBufferSize];
  WriteDoviServiceUrl(url);
  auto* config = new common_kesu::MuxConfig;
  config->product = "kesu";
  config->version = KESU_VERSION;
  config->platform = "linux";
  config->distribution_channel = "cli";
  config->locale = "en_US";
  config->service_url = url;
  return config;
}

}  // namespace

Session::Session()
    : clock_(common_base::NewMonotonicClock()),
      queue_(clock_.get()),
      timer_(&queue_, clock_.get()) {
  common_kesu::MobileServiceMux::Initialize(&factory_, &queue_, clock_.get(), NewConfig());
}

Session::~Session() {
  common_kesu::MobileServiceMux::DeleteInstance();
}

}  // namespace kesu_tool
