#include "kesu/common/base/internal/async.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/common/base/internal/null_requester.h"
#include "kesu/common/base/internal/request_adapter.h"

#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/recording_requester.h"

using namespace common_base;
using kesu_test::LogCapture;
using kesu_test::ManualClock;
using kesu_test::RecordingRequester;

TEST_CASE("deferred requests complete by due time, equal ones as started, cancelled ones never") {
  ManualClock clock(1000);
  SimpleRequestQueue queue(&clock);
  std::mt19937 random(1);
  std::multimap<long long, int> expected;  // Keeps the order of equal keys.
  std::vector<int> completed;
  std::vector<std::unique_ptr<RecordingRequester>> requesters;
  std::vector<RequestInterface*> to_cancel;
  for (int i = 0; i < 3000; ++i) {
    const long long delay = random() % 999;
    requesters.push_back(std::make_unique<RecordingRequester>(
        [&completed, i](RequestInterface*) { completed.push_back(i); }));
    RequestInterface* request = queue.NewDeferredRequest(delay);
    clock.Advance(random() % 2);  // The delay counts from the start.
    request->Start(requesters.back().get());
    if (random() % 8 == 0) {
      to_cancel.push_back(request);
    } else {
      expected.emplace(clock.TickCount() + delay, i);
    }
  }
  for (RequestInterface* request : to_cancel) request->Cancel();
  std::vector<int> due;
  for (const auto& [due_time, i] : expected) {
    const long long wait = due_time - clock.TickCount();
    if (wait > 0) {
      clock.Advance(wait - 1);
      queue.StartDeferredRequests();
      REQUIRE(completed == due);
      clock.Advance(1);
    }
    due.push_back(i);
  }
  queue.StartDeferredRequests();
  CHECK(completed == due);
  clock.Advance(3000);
  queue.StartDeferredRequests();
  CHECK(queue.TimeOfNextRequest() == clock.TickCount() + 10000000);
  queue.NewDeferredRequest(50)->Start(requesters[0].get());  // Deleted with the queue.
  CHECK(queue.TimeOfNextRequest() == clock.TickCount() + 50);
}

TEST_CASE("requests started and cancelled from inside a callback") {
  ManualClock clock;
  SimpleRequestQueue queue(&clock);
  RecordingRequester at_once;
  RecordingRequester later;
  RecordingRequester unheard;
  RequestInterface* second = queue.NewDeferredRequest(0);
  RecordingRequester first([&](RequestInterface* self) {
    queue.NewDeferredRequest(0)->Start(&at_once);
    queue.NewDeferredRequest(1)->Start(&later);
    queue.NewDeferredRequest(1)->Cancel();  // Deletes itself.
    clock.Advance(5);                       // The pass goes on with the time of its beginning.
    queue.NewDeferredRequest(0)->Start(&later);
    second->Cancel();
    self->Cancel();
  });
  queue.NewDeferredRequest(0)->Start(&first);
  second->Start(&unheard);
  queue.StartDeferredRequests();
  CHECK(at_once.completed == 1);
  CHECK(later.completed == 0);
  queue.StartDeferredRequests();
  CHECK(later.completed == 2);
  CHECK(unheard.completed == 0);
}

TEST_CASE("broken contracts of deferred requests are reported and otherwise survived") {
  ManualClock clock(1);
  const LogCapture log(kLogErrors);
  SimpleRequestQueue queue(&clock);
  RecordingRequester requester;
  queue.NewDeferredRequest(2147483646)->Cancel();
  queue.NewDeferredRequest(-1)->Start(&requester);
  queue.NewDeferredRequest(2147483647)->Start(&requester);
  queue.StartDeferredRequests();
  CHECK(requester.completed == 1);
  clock.Advance(2147483647);
  queue.StartDeferredRequests();
  CHECK(requester.completed == 2);

  RequestInterface* cancelled = queue.NewDeferredRequest(0);
  cancelled->Start(&requester);
  cancelled->Cancel();
  cancelled->Cancel();
  queue.StartDeferredRequests();
  CHECK(requester.completed == 2);
  queue.NewDeferredRequest(1)->Start(nullptr);

  // A request that is started twice waits twice, so this queue can never run nor be destroyed.
  static auto* const abandoned = new SimpleRequestQueue(&clock);
  RequestInterface* twice = abandoned->NewDeferredRequest(1);
  twice->Start(&requester);
  twice->Cancel();
  twice->Start(&requester);

  const char* const kReports[] = {
      "191: GWASSERT failed: delay >= 0",  "192: GWASSERT failed: delay < kint32max",
      "216: GWASSERT failed: !cancelled_", "200: GWASSERT failed: requester",
      "201: GWASSERT failed: !requester_", "202: GWASSERT failed: !cancelled_"};
  REQUIRE(log.lines().size() == std::size(kReports));
  for (std::size_t i = 0; i < std::size(kReports); ++i) {
    CHECK(log.lines()[i] == std::string("!!E: Src/kesu/common/base/internal/async:") + kReports[i]);
  }
}

namespace {

/// Deletes itself when its end is reported. When it is cancelled it does so too, but first gives
/// another such request to a null requester, as often as `to_chain` says.
struct SelfDeleting final : RequestInterface {
  SelfDeleting(int* cancelled, int to_chain) : cancelled_(cancelled), to_chain_(to_chain) {
    requester_ = NullRequester(this);
  }
  int Start(RequesterInterface*) override { return 0; }
  void Cancel() override {
    ++*cancelled_;
    if (to_chain_ > 0) new SelfDeleting(cancelled_, to_chain_ - 1);
    delete this;
  }
  void End(bool succeeded) {
    succeeded ? requester_->OnRequestComplete(this) : requester_->OnRequestFailed(this);
    delete this;
  }

