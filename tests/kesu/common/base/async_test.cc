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
  for (const long long step_back : {0LL, 900LL, 86'400'000'000LL}) {
    ManualClock clock(-5000);  // Ticks may be negative.
    long long passed = 0;
    const auto advance = [&](long long ticks) { clock.Advance(ticks), passed += ticks; };
    std::deque<RecordingRequester> requesters;
    std::vector<std::pair<long long, int>> expected, completed;
    SimpleRequestQueue queue(&clock);
    for (int i = 0; i < 3000; ++i) {
      const long long delay = 3000 + 7919 * i % 999;
      RequestInterface* request = queue.NewDeferredRequest(delay);
      advance(i % 3 % 2);  // The delay counts from the start.
      request->Start(&requesters.emplace_back(
          [&, i](RequestInterface*) { completed.emplace_back(passed, i); }));
      i % 8 == 0 ? request->Cancel() : void(expected.emplace_back(passed + delay, i));
      if (i % 1000 == 999) clock.Advance(-step_back), queue.TimeOfNextRequest();
    }
    std::sort(expected.begin(), expected.end());
    CHECK(queue.TimeOfNextRequest() - clock.TickCount() <= expected[0].first - passed);
    for (; queue.HasPendingRequests(); advance(1)) queue.StartDeferredRequests();
    CHECK((completed == expected));
    CHECK(queue.TimeOfNextRequest() == clock.TickCount() + 10'000'000);
    // The time since the clock was last read is lost when it is set back.
    queue.NewDeferredRequest(100)->Start(&requesters[0]);
    clock.Advance(50 - step_back);
    CHECK(queue.TimeOfNextRequest() - clock.TickCount() == (step_back == 0 ? 50 : 100));
  }
  // A due time that ticks cannot hold is the last tick.
  const ManualClock clock(LLONG_MAX - 5);
  SimpleRequestQueue queue(&clock);
  RecordingRequester unheard;
  queue.NewDeferredRequest(10)->Start(&unheard);
  CHECK(queue.TimeOfNextRequest() == LLONG_MAX);
}

TEST_CASE("a pass goes on with the time of its beginning, until its queue is deleted") {
  ManualClock clock;
  auto queue = std::make_unique<SimpleRequestQueue>(&clock);
  RecordingRequester unheard;
  const auto start = [&](RecordingRequester* one) { queue->NewDeferredRequest(0)->Start(one); };
  RecordingRequester last([&](RequestInterface*) { queue.reset(); });
  RecordingRequester nested([&](RequestInterface* self) {
    self->Cancel();
    start(&last);
    clock.Advance(5);
    start(&unheard);
    queue->StartDeferredRequests();
  });
  RecordingRequester first([&](RequestInterface*) { clock.Advance(5), start(&nested); });
  start(&first);
  queue->StartDeferredRequests();
  CHECK((first.completed == 1 && nested.completed == 0));
  queue->StartDeferredRequests();
  CHECK((queue == nullptr && unheard.completed == 0));
}

TEST_CASE("broken contracts of deferred requests are reported and otherwise survived") {
  ManualClock clock(1);
  const LogCapture log(kLogErrors);
  RecordingRequester requester;
  SimpleRequestQueue queue(&clock);
  queue.NewDeferredRequest(2147483646)->Cancel();
  queue.NewDeferredRequest(-1)->Start(&requester);
  queue.NewDeferredRequest(2147483647)->Start(nullptr);
  RequestInterface* twice = queue.NewDeferredRequest(1);
  for (const int result : {0, 1}) CHECK(twice->Start(&requester) == result);
  for (int i = 0; i < 2; ++i) twice->Cancel();
  CHECK(twice->Start(&requester) == 1);
  clock.Advance(2147483647);
  queue.StartDeferredRequests();
  CHECK(requester.completed == 1);
  std::string reports;
  for (const std::string& line : log.lines()) {
    reports += line.substr(line.rfind("async:") + 6, 4) + line.substr(line.rfind(": ") + 1) + "; ";
  }
  CHECK(reports ==
        "191: delay >= 0; 192: delay < kint32max; 200: requester; "
        "201: !requester_; 216: !cancelled_; 201: !requester_; 202: !cancelled_; ");
}

namespace {

/// A request that the test owns.
struct OwnedRequest final : RequestInterface {
  int Start(RequesterInterface* to_tell) override {
    requester = to_tell;
    return start_result;
  }
  void Cancel() override { ++cancelled, at_cancel(); }
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
  void OnInnerRequestComplete(RequestInterface* inner) override { OnInnerRequestFailed(inner); }
  void OnInnerRequestFailed(RequestInterface*) override {
    if (const auto action = std::exchange(at_inner_end, {})) action(this);
  }
  using RequestAdapter::ResetInnerRequest;
  using RequestAdapter::SetSucceeded;

