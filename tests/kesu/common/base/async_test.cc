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
    i % 8 == 0 ? request->Cancel() : void(expected.emplace_back(clock.TickCount() + delay, i));
  }
  std::sort(expected.begin(), expected.end());
  for (; clock.TickCount() < 2000; clock.Advance(1)) queue.StartDeferredRequests();
  CHECK((completed == expected));
  CHECK(queue.TimeOfNextRequest() == 2000 + 10'000'000);
  // A due time that ticks cannot hold is the last or first tick.
  for (const bool is_last : {false, true}) {
    const ManualClock at_end(is_last ? LLONG_MAX - 5 : LLONG_MIN + 5);
    SimpleRequestQueue last_queue(&at_end);
    last_queue.NewDeferredRequest(is_last ? 10 : -10)->Start(&requesters[0]);
    CHECK(last_queue.TimeOfNextRequest() == (is_last ? LLONG_MAX : LLONG_MIN));
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

TEST_CASE("what a callback starts, cancels and deletes, the queue included") {
  ManualClock clock;
  auto queue = std::make_unique<SimpleRequestQueue>(&clock);
  RecordingRequester heard;
  RecordingRequester unheard;
  RequestInterface* second = queue->NewDeferredRequest(0);
  RecordingRequester first([&](RequestInterface* self) {
    queue->NewDeferredRequest(0)->Start(&heard);
    queue->NewDeferredRequest(1)->Cancel();  // Deletes itself.
    clock.Advance(5);                        // The pass goes on with the time of its beginning.
    queue->NewDeferredRequest(0)->Start(&heard);
    second->Cancel();
    self->Cancel();
  });
  queue->NewDeferredRequest(0)->Start(&first);
  second->Start(&unheard);
  for (const int pass : {1, 2}) {
    queue->StartDeferredRequests();
    CHECK(heard.completed == pass);
  }
  RecordingRequester nested([&](RequestInterface*) { queue->StartDeferredRequests(); });
  RecordingRequester last([&](RequestInterface*) { queue.reset(); });
  for (auto* each : {&nested, &last, &unheard}) queue->NewDeferredRequest(0)->Start(each);
  queue->StartDeferredRequests();
  CHECK(queue == nullptr);
  CHECK(unheard.completed == 0);
}

TEST_CASE("broken contracts of deferred requests are reported and otherwise survived") {
  ManualClock clock(1);
  const LogCapture log(kLogErrors);
  RecordingRequester requester;
  SimpleRequestQueue queue(&clock);
  queue.NewDeferredRequest(2147483646)->Cancel();
  queue.NewDeferredRequest(-1)->Start(&requester);
  CHECK(queue.TimeOfNextRequest() == 0);
  queue.NewDeferredRequest(2147483647)->Start(nullptr);
  RequestInterface* unheard = queue.NewDeferredRequest(1);
  unheard->Start(nullptr);
  unheard->Cancel();
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
        "191: delay >= 0; 192: delay < kint32max; 200: requester; 200: requester; "
        "201: !requester_; 216: !cancelled_; 201: !requester_; 202: !cancelled_; ");
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
  void OnInnerRequestComplete(RequestInterface* inner) override { OnInnerRequestFailed(inner); }
  void OnInnerRequestFailed(RequestInterface*) override { std::exchange(at_inner_end, {})(this); }
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
    const ManualClock clock;
    auto queue = std::make_unique<SimpleRequestQueue>(&clock);
    for (int i = 0; i < 2; ++i) {
      RequestInterface* gone = queue->NewDeferredRequest(0);
      for (int k = 0; k <= i; ++k) gone->Start(NullRequester(gone));
      if (i == 0) gone->Cancel();
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
    CAPTURE(bits);
    const auto bit = [bits](int place) { return (bits >> place & 1) != 0; };
    const bool succeeds = bit(0), changes = bit(1), chains = bit(2), starts = bit(3);
    auto inner = std::make_unique<OwnedRequest>();
    auto* adapter = new Adapter(inner.get());
    OwnedRequest next;
    next.start_result = starts ? 0 : -1;
    adapter->at_inner_end = [&](Adapter* self) {
      if (changes) self->SetSucceeded(!succeeds);
      self->at_inner_end = [](Adapter*) {};
      if (chains) self->ResetInnerRequest(&next);
    };
    int told = 0;
    std::unique_ptr<RecordingRequester> requester;
    requester = std::make_unique<RecordingRequester>([&](RequestInterface* request) {
      CHECK(request == adapter);
      told = requester->completed - requester->failed;
      inner.reset();  // Both may go from inside the callback.
      requester.reset();
    });
    const LogCapture log(kLogDebug);
    // The low 32 bits of the address, as a signed number.
    const auto id = std::to_string(static_cast<int>(reinterpret_cast<std::uintptr_t>(adapter)));
    const std::string start = "  D: RequestAdapter TestAdapter " + id + ": ";
    const std::string end = succeeds ? "complete" : "failed";
    std::vector lines = {start + "start", start + "inner request " + end};
    adapter->Start(requester.get());
    adapter->OnRequestMadeProgress(inner.get());
    CHECK(requester->last_request == adapter);
    adapter->OnRequestFailed(&next);  // Not its inner request.
    inner->End(succeeds);
    CHECK(next.cancelled == (chains && !starts ? 1 : 0));
    if (chains && starts) {
      inner->End(true);  // No longer its inner request.
      CHECK(told == 0);
      next.End(succeeds);
      lines.push_back(lines.back());
    }
    const bool is_good = chains ? succeeds && starts : succeeds != changes;
    CHECK(told == (is_good ? 1 : -1));
    lines.push_back(start + end);
    CHECK(log.lines() == lines);
  }
}

TEST_CASE("an adapter goes from wherever it is cancelled or deleted, and tells nobody") {
  for (const int how : {0, 1, 2}) {
    const auto end = [how](Adapter* self) {
      how == 0 ? self->Cancel() : how == 1 ? delete self : ResetAsync(0);
    };
    enum { kOutside, kAtInnerEnd, kAtInnerCancel, kAtOutcome };
    for (const int where : {kOutside, kAtInnerEnd, kAtInnerCancel, kAtOutcome}) {
      CAPTURE(where);
      OwnedRequest inner;
      auto* adapter = new Adapter(&inner);
      RecordingRequester requester([&](RequestInterface*) { end(adapter); });
      adapter->Start(how == 2 ? NullRequester(adapter) : &requester);
      if (where == kAtInnerEnd) adapter->at_inner_end = end;
      if (where == kAtInnerCancel) inner.at_cancel = [&] { end(adapter); };
      if (where == kAtInnerEnd || where == kAtOutcome) inner.End(true);
      if (where == kOutside) end(adapter);
      if (where == kAtInnerCancel) adapter->Cancel();
      CHECK(inner.cancelled == (where % 2 == 0 ? 1 : 0));
      CHECK(requester.completed == (where == kAtOutcome && how != 2 ? 1 : 0));
    }
  }
}