  int* cancelled_;
  int to_chain_;
  RequesterInterface* requester_;
};

}  // namespace

TEST_CASE("null requesters go with their requests; resetting cancels what is outstanding") {
  for (const auto reset : {+[] { ResetAsync(-7); }, +[] { CleanupAsync(); }}) {
    int cancelled = 0;
    std::vector<SelfDeleting*> requests;
    for (int i = 0; i < 5; ++i) requests.push_back(new SelfDeleting(&cancelled, 0));
    for (const std::size_t ended : {0U, 2U, 4U}) requests[ended]->End(ended == 2);
    new SelfDeleting(&cancelled, 3);
    reset();
    CHECK(cancelled == 2 + 1 + 3);
    reset();
    CHECK(cancelled == 2 + 1 + 3);
  }
}

namespace {

/// An inner request that the test owns.
struct Inner final : RequestInterface {
  int Start(RequesterInterface* to_tell) override {
    requester = to_tell;
    return start_result;
  }
  void Cancel() override { ++cancelled; }
  void End(bool succeeds) {
    succeeds ? requester->OnRequestComplete(this) : requester->OnRequestFailed(this);
  }

  int start_result = 0;
  RequesterInterface* requester = nullptr;
  int cancelled = 0;
};

struct Adapter final : RequestAdapter {
  explicit Adapter(RequestInterface* inner) { InitRequestAdapter(inner, "TestAdapter"); }
  void OnInnerRequestComplete(RequestInterface*) override { on_complete(this); }
  void OnInnerRequestFailed(RequestInterface*) override { on_failed(this); }
  using RequestAdapter::ResetInnerRequest;
  using RequestAdapter::SetSucceeded;

  std::function<void(Adapter*)> on_complete = [](Adapter*) {};
  std::function<void(Adapter*)> on_failed = [](Adapter*) {};
};

}  // namespace

TEST_CASE("an adapter reports its inner request's outcome, as the subclass leaves it, and logs") {
  for (const int bits : {0, 1, 2, 3}) {
    const bool succeeds = (bits & 1) != 0;
    const bool changes = (bits & 2) != 0;
    auto inner = std::make_unique<Inner>();
    auto* adapter = new Adapter(inner.get());
    if (changes) {
      adapter->on_complete = [](Adapter* self) { self->SetSucceeded(false); };
      adapter->on_failed = [](Adapter* self) { self->SetSucceeded(true); };
    }
    // The low 32 bits of the address, as a signed number.
    const auto id = std::to_string(static_cast<int>(reinterpret_cast<std::uintptr_t>(adapter)));
    const std::string prefix = "  D: RequestAdapter TestAdapter " + id + ": ";
    const std::string end = succeeds ? "complete" : "failed";
    std::unique_ptr<RecordingRequester> requester;
    int ends = 0;
    requester = std::make_unique<RecordingRequester>([&](RequestInterface* request) {
      ++ends;
      CHECK(request == adapter);
      CHECK(requester->completed == (succeeds != changes ? 1 : 0));
      CHECK(requester->failed == (succeeds != changes ? 0 : 1));
      CHECK(inner->cancelled == 0);
      inner.reset();  // Both may go from inside the callback.
      requester.reset();
    });
    const LogCapture log(kLogDebug);
    adapter->Start(requester.get());
    inner->End(succeeds);
    CHECK(ends == 1);
    CHECK(log.lines() ==
          std::vector{prefix + "start", prefix + "inner request " + end, prefix + end});
  }
}

TEST_CASE("an adapter waits for chained inner requests and ignores strange ones") {
  for (const bool starts : {true, false}) {
    Inner first;
    Inner second;
    Inner third;
    third.start_result = starts ? 0 : -1;
    RecordingRequester requester;
    auto* adapter = new Adapter(&first);
    adapter->on_complete = [&](Adapter* self) {
      if (second.requester == nullptr) self->ResetInnerRequest(&second);
    };
    adapter->on_failed = [&third](Adapter* self) { self->ResetInnerRequest(&third); };
    adapter->Start(&requester);
    adapter->OnRequestComplete(&second);
    adapter->OnRequestFailed(&third);
    first.End(true);
    first.End(true);  // No longer its inner request.
    adapter->OnRequestMadeProgress(&second);
    CHECK(requester.progressed == 1);
    CHECK(requester.last_request == adapter);
    second.End(false);
    // One that cannot be started is a failure of the adapter.
    CHECK(requester.failed == (starts ? 0 : 1));
    CHECK(third.cancelled == (starts ? 0 : 1));
    if (starts) third.End(true);
    CHECK(requester.completed == (starts ? 1 : 0));
  }
}

TEST_CASE("cancelling and deleting an adapter cancel the inner request and tell nobody") {
  for (const bool by_cancel : {true, false}) {
    Inner inner;
    inner.start_result = -1;
    RecordingRequester requester;
    auto* adapter = new Adapter(&inner);
    CHECK(adapter->Start(&requester) == -1);
    by_cancel ? adapter->Cancel() : delete adapter;
    CHECK(inner.cancelled == 1);
    CHECK(requester.completed + requester.failed == 0);
  }
}
