#include "kesu/common/base/internal/async.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
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
  std::mt19937 random(1);
  std::map<RequestInterface*, int> numbers;
  std::vector<std::pair<long long, int>> expected;
  std::vector<std::pair<long long, int>> completed;
  RecordingRequester requester([&](RequestInterface* request) {
    completed.emplace_back(clock.TickCount(), numbers.at(request));
  });
  SimpleRequestQueue queue(&clock);
  for (int i = 0; i < 3000; ++i) {
    const long long delay = 3000 + random() % 999;
    RequestInterface* request = queue.NewDeferredRequest(delay);
    numbers[request] = i;
    clock.Advance(random() % 2);  // The delay counts from the start.
    request->Start(&requester);
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

TEST_CASE("requests started and cancelled from inside a callback") {
  ManualClock clock;
  SimpleRequestQueue queue(&clock);
  RecordingRequester at_once;
  RecordingRequester later;
  RecordingRequester unheard;
  RequestInterface* second = queue.NewDeferredRequest(0);
  RecordingRequester first([&](RequestInterface* self) {
    queue.NewDeferredRequest(0)->Start(&at_once);
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
  CHECK(later.completed == 1);
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

/// Has a null requester, and deletes itself when it ends or is cancelled.
struct SelfDeleting final : RequestInterface {
  explicit SelfDeleting(
      int* cancelled, std::function<void()> at_cancel = [] {})
      : cancelled_(cancelled), at_cancel_(std::move(at_cancel)) {}
  int Start(RequesterInterface*) override { return 0; }
  void Cancel() override {
    ++*cancelled_;
    at_cancel_();
    delete this;
  }
  void End(bool succeeded) {
    succeeded ? requester_->OnRequestComplete(this) : requester_->OnRequestFailed(this);
    delete this;
  }

  int* cancelled_;
  std::function<void()> at_cancel_;
  RequesterInterface* requester_ = NullRequester(this);
};

}  // namespace

TEST_CASE("null requesters go with their requests; resetting cancels what is outstanding") {
  for (const auto reset : {+[] { ResetAsync(-7); }, +[] { CleanupAsync(); }}) {
    int cancelled = 0;
    std::vector<SelfDeleting*> requests;
    for (int i = 0; i < 5; ++i) requests.push_back(new SelfDeleting(&cancelled));
    for (const std::size_t ended : {0U, 2U, 4U}) requests[ended]->End(ended == 2);
    new SelfDeleting(&cancelled, [&cancelled] { new SelfDeleting(&cancelled); });
    new SelfDeleting(&cancelled, [] { ResetAsync(0); });
    new SelfDeleting(&cancelled);
    for (int i = 0; i < 2; ++i) {
      reset();
      CHECK(cancelled == 2 + 2 + 1 + 1);
    }
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
    int ends = 0;
    std::unique_ptr<RecordingRequester> requester;
    requester = std::make_unique<RecordingRequester>([&](RequestInterface* request) {
      ++ends;
      CHECK(request == adapter);
      CHECK(requester->completed == (succeeds != changes ? 1 : 0));
      CHECK(inner->cancelled == 0);
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
    CHECK(ends == 1);
    CHECK(log.lines() == std::vector{start + "start", start + "inner request " + end, start + end});
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
    RecordingRequester requester;
    auto* adapter = new Adapter(&inner);
    adapter->Start(&requester);
    by_cancel ? adapter->Cancel() : delete adapter;
    CHECK(inner.cancelled == 1);
    CHECK(requester.completed + requester.failed == 0);
  }
}
