// Looks up where a device is that hears one cell and two wifi access points:
//
//     lookup http://127.0.0.1:8642

#include <cstdio>

#include <glib.h>

#include "dovi/deferred_request_source.h"
#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/services/location_service.h"

using common_kesu::LocationService;
using common_kesu::MobileServiceMux;

// What the device observes.
lbs::GLocRequest* NewObservation() {
  auto* request = new lbs::GLocRequest;
  lbs::GLocRequestElement* element = request->add_requestelements();
  lbs::GCell* cell = element->mutable_cellularprofile()->mutable_primarycell();
  cell->set_mcc(1);
  cell->set_mnc(1);
  cell->set_area_code(1);
  cell->set_cell_id(1001);
  cell->set_signal_strength_dbm(-71);
  for (const char* mac_address : {"00-00-5E-00-53-00", "00-00-5E-00-53-01"}) {
    lbs::GWifiDevice* device = element->mutable_wifiprofile()->add_wifidevices();
    device->set_mac_address(mac_address);
    device->set_signal_strength_dbm(-60);
  }
  return request;
}

// Prints the outcome of one lookup and ends the program's main loop.
class LookupPrinter : public common_base::RequesterInterface {
 public:
  LookupPrinter(LocationService* service, GMainLoop* loop) : service_(service), loop_(loop) {}

  void OnRequestComplete(common_base::RequestInterface*) override {
    // The service keeps what it is not asked to hand over, and would show it after the next lookup.
    const auto locations = service_->TakeGLocations();
    for (const auto& location : locations) {
      std::printf("%.5f, %.5f, within %d m\n", location->latlng().latitude_e7() / 1e7,
                  location->latlng().longitude_e7() / 1e7, location->accuracy_m());
    }
    found_ = !locations.IsEmpty();
    g_main_loop_quit(loop_);
  }

  void OnRequestFailed(common_base::RequestInterface*) override {
    std::fprintf(stderr, "the lookup failed: %s\n",
                 TransportErrorKindName(service_->last_transport_error().kind));
    g_main_loop_quit(loop_);
  }

  bool found() const { return found_; }

 private:
  LocationService* service_;
  GMainLoop* loop_;
  bool found_ = false;
};

int main(int argc, char** argv) {
  DoviDeploymentSettings settings;
  settings.host = argc > 1 ? argv[1] : nullptr;
  settings.total_timeout_ms = 20'000;
  settings.trace = DoviTraceTarget::kNowhere;
  if (!SetDoviDeploymentSettings(settings)) return 2;

  // Start-up: the transport, the queue and its timer, the multiplexer.
  const common_base::ScopedPtr<common_base::ClockInterface> clock(common_base::NewMonotonicClock());
  DoviHttpRequestFactory factory;
  common_base::SimpleRequestQueue queue(clock.get());
  const DeferredRequestSource timer(&queue, clock.get());
  auto* config = new common_kesu::MuxConfig;
  config->product = "lookup-example";
  config->version = "1.0";
  MobileServiceMux::Initialize(&factory, &queue, clock.get(), config);

  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  LocationService service(common_kesu::kLBSServiceUri, NewObservation());
  LookupPrinter printer(&service, loop);
  common_base::RequestInterface* lookup = service.NewInvocation();
  if (lookup->Start(&printer) == 0) {
    g_main_loop_run(loop);
  } else {
    lookup->Cancel();  // Nobody will be told; it is still ours.
  }
  g_main_loop_unref(loop);

  // Shut-down, the other way round; the rest goes by itself.
  MobileServiceMux::DeleteInstance();
  return printer.found() ? 0 : 1;
}
