#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <doctest/doctest.h>

#include "client/client.h"
#include "client/main_loop.h"
#include "client/service_call.h"
#include "kesu/proto/lbs.h"

#include "support/scripted_server.h"

namespace kesu_test {
namespace {

const kesu::Observation kSeen = {.cells = {{.mcc = 1, .mnc = 1, .area = 1, .cell = 1001}}};

TEST_CASE("threads are answered where they are") {
  kesu::MainLoop loop;
  const kesu::Options options = {.server = RefusingHost(), .batch_wait = {}};
  kesu::Client client(options);
  // Calls that are left when the client goes are told later.
  static std::atomic<int> faults = 0;
  std::atomic<int> running = 3;
  const auto work = [&] {
    GMainContext* const context = g_main_context_new();
    g_main_context_push_thread_default(context);
    const auto thread = std::this_thread::get_id();
    int left = 0;
    for (int i = 0; i < 60; ++i) {
      const bool is_cancelled = i % 3 == 0;
      const auto callback = [&, is_cancelled](const auto& result) {
        if (is_cancelled || result || std::this_thread::get_id() != thread) ++faults;
        --left;
      };
      // Some by a client that goes at once.
      kesu::Client own(options);
      kesu::Call call = i % 2 == 0 ? client.Locate(kSeen, callback)
                                   : (i % 5 == 0 ? own : client).Reverse({1, 2}, callback);
      if (is_cancelled) continue;
      ++left;
      call.Detach();
    }
    while (left > 0) g_main_context_iteration(context, TRUE);
    while (g_main_context_iteration(context, FALSE)) {
    }
    if (left != 0) ++faults;
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
    if (--running == 0) loop.Quit();
  };
  std::vector<std::thread> threads;
  for (int i = running; i > 0; --i) threads.emplace_back(work);
  kesu::Call mine;
  loop.Every(std::chrono::milliseconds(1), [&] {
    mine = client.Locate(kSeen, [&](const auto& result) { faults += result ? 1 : 0; });
    faults += client.counters().calls == 0 || client.last_location() ? 1 : 0;
  });
  loop.Run();
  for (std::thread& thread : threads) thread.join();
  CHECK(faults == 0);
}

TEST_CASE(
    "a client made while another thread ran the loop is used, or goes, before the loop knows") {
  for (const bool is_used : {true, false, true}) {
    std::unique_ptr<kesu::Client> client;
    REQUIRE(g_main_context_acquire(nullptr));
    std::thread([&] {
      client = std::make_unique<kesu::Client>(kesu::Options{.server = RefusingHost()});
    }).join();
    g_main_context_release(nullptr);
    bool is_told = !is_used;
    kesu::Call call;
    if (is_used) {
      call = client->Locate(kSeen, [&](const auto& result) {
        is_told = result.error().kind == kesu::ErrorKind::kCannotConnect;
      });
    }
    if (!is_used) client.reset();
    g_main_context_iteration(nullptr, FALSE);
    CHECK(IterateUntil([&] { return is_told; }));
  }
}

TEST_CASE("a thread without a main context of its own is answered by the loop") {
  kesu::MainLoop loop;
  kesu::Client client({.server = RefusingHost(), .batch_wait = {}});
  const auto here = std::this_thread::get_id();
  int told = 0;
  const lbs::GLatLng message;
  std::thread thread([&] {
    client.Locate(kSeen, [&](const auto&) { told += std::this_thread::get_id() == here; }).Detach();
    GMainContext* const context = g_main_context_new();
    g_main_context_push_thread_default(context);
    // Refused: a message belongs to the thread of the loop.
    std::string kind;
    client
        .Call<lbs::GLatLng>(
            "s", message,
            [&](const auto& reply) { kind = kesu::ErrorKindName(reply.error().kind); })
        .Detach();
    while (kind.empty()) g_main_context_iteration(context, TRUE);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
    told += kind == "misuse";
    loop.Quit();
  });
  loop.Run();
  thread.join();
  CHECK(IterateUntil([&] { return told == 2; }));
}

}  // namespace
}  // namespace kesu_test
