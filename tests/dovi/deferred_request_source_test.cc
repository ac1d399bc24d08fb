#include "dovi/deferred_request_source.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <doctest/doctest.h>

#include "kesu/common/base/internal/posix_clock.h"

#include "support/scripted_server.h"

using common_base::SimpleRequestQueue;

namespace {

class HandClock : public common_base::PosixClock {
 public:
  long long TickCount() const override { return ticks; }
  long long ticks = 1000000;
};

class Listener : public common_base::RequesterInterface {
 public:
  explicit Listener(std::function<void()> on_complete) : on_complete_(std::move(on_complete)) {}
  void OnRequestComplete(common_base::RequestInterface*) override { on_complete_(); }
  void OnRequestFailed(common_base::RequestInterface*) override { FAIL("a timer cannot fail"); }

 private:
  std::function<void()> on_complete_;
};

/// The milliseconds that the main context would wait.
int WaitOfMainContext() {
  gint priority = 0;
  gint timeout = -1;
  GMainContext* context = g_main_context_default();
  g_main_context_acquire(context);
  g_main_context_prepare(context, &priority);
  g_main_context_query(context, G_MAXINT, &timeout, nullptr, 0);
  g_main_context_release(context);
  return timeout;
}

}  // namespace

TEST_CASE("the loop waits for the request that is due first") {
  HandClock clock;
  SimpleRequestQueue queue(&clock);
  const DeferredRequestSource timer(&queue, &clock);
  std::string order;
  Listener first([&] { order += "1"; });
  Listener second([&] { order += "2"; });
  CHECK(WaitOfMainContext() == 10000);

  queue.NewDeferredRequest(7500)->Start(&second);
  CHECK(WaitOfMainContext() == 8);
  queue.NewDeferredRequest(2000)->Start(&first);
  CHECK(WaitOfMainContext() == 2);
  clock.ticks += 1999;
  CHECK(WaitOfMainContext() == 1);
  g_main_context_iteration(nullptr, FALSE);
  CHECK(order.empty());

  clock.ticks += 1;
  CHECK(WaitOfMainContext() == 0);
  g_main_context_iteration(nullptr, FALSE);
  CHECK(order == "1");
  CHECK(WaitOfMainContext() == 6);

  clock.ticks += 1000000;
  CHECK(WaitOfMainContext() == 0);
  g_main_context_iteration(nullptr, FALSE);
  CHECK(order == "12");
  CHECK(WaitOfMainContext() == 10000);
}

TEST_CASE("a request started in another callback of the loop is on time") {
  const common_base::PosixClock clock;
  SimpleRequestQueue queue(&clock);
  const DeferredRequestSource timer(&queue, &clock);
  long long completed_at = 0;
  Listener early([&] { completed_at = clock.TickCount(); });
  Listener late([] { FAIL("not due within this test"); });
  queue.NewDeferredRequest(60 * common_base::kTicksPerSecond)->Start(&late);

  const auto start_early = [&] { queue.NewDeferredRequest(20000)->Start(&early); };
  std::function<void()> deed = start_early;
  g_idle_add_once([](void* closure) { (*static_cast<std::function<void()>*>(closure))(); }, &deed);
  const long long started_at = clock.TickCount();
  CHECK(kesu_test::IterateUntil([&] { return completed_at != 0; }, 5000));
  CHECK(completed_at - started_at >= 20000);
}

TEST_CASE("the timer may be destroyed in the callback of a request") {
  HandClock clock;
  SimpleRequestQueue queue(&clock);
  auto timer = std::make_unique<DeferredRequestSource>(&queue, &clock);
  int completed = 0;
  Listener listener([&] {
    ++completed;
    timer.reset();
  });
  queue.NewDeferredRequest(0)->Start(&listener);
  queue.NewDeferredRequest(1)->Start(&listener);
  g_main_context_iteration(nullptr, FALSE);
  CHECK(completed == 1);
  clock.ticks += 1000;
  g_main_context_iteration(nullptr, FALSE);
  CHECK(completed == 1);
}
