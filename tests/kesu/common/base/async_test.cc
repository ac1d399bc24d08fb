#include "kesu/common/base/internal/async.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/common/base/internal/null_requester.h"

#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/recording_requester.h"

using namespace common_base;
using kesu_test::LogCapture;
using kesu_test::ManualClock;
using kesu_test::RecordingRequester;
using Lines = std::vector<std::string>;

namespace {

std::string AssertionLine(int line, const char* condition) {
  return "!!E: Src/kesu/common/base/internal/async:" + std::to_string(line) +
         ": GWASSERT failed: " + condition;
}

/// A request that deletes itself when it is cancelled or when its end is reported by hand.
class HandRequest final : public RequestInterface {
 public:
  explicit HandRequest(int* cancelled) : cancelled_(cancelled) {}
  int Start(RequesterInterface* requester) override {
    requester_ = requester;
    return 0;
  }
  void Cancel() override {
    ++*cancelled_;
    delete this;
  }
  void End(bool succeeded) {
    if (succeeded) {
      requester_->OnRequestComplete(this);
    } else {
      requester_->OnRequestFailed(this);
    }
    delete this;
  }

 private:
  int* cancelled_;
  RequesterInterface* requester_ = nullptr;
};

}  // namespace

TEST_CASE("a deferred request completes when its time has come, not before") {
  ManualClock clock(1000);
  SimpleRequestQueue queue(&clock);
  CHECK(queue.TimeOfNextRequest() == 1000 + 10000000);
  RecordingRequester requester;
  RequestInterface* request = queue.NewDeferredRequest(50);
  CHECK(queue.TimeOfNextRequest() == 1000 + 10000000);
  clock.Advance(7);  // The delay counts from the start.
  request->Start(&requester);
  CHECK(queue.TimeOfNextRequest() == 1057);
  clock.Advance(49);
  queue.StartDeferredRequests();
  CHECK(requester.completed == 0);
  clock.Advance(1);
  queue.StartDeferredRequests();
  CHECK(requester.completed == 1);
  CHECK(requester.failed == 0);
  CHECK(requester.last_request == request);
  queue.StartDeferredRequests();
  CHECK(requester.completed == 1);
}

