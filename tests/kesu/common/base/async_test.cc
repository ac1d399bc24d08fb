#include "kesu/common/base/internal/async.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/common/base/internal/null_requester.h"
#include "kesu/common/base/internal/request_adapter.h"

#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/recording_requester.h"

using namespace common_base;
using namespace kesu_test;

TEST_CASE("deferred requests complete when due, equal ones as started, cancelled ones never") {
  ManualClock clock(-5000);  // Ticks may be negative.
  std::deque<RecordingRequester> requesters;
  std::vector<std::pair<long long, int>> expected;
  std::vector<std::pair<long long, int>> completed;
  SimpleRequestQueue queue(&clock);
  for (int i = 0; i < 3000; ++i) {
    const long long delay = 3000 + 7919 * i % 999;
    RequestInterface* request = queue.NewDeferredRequest(delay);
    clock.Advance(i % 3 % 2);  // The delay counts from the start.
    request->Start(&requesters.emplace_back(
        [&, i](RequestInterface*) { completed.emplace_back(clock.TickCount(), i); }));
    if (i % 8 == 0) {
      request->Cancel();
    } else {
      expected.emplace_back(clock.TickCount() + delay, i);
    }
  }
  std::sort(expected.begin(), expected.end());
  for (; clock.TickCount() < 2000; clock.Advance(1)) queue.StartDeferredRequests();
  CHECK((completed == expected));
  CHECK(queue.TimeOfNextRequest() == 2000 + 10'000'000);
}

TEST_CASE("a due time that ticks cannot hold is the last or first tick") {
  RecordingRequester unheard;
  for (const bool is_last : {false, true}) {
    const ManualClock clock(is_last ? LLONG_MAX - 5 : LLONG_MIN + 5);
    SimpleRequestQueue queue(&clock);
    queue.NewDeferredRequest(is_last ? 10 : -10)->Start(&unheard);  // Deleted with the queue.
    CHECK(queue.TimeOfNextRequest() == (is_last ? LLONG_MAX : LLONG_MIN));
  }
}

