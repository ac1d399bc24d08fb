// Follows a device: a lookup every so many seconds, 10 if not given, until Ctrl-C.
//
//     tracker http://127.0.0.1:8642 5

#include <cstdio>
#include <cstdlib>

#include <glib-unix.h>
#include <glib.h>

#include "dovi/deferred_request_source.h"
#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/services/location_service.h"

namespace {

// What the device observes now. A program of yours asks its modem and its wifi here.
void Observe(lbs::GLocRequest* request) {
  request->Clear();
  lbs::GLocRequestElement* element = request->add_requestelements();
  lbs::GWifiDevice* device = element->mutable_wifiprofile()->add_wifidevices();
  device->set_mac_address("00-00-5E-00-53-01");
  device->set_signal_strength_dbm(-60);
}

class Tracker : public common_base::RequesterInterface {
 public:
  Tracker() : service_(common_kesu::kLBSServiceUri, new lbs::GLocRequest) {}

  // Each lookup sends the request as it then stands. One at a time: a slow one skips a turn.
  void LookUp() {
    if (is_running_) return;
    Observe(service_.request());
    common_base::RequestInterface* lookup = service_.NewInvocation();
    is_running_ = lookup->Start(this) == 0;
    if (is_running_) return;
    lookup->Cancel();  // Nobody will be told; it is still ours.
    std::puts("the lookup cannot be started");
  }

  // Takes the locations away from the service. It would keep them, and a later lookup that finds
  // nothing would show where the device was before.
  void OnRequestComplete(common_base::RequestInterface*) override {
    is_running_ = false;
    const auto locations = service_.TakeGLocations();
    if (locations.IsEmpty()) std::puts("nobody knows where this is");
    for (const auto& location : locations) {
      std::printf("%.5f, %.5f, within %d m\n", location->latlng().latitude_e7() / 1e7,
                  location->latlng().longitude_e7() / 1e7, location->accuracy_m());
    }
  }

  void OnRequestFailed(common_base::RequestInterface*) override {
    is_running_ = false;
    std::printf("failed with status %d, %s\n", service_.last_status(),
                TransportErrorKindName(service_.last_transport_error().kind));
  }

 private:
  common_kesu::LocationService service_;
  bool is_running_ = false;
};

gboolean OnTimer(void* tracker) {
  static_cast<Tracker*>(tracker)->LookUp();
  return G_SOURCE_CONTINUE;
}

gboolean OnInterrupt(void* loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
  DoviDeploymentSettings settings;
  settings.host = argc > 1 ? argv[1] : nullptr;
  settings.total_timeout_ms = 20'000;
  settings.trace = DoviTraceTarget::kNowhere;
  if (!SetDoviDeploymentSettings(settings)) return 2;
  const unsigned long seconds = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 10;
  if (seconds == 0) return 2;

  const common_base::ScopedPtr<common_base::ClockInterface> clock(common_base::NewMonotonicClock());
  DoviHttpRequestFactory factory;
  common_base::SimpleRequestQueue queue(clock.get());
  const DeferredRequestSource timer(&queue, clock.get());
  common_kesu::MobileServiceMux::Initialize(&factory, &queue, clock.get(),
                                            new common_kesu::MuxConfig);
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  Tracker tracker;
  tracker.LookUp();
  const unsigned turns = g_timeout_add_seconds(static_cast<unsigned>(seconds), OnTimer, &tracker);
  g_unix_signal_add(SIGINT, OnInterrupt, loop);
  g_main_loop_run(loop);

  g_source_remove(turns);
  g_main_loop_unref(loop);
  common_kesu::MobileServiceMux::DeleteInstance();
  return 0;
}
