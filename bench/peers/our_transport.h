#ifndef KESU_BENCH_PEERS_OUR_TRANSPORT_H_
#define KESU_BENCH_PEERS_OUR_TRANSPORT_H_

#include <string>
#include <string_view>
#include <vector>

#include "dovi/deferred_request_source.h"
#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/mobile_service_mux.h"

inline std::string_view TextOf(const common_base::ByteView& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(bytes.length())};
}

/// The transport, which keeps a copy of each body where that is asked for.
class KeepingFactory final : public DoviHttpRequestFactory {
 public:
  explicit KeepingFactory(bool keep_bodies) : keep_bodies_(keep_bodies) {}

  HttpRequestInterface* NewHttpPostRequest(const common_base::GString& url,
                                           const common_base::ByteView* body,
                                           common_base::ByteVector* response_body,
                                           StatusInfo* status_info) override {
    if (keep_bodies_) bodies_.emplace_back(TextOf(*body));
    return DoviHttpRequestFactory::NewHttpPostRequest(url, body, response_body, status_info);
  }
  const std::vector<std::string>& bodies() const { return bodies_; }

 private:
  bool keep_bodies_;
  std::vector<std::string> bodies_;
};

/// The multiplexer with all below it, as an application sets it up. One at a time.
class OurTransport {
 public:
  OurTransport(const std::string& host, bool keep_bodies)
      : factory_((UseHost(host), keep_bodies)), queue_(&clock_), timer_(&queue_, &clock_) {
    common_kesu::MobileServiceMux::Initialize(&factory_, &queue_, &clock_,
                                              new common_kesu::MuxConfig);
  }
  OurTransport(const OurTransport&) = delete;
  OurTransport& operator=(const OurTransport&) = delete;
  ~OurTransport() { common_kesu::MobileServiceMux::DeleteInstance(); }

  const std::vector<std::string>& bodies() const { return factory_.bodies(); }

 private:
  /// Is to be done before the factory is made.
  static void UseHost(const std::string& host) {
    DoviDeploymentSettings settings;
    settings.host = host.c_str();
    settings.trace = DoviTraceTarget::kNowhere;
    SetDoviDeploymentSettings(settings);
  }

  common_base::MonotonicClock clock_;
  KeepingFactory factory_;
  common_base::SimpleRequestQueue queue_;
  DeferredRequestSource timer_;
};

#endif  // KESU_BENCH_PEERS_OUR_TRANSPORT_H_