TEST_CASE("a clock that is set back costs the time since it was last read, and keeps the order") {
  for (const long long step : {1LL, 700LL, 86'400'000'000LL}) {
    CAPTURE(step);
    ManualClock clock(1000);
    SimpleRequestQueue queue(&clock);
    std::string completed;
    std::deque<RecordingRequester> requesters;
    const auto start = [&](char name, long long delay) {
      queue.NewDeferredRequest(delay)->Start(
          &requesters.emplace_back([&, name](RequestInterface*) { completed += name; }));
    };
    start('b', 500);
    start('c', 600);
    clock.Advance(100);
    start('a', 300);  // The last reading.
    clock.Advance(50 - step);
    CHECK(queue.TimeOfNextRequest() == clock.TickCount() + 300 - (step < 50 ? 50 - step : 0));
    clock.Advance(10);
    start('d', 490);  // Due with 'c', where the clock seems to have stood still.
    clock.Advance(10 - step);
    for (int i = 0; i < 800; ++i, clock.Advance(1)) queue.StartDeferredRequests();
    CHECK(completed == "abcd");
    CHECK_FALSE(queue.HasPendingRequests());
  }
}

TEST_CASE("requests started and cancelled from inside a callback") {
  ManualClock clock;
  SimpleRequestQueue queue(&clock);
  RecordingRequester heard;
  RecordingRequester unheard;
  RequestInterface* second = queue.NewDeferredRequest(0);
  RecordingRequester first([&](RequestInterface* self) {
    queue.NewDeferredRequest(0)->Start(&heard);
    queue.NewDeferredRequest(1)->Cancel();  // Deletes itself.
    clock.Advance(5);                       // The pass goes on with the time of its beginning.
    queue.NewDeferredRequest(0)->Start(&heard);
    second->Cancel();
    self->Cancel();
  });
  queue.NewDeferredRequest(0)->Start(&first);
  second->Start(&unheard);
  for (const int pass : {1, 2}) {
    queue.StartDeferredRequests();
    CHECK(heard.completed == pass);
  }
  CHECK(unheard.completed == 0);
}

TEST_CASE("broken contracts of deferred requests are reported and otherwise survived") {
  const ManualClock clock(1);
  const LogCapture log(kLogErrors);
  RecordingRequester requester;
  // Never run nor destroyed: a request that is started twice waits twice.
  static auto* const queue = new SimpleRequestQueue(&clock);
  queue->NewDeferredRequest(2147483646)->Cancel();
  CHECK(log.lines().empty());
  queue->NewDeferredRequest(-1)->Start(&requester);
  CHECK(queue->TimeOfNextRequest() == 0);
  queue->NewDeferredRequest(2147483647)->Start(nullptr);
  RequestInterface* twice = queue->NewDeferredRequest(1);
  twice->Start(&requester);
  twice->Cancel();
  twice->Cancel();
  twice->Start(&requester);
  std::string reports;
  for (const std::string& line : log.lines()) reports += line.substr(line.rfind("async:")) + "\n";
  CHECK(reports ==
        "async:191: GWASSERT failed: delay >= 0\n"
        "async:192: GWASSERT failed: delay < kint32max\n"
        "async:200: GWASSERT failed: requester\n"
        "async:216: GWASSERT failed: !cancelled_\n"
        "async:201: GWASSERT failed: !requester_\n"
        "async:202: GWASSERT failed: !cancelled_\n");
}

namespace {

/// A request that the test owns.
struct OwnedRequest final : RequestInterface {
  int Start(RequesterInterface* to_tell) override {
    requester = to_tell;
    return start_result;
  }
  void Cancel() override {
    ++cancelled;
    at_cancel();
  }
  void End(bool succeeds) {
    succeeds ? requester->OnRequestComplete(this) : requester->OnRequestFailed(this);
  }

  int start_result = 0;
  RequesterInterface* requester = nullptr;
  int cancelled = 0;
  std::function<void()> at_cancel = [] {};
};

struct Adapter final : RequestAdapter {
  explicit Adapter(RequestInterface* inner) { InitRequestAdapter(inner, "TestAdapter"); }
  void OnInnerRequestComplete(RequestInterface*) override { at_inner_end(this); }
  void OnInnerRequestFailed(RequestInterface*) override { at_inner_end(this); }
  using RequestAdapter::ResetInnerRequest;
  using RequestAdapter::SetSucceeded;

  std::function<void(Adapter*)> at_inner_end = [](Adapter*) {};
};

}  // namespace

TEST_CASE("null requesters go with their requests; resetting cancels what is outstanding") {
  for (const auto reset : {+[] { ResetAsync(-7); }, +[] { CleanupAsync(); }}) {
    std::deque<OwnedRequest> requests(8);
    for (int i = 0; i < 7; ++i) requests[i].Start(NullRequester(&requests[i]));
    for (const int ended : {0, 2, 4}) requests[ended].End(ended == 2);
    requests[3].at_cancel = [&] { requests[7].Start(NullRequester(&requests[7])); };
    requests[5].at_cancel = [] { ResetAsync(0); };
    for (int i = 0; i < 2; ++i) reset();
    std::string cancelled;
    for (const OwnedRequest& request : requests) cancelled += std::to_string(request.cancelled);
    CHECK(cancelled == "01010111");
  }
}

TEST_CASE("an adapter reports its inner request's outcome, as the subclass leaves it, and logs") {
  for (const int bits : {0, 1, 2, 3}) {
    const bool succeeds = (bits & 1) != 0;
    const bool changes = (bits & 2) != 0;
    auto inner = std::make_unique<OwnedRequest>();
    auto* adapter = new Adapter(inner.get());
    if (changes) adapter->at_inner_end = [=](Adapter* self) { self->SetSucceeded(!succeeds); };
    int completed = -1;
    std::unique_ptr<RecordingRequester> requester;
    requester = std::make_unique<RecordingRequester>([&](RequestInterface* request) {
      CHECK(request == adapter);
      CHECK(inner->cancelled == 0);
      completed = requester->completed;
      inner.reset();  // Both may go from inside the callback.
      requester.reset();
    });
    const LogCapture log(kLogDebug);
    // The low 32 bits of the address, as a signed number.
    const auto id = std::to_string(static_cast<int>(reinterpret_cast<std::uintptr_t>(adapter)));
    const std::string start = "  D: RequestAdapter TestAdapter " + id + ": ";
    const std::string end = succeeds ? "complete" : "failed";
    adapter->Start(requester.get());
    inner->End(succeeds);
    CHECK(completed == (succeeds != changes ? 1 : 0));
    CHECK(log.lines() == std::vector{start + "start", start + "inner request " + end, start + end});
  }
}

TEST_CASE("an adapter waits for chained inner requests and ignores strange ones") {
  for (const bool starts : {true, false}) {
    OwnedRequest first;
    OwnedRequest second;
    second.start_result = starts ? 0 : -1;
    RecordingRequester requester;
    auto* adapter = new Adapter(&first);
    adapter->at_inner_end = [&](Adapter* self) {
      if (second.requester == nullptr) self->ResetInnerRequest(&second);
    };
    adapter->Start(&requester);
    adapter->OnRequestMadeProgress(&first);
    CHECK(requester.last_request == adapter);
    adapter->OnRequestFailed(&second);
    first.End(starts);
    // One that cannot be started is a failure of the adapter.
    CHECK(requester.failed == (starts ? 0 : 1));
    CHECK(second.cancelled == (starts ? 0 : 1));
    if (!starts) continue;
    first.End(true);  // No longer its inner request.
    CHECK(requester.completed == 0);
    second.End(true);
    CHECK(requester.completed == 1);
  }
}

TEST_CASE("cancelling and deleting an adapter cancel the inner request and tell nobody") {
  for (const bool by_cancel : {true, false}) {
    OwnedRequest inner;
    RecordingRequester requester;
    auto* adapter = new Adapter(&inner);
    adapter->Start(&requester);
    by_cancel ? adapter->Cancel() : delete adapter;
    CHECK(inner.cancelled == 1);
    CHECK(requester.completed + requester.failed == 0);
  }
}
