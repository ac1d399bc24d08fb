// Feeds the multiplexer arbitrary replies to its POSTs. No listener is called twice or after a
// cancellation, and each is called once the clock has run on.
#include <memory>
#include <vector>

#include "kesu/common/base/internal/async.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/mux/plain_request.h"

#include "fuzz/byte_script.h"
#include "support/manual_clock.h"
#include "support/stub_transport.h"

using common_kesu::MobileServiceMux;
using namespace kesu_fuzz;
using kesu_test::StubTransport;

namespace {

constexpr int kServerError = 500;
constexpr long long kRetryDelayTicks = 500000;

struct Call final : common_kesu::Request::ListenerInterface {
  bool RequestComplete(const common_kesu::Request* told, const common_kesu::Response* response,
                       bool*) override {
    Require(told == &request);
    Require(!is_over);
    is_over = true;
    const std::unique_ptr<common_base::DataInputStream> payload(response->GetInputStream());
    if (payload) Require(payload->ReadFully().length() == response->ComputePayloadLength());
    if (to_cancel != nullptr) to_cancel->Cancel();
    return true;
  }
  void Cancel() {
    if (is_over) return;
    MobileServiceMux::GetInstance()->Cancel(&request);
    is_over = true;
  }

  common_kesu::PlainRequest request{"u", common_kesu::ServiceVersion::kVersion1};
  /// Cancelled from inside the callback.
  Call* to_cancel = nullptr;
  bool is_over = false;
};

void EndOldestPost(ByteScript* script, StubTransport* transport) {
  static const kesu_test::HeaderList kHeaders[] = {
      {{"Content-Type", "application/binary"}}, {{"content-type", "application/binary"}}, {}};
  static constexpr int kFailures[] = {502, 501, 550, kServerError, 0};
  const std::size_t post = transport->Open().front();
  const unsigned choice = script->TakeByte();
  if (choice >= 0xFB) return transport->End(post, kFailures[choice - 0xFB]);
  const auto length = static_cast<std::uint16_t>(script->TakeInt16());
  // Mostly the right header; the others need a byte of their own.
  transport->End(post, 200, script->TakeText(length), kHeaders[choice < 0xF9 ? 0 : choice - 0xF8]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  kesu_test::ManualClock clock;
  common_base::SimpleRequestQueue queue(&clock);
  StubTransport transport;
  MobileServiceMux::Initialize(&transport, &queue, &clock, new common_kesu::MuxConfig);

  std::vector<Call> calls(static_cast<std::size_t>(1 + script.Pick(16)));
  for (Call& call : calls) {
    call.request.ReplaceListener(&call);
    MobileServiceMux::GetInstance()->Submit(&call.request);
    const std::size_t other = script.TakeByte();
    if (other < calls.size()) call.to_cancel = &calls[other];
  }
  const auto has_post_later = [&] {
    clock.Advance(kRetryDelayTicks);
    queue.StartDeferredRequests();
    return !transport.Open().empty();
  };
  while (!script.IsAtEnd() && has_post_later()) EndOldestPost(&script, &transport);
  // The first POST, the retry after it, and one for luck.
  for (int i = 0; i < 3 && has_post_later(); ++i) {
    for (const std::size_t post : transport.Open()) transport.End(post, kServerError);
  }
  for (const Call& call : calls) Require(call.is_over);
  MobileServiceMux::DeleteInstance();
  return 0;
}
