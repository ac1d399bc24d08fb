#include <cstdlib>
#include <memory>
#include <string>

#include <glib.h>

#include "dovi/deferred_request_source.h"
#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/services/location_service.h"

#include "benchmark.h"
#include "loopback_server.h"
#include "sample_messages.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::GString;
using common_base::RequestInterface;
using common_kesu::LocationService;
using common_kesu::MobileServiceMux;

constexpr int kLookups = 2000;

class CountingFactory final : public DoviHttpRequestFactory {
 public:
  HttpRequestInterface* NewHttpPostRequest(const GString& url, const ByteView* body,
                                           ByteVector* response_body,
                                           StatusInfo* status_info) override {
    ++posts_;
    return DoviHttpRequestFactory::NewHttpPostRequest(url, body, response_body, status_info);
  }
  int posts() const { return posts_; }

 private:
  int posts_ = 0;
};

class CountingRequester final : public common_base::RequesterInterface {
 public:
  explicit CountingRequester(GMainLoop* loop) : loop_(loop) {}

  void OnRequestComplete(RequestInterface*) override { CountDown(); }
  void OnRequestFailed(RequestInterface*) override { std::abort(); }

 private:
  void CountDown() {
    if (--left_ == 0) g_main_loop_quit(loop_);
  }

  GMainLoop* loop_;
  int left_ = kLookups;
};

struct Figures {
  double cpu_microseconds_per_lookup = 0;
  int posts = 0;
};

Figures LookUpAll(const std::string& url) {
  DoviDeploymentSettings settings;
  settings.host = url.c_str();
  SetDoviDeploymentSettings(settings);
  common_base::PosixClock clock;
  CountingFactory factory;
  common_base::SimpleRequestQueue queue(&clock);
  const DeferredRequestSource timer(&queue, &clock);
  MobileServiceMux::Initialize(&factory, &queue, &clock, new common_kesu::MuxConfig);

  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  CountingRequester requester(loop);
  const double start = CpuSeconds();
  {
    std::vector<std::unique_ptr<LocationService>> services;
    for (int i = 0; i < kLookups; ++i) {
      auto* request = new lbs::GLocRequest;
      FillRequest(request);
      services.push_back(std::make_unique<LocationService>(common_kesu::kLBSServiceUri, request));
      services.back()->NewInvocation()->Start(&requester);
    }
    g_main_loop_run(loop);
  }
  const double seconds = CpuSeconds() - start;
  g_main_loop_unref(loop);
  MobileServiceMux::DeleteInstance();
  return {seconds / kLookups * 1e6, factory.posts()};
}

}  // namespace

std::vector<Benchmark> LoopbackBenchmarks(const char* path) {
  const auto server = std::make_shared<LoopbackServer>(path);
  const auto posts = std::make_shared<double>();
  return {{"loopback.cpu_per_lookup", "us",
           [server, posts] {
             const Figures figures = LookUpAll(server->url());
             *posts = figures.posts;
             return figures.cpu_microseconds_per_lookup;
           }},
          {"loopback.posts_for_2000_lookups", "POSTs", [posts] { return *posts; }}};
}