TEST_CASE("ten thousand requests complete by due time, equal ones as started") {
  ManualClock clock;
  SimpleRequestQueue queue(&clock);
  std::mt19937 random(1);
  std::vector<std::pair<long long, int>> expected;
  std::vector<int> completed;
  std::vector<std::unique_ptr<RecordingRequester>> requesters;
  std::vector<RequestInterface*> to_cancel;
  for (int i = 0; i < 10000; ++i) {
    clock.Advance(random() % 2);
    const long long delay = random() % 3000;
    requesters.push_back(std::make_unique<RecordingRequester>(
        [&completed, i](RequestInterface*) { completed.push_back(i); }));
    RequestInterface* request = queue.NewDeferredRequest(delay);
    request->Start(requesters.back().get());
    if (random() % 8 == 0) {
      to_cancel.push_back(request);
    } else {
      expected.emplace_back(clock.TickCount() + delay, i);
    }
  }
  for (RequestInterface* request : to_cancel) request->Cancel();
  std::stable_sort(expected.begin(), expected.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<int> order;
  for (const auto& [due, index] : expected) order.push_back(index);
  for (int i = 0; i < 10; ++i) {
    queue.StartDeferredRequests();
    clock.Advance(400);
    CHECK(std::equal(completed.begin(), completed.end(), order.begin()));
  }
  queue.StartDeferredRequests();
  CHECK(completed == order);
  CHECK(queue.TimeOfNextRequest() == clock.TickCount() + 10000000);
}

TEST_CASE("a request started from inside a callback runs in the same pass only when due") {
  ManualClock clock;
  SimpleRequestQueue queue(&clock);
  RecordingRequester at_once;
  RecordingRequester later;
  RecordingRequester requester([&](RequestInterface*) {
    queue.NewDeferredRequest(0)->Start(&at_once);
    queue.NewDeferredRequest(1)->Start(&later);
    clock.Advance(5);  // The pass goes on with the time of its beginning.
    queue.NewDeferredRequest(0)->Start(&later);
  });
  queue.NewDeferredRequest(0)->Start(&requester);
  queue.StartDeferredRequests();
  CHECK(at_once.completed == 1);
  CHECK(later.completed == 0);
  queue.StartDeferredRequests();
  CHECK(later.completed == 2);
}

TEST_CASE("cancelling") {
  ManualClock clock;
  const LogCapture log(kLogErrors);
  RecordingRequester unheard;
  {
    SimpleRequestQueue queue(&clock);
    queue.NewDeferredRequest(5)->Cancel();  // Deletes itself.
    RequestInterface* started = queue.NewDeferredRequest(5);
    started->Start(&unheard);
    started->Cancel();
    CHECK(queue.TimeOfNextRequest() == 5);
    clock.Advance(5);
    queue.StartDeferredRequests();
    CHECK(queue.TimeOfNextRequest() == 5 + 10000000);

    RequestInterface* second = queue.NewDeferredRequest(1);
    RecordingRequester first([second](RequestInterface* self) {
      second->Cancel();
      self->Cancel();
    });
    queue.NewDeferredRequest(0)->Start(&first);
    second->Start(&unheard);
    clock.Advance(9);
    queue.StartDeferredRequests();
    CHECK(first.completed == 1);
    queue.NewDeferredRequest(0)->Start(&unheard);  // Deleted with the queue.
  }
  CHECK(unheard.completed + unheard.failed == 0);
  CHECK(log.lines().empty());
}

TEST_CASE("broken contracts of deferred requests are reported") {
  ManualClock clock(1);
  const LogCapture log(kLogErrors);
  SimpleRequestQueue queue(&clock);
  RecordingRequester requester;
  queue.NewDeferredRequest(2147483646)->Cancel();
  CHECK(log.lines().empty());

  queue.NewDeferredRequest(-1)->Start(&requester);
  queue.NewDeferredRequest(2147483647)->Start(&requester);
  CHECK(log.lines() ==
        Lines{AssertionLine(191, "delay >= 0"), AssertionLine(192, "delay < kint32max")});
  queue.StartDeferredRequests();
  CHECK(requester.completed == 1);
  clock.Advance(2147483647);
  queue.StartDeferredRequests();
  CHECK(requester.completed == 2);

  LogCapture second_log(kLogErrors);
  RequestInterface* cancelled = queue.NewDeferredRequest(0);
  cancelled->Start(&requester);
  cancelled->Cancel();
  cancelled->Cancel();
  CHECK(second_log.lines() == Lines{AssertionLine(216, "!cancelled_")});
  queue.StartDeferredRequests();
  CHECK(requester.completed == 2);
}

TEST_CASE("broken contracts of Start are reported") {
  ManualClock clock;
  const LogCapture log(kLogErrors);
  SimpleRequestQueue queue(&clock);
  queue.NewDeferredRequest(1)->Start(nullptr);
  CHECK(log.lines() == Lines{AssertionLine(200, "requester")});

  // A request that is started twice waits twice, so this queue can never run nor be destroyed.
  static auto* const abandoned = new SimpleRequestQueue(&clock);
  LogCapture second_log(kLogErrors);
  RecordingRequester requester;
  RequestInterface* request = abandoned->NewDeferredRequest(1);
  request->Start(&requester);
  request->Cancel();
  request->Start(&requester);
  CHECK(second_log.lines() ==
        Lines{AssertionLine(201, "!requester_"), AssertionLine(202, "!cancelled_")});
}

TEST_CASE("a null requester goes with its request") {
  int cancelled = 0;
  for (const bool succeeded : {true, false}) {
    auto* request = new HandRequest(&cancelled);
    request->Start(NullRequester(request));
    request->End(succeeded);
  }
  ResetAsync(0);
  CHECK(cancelled == 0);
}

TEST_CASE("ResetAsync and CleanupAsync cancel what is outstanding") {
  for (const auto reset :
       {+[] { ResetAsync(0); }, +[] { ResetAsync(-7); }, +[] { CleanupAsync(); }}) {
    int cancelled = 0;
    std::vector<HandRequest*> requests;
    for (int i = 0; i < 5; ++i) {
      requests.push_back(new HandRequest(&cancelled));
      requests[static_cast<std::size_t>(i)]->Start(NullRequester(requests.back()));
    }
    for (const std::size_t ended : {0U, 2U, 4U}) requests[ended]->End(true);
    reset();
    CHECK(cancelled == 2);
    reset();
    CHECK(cancelled == 2);
  }
}

TEST_CASE("a request that starts another null requester while it is cancelled") {
  struct Chain final : RequestInterface {
    explicit Chain(int* to_go) : to_go_(to_go) {}
    int Start(RequesterInterface*) override { return 0; }
    void Cancel() override {
      if (--*to_go_ > 0) NullRequester(new Chain(to_go_));
      delete this;
    }
    int* to_go_;
  };
  int to_go = 3;
  NullRequester(new Chain(&to_go));
  ResetAsync(0);
  CHECK(to_go == 0);
}
