#include "kesu/mux/request_scheduler.h"

#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

using common_base::GVectorRef;
using common_kesu::Request;
using common_kesu::RequestScheduler;
using kesu_test::TestRequest;

namespace {

constexpr long long kStart = 777;

/// Writes down each batch with the ticks since the start: "100000: a b -", "-" for null.
struct Fixture : RequestScheduler::ListenerInterface {
  virtual ~Fixture() = default;

  void ProcessRequests(const GVectorRef<Request*>& batch, bool*) override {
    std::string text = std::to_string(clock.TickCount() - kStart) + ":";
    for (Request* request : batch) text += request == nullptr ? " -" : " " + NameOf(request);
    batches.push_back(text);
  }
  std::string NameOf(const Request* request) const {
    return request == &a ? "a" : request == &b ? "b" : request == &c ? "c" : "?";
  }
  /// Moves on in steps of one batch delay's hundredth.
  void Run(long long ticks) {
    for (; ticks > 0; ticks -= 1000) {
      clock.Advance(1000);
      queue.StartDeferredRequests();
    }
  }

  kesu_test::ManualClock clock{kStart};
  common_base::SimpleRequestQueue queue{&clock};
  RequestScheduler scheduler{this, &queue, &clock};
  std::vector<std::string> batches;
  TestRequest a{nullptr};
  TestRequest b{nullptr};
  TestRequest c{nullptr};
};

using Batches = std::vector<std::string>;

}  // namespace

TEST_CASE_FIXTURE(Fixture, "a request alone leaves after the short delay") {
  scheduler.Submit(&a);
  Run(99000);
  CHECK(batches.empty());
  Run(2000000);
  CHECK(batches == Batches{"100000: a"});
  scheduler.Submit(&b);
  Run(100000);
  CHECK(batches == Batches{"100000: a", "2199000: b"});
}

TEST_CASE_FIXTURE(Fixture, "each submission puts the batch off, to the long delay at most") {
  std::string expected = "1000000:";
  for (int i = 0; i < 20; ++i) {
    scheduler.Submit(&a);
    expected += " a";
    Run(50000);
  }
  CHECK(batches == Batches{expected});
  scheduler.Submit(&b);
  Run(60000);
  scheduler.Submit(&c);
  Run(99000);
  CHECK(batches.size() == 1);
  Run(1000);
  CHECK(batches.back() == "1160000: b c");
}

TEST_CASE_FIXTURE(Fixture, "the delays can be chosen") {
  RequestScheduler quick(this, &queue, &clock, 2000, 5000);
  quick.Submit(&a);
  Run(2000);
  for (int i = 0; i < 6; ++i) {
    quick.Submit(&b);
    Run(1000);
  }
  CHECK(batches == Batches{"2000: a", "7000: b b b b b"});
}

TEST_CASE_FIXTURE(Fixture, "what is to be sent now takes along what waits, in order") {
  scheduler.Submit(&a);
  Run(50000);
  scheduler.Submit(&b, true);
  CHECK(batches == Batches{"50000: a b"});
  scheduler.Submit(&c);
  Run(99000);
  CHECK(batches.size() == 1);
  Run(1000);
  CHECK(batches == Batches{"50000: a b", "150000: c"});
  scheduler.SendPendingRequests();
  CHECK(batches.back() == "150000:");
}

TEST_CASE_FIXTURE(Fixture, "what was held back is sent at once, unless asked otherwise") {
  scheduler.SubmitWithDelay(&a, 20000);
  scheduler.SubmitWithDelay(&b, 30000, false);
  scheduler.Submit(&c);
  Run(20000);
  CHECK(batches == Batches{"20000: c a"});
  Run(109000);
  CHECK(batches.size() == 1);
  Run(1000);
  CHECK(batches == Batches{"20000: c a", "130000: b"});
}

TEST_CASE_FIXTURE(Fixture, "cancelling") {
  SUBCASE("one that waits leaves a gap") {
    scheduler.Submit(&a);
    scheduler.Submit(&b);
    scheduler.Submit(&a);
    scheduler.Cancel(&a);
    Run(100000);
    CHECK(batches == Batches{"100000: - b -"});
  }
  SUBCASE("only the first of the delays goes") {
    scheduler.SubmitWithDelay(&a, 50000);
    scheduler.SubmitWithDelay(&b, 60000);
    scheduler.SubmitWithDelay(&a, 70000);
    scheduler.Submit(&a);
    scheduler.Cancel(&a);
    Run(200000);
    CHECK(batches == Batches{"60000: - b", "70000: a"});
  }
  SUBCASE("the first, the middle and the last of the delays") {
    scheduler.SubmitWithDelay(&a, 1000);
    scheduler.SubmitWithDelay(&b, 2000);
    scheduler.SubmitWithDelay(&c, 3000);
    scheduler.Cancel(&b);
    scheduler.Cancel(&c);
    scheduler.SubmitWithDelay(&b, 4000);
    scheduler.Cancel(&a);
    Run(10000);
    CHECK(batches == Batches{"4000: b"});
  }
  SUBCASE("one that nobody knows") {
    scheduler.Submit(&a);
    scheduler.Cancel(&b);
    Run(100000);
    CHECK(batches == Batches{"100000: a"});
  }
}

TEST_CASE_FIXTURE(Fixture, "a scheduler that goes takes its timer and delays along") {
  {
    RequestScheduler other(this, &queue, &clock);
    other.Submit(&a);
    other.SubmitWithDelay(&b, 1000);
    other.SubmitWithDelay(&c, 2000);
  }
  Run(2000000);
  CHECK(batches.empty());
}

TEST_CASE_FIXTURE(Fixture, "only its own timer moves the scheduler") {
  scheduler.Submit(&a);
  clock.Advance(5000000);
  scheduler.OnRequestComplete(nullptr);
  scheduler.OnRequestFailed(nullptr);
  CHECK(batches.empty());
  queue.StartDeferredRequests();
  CHECK(batches == Batches{"5000000: a"});
}
