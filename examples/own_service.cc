// A service of one's own on the machinery of the library: one message out, another back, through
// the same multiplexer as everything else. The program asks for the opening hours of a shop:
//
//     own_service http://127.0.0.1:8642
//
// kesu-server does not know this service and answers with status 404.

#include <cstdio>

#include <glib.h>

#include "dovi/deferred_request_source.h"
#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/common/net/proto/message_table.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/services/vollen_service.h"

namespace shop {

// The two messages, a line for each field.
class HoursRequest final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(HoursRequest);
  KESU_FIELD(1, kOptional, String, shop_name);
  KESU_MESSAGE_END();
};

class HoursReply final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(HoursReply);
  KESU_FIELD(1, kRepeated, String, opening_hours);
  KESU_MESSAGE_END();
};

KESU_DEFINE_MESSAGE(HoursRequest)
KESU_DEFINE_MESSAGE(HoursReply)

using HoursService = common_kesu::VollenService<HoursRequest, HoursReply>;

}  // namespace shop

// Prints the outcome and ends the program's main loop.
class HoursPrinter : public common_base::RequesterInterface {
 public:
  HoursPrinter(const shop::HoursService* service, GMainLoop* loop)
      : service_(service), loop_(loop) {}

  void OnRequestComplete(common_base::RequestInterface*) override {
    std::printf("%d entries\n", service_->vollen_response()->opening_hours_size());
    g_main_loop_quit(loop_);
  }

  void OnRequestFailed(common_base::RequestInterface*) override {
    std::fprintf(stderr, "failed with status %d\n", service_->last_status());
    g_main_loop_quit(loop_);
  }

 private:
  const shop::HoursService* service_;
  GMainLoop* loop_;
};

int main(int argc, char** argv) {
  DoviDeploymentSettings settings;
  settings.host = argc > 1 ? argv[1] : nullptr;
  settings.total_timeout_ms = 20'000;
  settings.trace = DoviTraceTarget::kNowhere;
  if (!SetDoviDeploymentSettings(settings)) return 2;
  const common_base::ScopedPtr<common_base::ClockInterface> clock(common_base::NewMonotonicClock());
  DoviHttpRequestFactory factory;
  common_base::SimpleRequestQueue queue(clock.get());
  const DeferredRequestSource timer(&queue, clock.get());
  common_kesu::MobileServiceMux::Initialize(&factory, &queue, clock.get(),
                                            new common_kesu::MuxConfig);

  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  auto* request = new shop::HoursRequest;
  request->set_shop_name("The corner shop");
  shop::HoursService service("shop:hours", request);
  HoursPrinter printer(&service, loop);
  common_base::RequestInterface* call = service.NewInvocation();
  if (call->Start(&printer) == 0) {
    g_main_loop_run(loop);
  } else {
    call->Cancel();  // Nobody will be told; it is still ours.
  }
  g_main_loop_unref(loop);
  common_kesu::MobileServiceMux::DeleteInstance();
  return 0;
}
