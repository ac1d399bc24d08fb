#include <memory>
#include <vector>

#include <glib.h>

#include "kesu/common/base/request_interface.h"
#include "kesu/services/location_service.h"

#include "bench/peers/heap_counter.h"
#include "bench/peers/instructions.h"
#include "bench/peers/lines.h"
#include "bench/peers/our_transport.h"
#include "bench/peers/server.h"
#include "bench/sample_messages.h"

namespace {

using common_base::RequestInterface;
using common_kesu::LocationService;

constexpr int kLookups = 2000;
constexpr int kRounds = 9;
constexpr double kGoal = 0.4;
constexpr double kAllocationsGoal = 25;

/// What a lookup took before the library was made fast, in this very program. Measured in readings
/// of the sample reply by hand, which have stayed what they were: so other machines can compare.
constexpr double kMicrosecondsBefore = 6.01 / 10.25;
constexpr double kInstructionsBefore = 45574.0 / 146370;
constexpr double kAllocationsBefore = 69.5;

/// Makes lookups, all in one batch, and reads the position of each.
class Lookups final : public common_base::RequesterInterface {
 public:
  void Run() {
    left_ = kLookups;
    for (int i = 0; i < kLookups; ++i) {
      auto* request = new lbs::GLocRequest;
      FillLookup(request);
      services_.push_back(std::make_unique<LocationService>(common_kesu::kLBSServiceUri, request));
      services_.back()->NewInvocation()->Start(this);
    }
    common_kesu::MobileServiceMux::GetInstance()->FlushPendingRequests();
    while (left_ > 0) g_main_context_iteration(nullptr, TRUE);
    for (const auto& service : services_) RequirePosition(*service);
    services_.clear();
  }

  void OnRequestComplete(RequestInterface*) override { --left_; }
  void OnRequestFailed(RequestInterface*) override { RequireSame(false, "a lookup has failed"); }

 private:
  static void RequirePosition(const LocationService& service) {
    const lbs::GLocReply* reply = service.GetGLocReply();
    RequireSame(reply != nullptr && reply->replyelements_size() == 1 &&
                    reply->replyelements(0).location().latlng().latitude_e7() == kLatitudeE7,
                "a lookup has another answer");
  }

  std::vector<std::unique_ptr<LocationService>> services_;
  int left_ = 0;
};

}  // namespace

std::vector<Line> LookupLines() {
  const ServerProcess server;
  const OurTransport transport(server.host(), false);
  Lookups lookups;
  const Work work = {[&] { lookups.Run(); }};
  const auto reading = PlainReplyReading();
  const Work yardstick = {[&] {
    for (int i = 0; i < kLookups; ++i) reading();
  }};
  const Cost cost = Measure({work, yardstick, 1, kRounds, kLookups});
  const double before =
      cost.peer * (CanCountInstructions() ? kInstructionsBefore : kMicrosecondsBefore);
  const double allocations = static_cast<double>(CountHeapUse(work.run).allocations) / kLookups;
  return {
      {"lookup, beside what it was", CostUnit(), cost.ours, before, Goal::kRatio, kGoal},
      {"lookup, allocations", "", allocations, kAllocationsBefore, Goal::kOurs, kAllocationsGoal},
  };
}
