#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <kesu-glib.h>

#include "client/client.h"
#include "client/main_loop.h"
#include "dovi/deferred_request_source.h"
#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/services/location_service.h"

#include "benchmark.h"
#include "loopback_server.h"

namespace {

constexpr int kLookups = 2000;
constexpr int kAccessPoints = 8;

/// The same observation for both, as each of them wants it.
const char* MacAddress(int i) {
  static const char* const kMacAddresses[kAccessPoints] = {
      "00-00-5E-00-53-00", "00-00-5E-00-53-01", "00-00-5E-00-53-02", "00-00-5E-00-53-03",
      "00-00-5E-00-53-04", "00-00-5E-00-53-05", "00-00-5E-00-53-06", "00-00-5E-00-53-07"};
  return kMacAddresses[i];
}

kesu::Observation Seen() {
  kesu::Observation seen;
  seen.cells.push_back({.mcc = 1, .mnc = 1, .area = 1, .cell = 1001, .signal_dbm = -71});
  for (int i = 0; i < kAccessPoints; ++i) {
    seen.access_points.push_back({.mac_address = MacAddress(i), .signal_dbm = -60});
  }
  return seen;
}

lbs::GLocRequest* NewRequest() {
  auto* request = new lbs::GLocRequest;
  lbs::GPlatformProfile* profile = request->mutable_platformprofile();
  profile->set_version("1.0");
  profile->set_platform("linux");
  profile->set_locale("en_US");
  lbs::GLocRequestElement* element = request->add_requestelements();
  lbs::GCell* cell = element->mutable_cellularprofile()->mutable_primarycell();
  cell->set_mcc(1);
  cell->set_mnc(1);
  cell->set_area_code(1);
  cell->set_cell_id(1001);
  cell->set_signal_strength_dbm(-71);
  for (int i = 0; i < kAccessPoints; ++i) {
    lbs::GWifiDevice* device = element->mutable_wifiprofile()->add_wifidevices();
    device->set_mac_address(MacAddress(i));
    device->set_signal_strength_dbm(-60);
  }
  return request;
}

class LastOne final : public common_base::RequesterInterface {
 public:
  explicit LastOne(kesu::MainLoop* loop) : loop_(loop) {}

  void OnRequestComplete(common_base::RequestInterface*) override {
    if (--left_ == 0) loop_->Quit();
  }
  void OnRequestFailed(common_base::RequestInterface*) override { std::abort(); }

 private:
  kesu::MainLoop* loop_;
  int left_ = kLookups;
};

/// The CPU seconds that this program spends on the lookups.
double ByServices(const std::string& url) {
  DoviDeploymentSettings settings;
  settings.host = url.c_str();
  settings.trace = DoviTraceTarget::kNowhere;
  SetDoviDeploymentSettings(settings);
  common_base::MonotonicClock clock;
  DoviHttpRequestFactory factory;
  common_base::SimpleRequestQueue queue(&clock);
  const DeferredRequestSource timer(&queue, &clock);
  common_kesu::MobileServiceMux::Initialize(&factory, &queue, &clock, new common_kesu::MuxConfig);
  kesu::MainLoop loop;
  LastOne requester(&loop);
  const double start = CpuSeconds();
  {
    std::vector<std::unique_ptr<common_kesu::LocationService>> services;
    for (int i = 0; i < kLookups; ++i) {
      services.push_back(std::make_unique<common_kesu::LocationService>(common_kesu::kLBSServiceUri,
                                                                        NewRequest()));
      services.back()->NewInvocation()->Start(&requester);
    }
    loop.Run();
  }
  const double seconds = CpuSeconds() - start;
  common_kesu::MobileServiceMux::DeleteInstance();
  return seconds;
}

double ByClient(const std::string& url) {
  kesu::MainLoop loop;
  kesu::Client client({.server = url});
  int left = kLookups;
  const double start = CpuSeconds();
  {
    std::vector<kesu::Call> calls;
    for (int i = 0; i < kLookups; ++i) {
      calls.push_back(client.Locate(Seen(), [&](const kesu::LocateResult& where) {
        if (!where) std::abort();
        if (--left == 0) loop.Quit();
      }));
    }
    loop.Run();
  }
  return CpuSeconds() - start;
}

/// What the callbacks of the GObjects are told.
struct Left {
  kesu::MainLoop loop;
  int calls = kLookups;
};

void OnLocated(GObject* client, GAsyncResult* result, gpointer data) {
  KesuLocation* where = kesu_client_locate_finish(KESU_CLIENT(client), result, nullptr);
  if (where == nullptr) std::abort();
  g_object_unref(where);
  auto* left = static_cast<Left*>(data);
  if (--left->calls == 0) left->loop.Quit();
}

double ByGObject(const std::string& url) {
  Left left;
  KesuClient* client = kesu_client_new(url.c_str());
  const double start = CpuSeconds();
  for (int i = 0; i < kLookups; ++i) {
    KesuObservation* seen = kesu_observation_new();
    kesu_observation_add_cell(seen, 1, 1, 1, 1001, -71);
    for (int j = 0; j < kAccessPoints; ++j) {
      kesu_observation_add_access_point(seen, MacAddress(j), -60, nullptr);
    }
    kesu_client_locate_async(client, seen, nullptr, OnLocated, &left);
    g_object_unref(seen);
  }
  left.loop.Run();
  const double seconds = CpuSeconds() - start;
  g_object_unref(client);
  return seconds;
}

}  // namespace

std::vector<Benchmark> ClientBenchmarks(const char* path) {
  const auto server = std::make_shared<LoopbackServer>(path);
  const auto services = std::make_shared<double>();
  const auto client = std::make_shared<double>();
  const auto gobject = std::make_shared<double>();
  return {{"client.cpu_per_call", "us",
           [=] {
             *client = ByClient(server->url());
             *services = ByServices(server->url());
             return *client / kLookups * 1e6;
           }},
          {"client.cpu_over_services", "times", [=] { return *client / *services; }},
          {"gobject.cpu_per_call", "us",
           [=] {
             *gobject = ByGObject(server->url());
             return *gobject / kLookups * 1e6;
           }},
          {"gobject.cpu_over_services", "times", [=] { return *gobject / *services; }}};
}