  std::function<void(Adapter*)> at_inner_end;
};

}  // namespace

TEST_CASE("null requesters go with their requests; resetting cancels what is outstanding") {
  for (const auto reset : {+[] { ResetAsync(-7); }, +[] { CleanupAsync(); }}) {
    std::deque<OwnedRequest> requests(8);
    for (int i = 0; i < 7; ++i) requests[i].Start(NullRequester(&requests[i]));
    for (const int ended : {0, 2, 4}) requests[ended].End(ended == 2);
    requests[3].at_cancel = [&] { requests[7].Start(NullRequester(&requests[7])); };
    requests[5].at_cancel = [] { ResetAsync(0); };
    const ManualClock clock;
    auto queue = std::make_unique<SimpleRequestQueue>(&clock);
    for (const bool is_cancelled : {false, true}) {
      RequestInterface* gone = queue->NewDeferredRequest(0);
      NullRequester(gone);
      gone->Start(NullRequester(gone));
      if (is_cancelled) gone->Cancel();
    }
    queue.reset();
    for (int i = 0; i < 2; ++i) reset();
    std::string cancelled;
    for (const OwnedRequest& request : requests) cancelled += std::to_string(request.cancelled);
    CHECK(cancelled == "01010111");
  }
}

TEST_CASE("an adapter reports its last inner request's outcome, as the subclass leaves it") {
  for (int bits = 0; bits < 16; ++bits) {
    const bool succeeds = bits % 2 != 0, changes = bits / 2 % 2 != 0;
    const bool chains = bits / 4 % 2 != 0, starts = bits / 8 != 0;
    OwnedRequest inner, next;
    next.start_result = starts ? 0 : -1;
    RecordingRequester requester;
    auto* adapter = new Adapter(&inner);
    adapter->at_inner_end = [&](Adapter* self) {
      if (changes) self->SetSucceeded(!succeeds);
      if (chains) self->ResetInnerRequest(&next);
    };
    const LogCapture log(kLogDebug);
    // The low 32 bits of the address, as a signed number.
    const auto id = std::to_string(static_cast<int>(reinterpret_cast<std::uintptr_t>(adapter)));
    const std::string start = "  D: RequestAdapter TestAdapter " + id + ": ";
    const std::string end = succeeds ? "complete" : "failed";
    std::vector lines = {start + "start", start + "inner request " + end, start + end};
    if (chains && starts) lines.insert(lines.begin() + 1, lines[1]);
    adapter->Start(&requester);
    adapter->OnRequestMadeProgress(&inner);
    adapter->OnRequestFailed(&next);  // Not its inner request.
    inner.End(succeeds);
    if (chains && starts) inner.End(true), next.End(succeeds);  // No longer its inner request.
    CHECK(next.cancelled == (chains && !starts ? 1 : 0));
    CHECK(requester.completed == ((chains ? succeeds && starts : succeeds != changes) ? 1 : 0));
    CHECK(requester.completed + requester.failed == 1);
    CHECK((requester.progressed == 1 && requester.last_request == adapter));
    CHECK(log.lines() == lines);
  }
}

TEST_CASE("an adapter goes from wherever it is cancelled or deleted, and tells nobody") {
  enum { kOutside, kAtInnerEnd, kAtInnerCancel, kAtOutcome };
  for (const int how : {0, 1, 2}) {
    for (const int where : {kOutside, kAtInnerEnd, kAtInnerCancel, kAtOutcome}) {
      CAPTURE(where);
      OwnedRequest inner;
      auto* adapter = new Adapter(&inner);
      const auto end = [&](auto*) {
        how == 0 ? adapter->Cancel() : how == 1 ? delete adapter : ResetAsync(0);
      };
      RecordingRequester requester(end);
      adapter->Start(how == 2 ? NullRequester(adapter) : &requester);
      if (where == kAtInnerEnd) adapter->at_inner_end = end;
      if (where == kAtInnerCancel) inner.at_cancel = [&] { end(adapter); };
      if (where % 2 != 0) inner.End(true);
      if (where % 2 == 0) where == kOutside ? end(adapter) : adapter->Cancel();
      CHECK(inner.cancelled == (where % 2 == 0 ? 1 : 0));
      CHECK(requester.completed == (where == kAtOutcome && how != 2 ? 1 : 0));
    }
  }
}
