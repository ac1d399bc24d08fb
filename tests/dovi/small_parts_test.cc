// The deployment settings and the timer of deferred requests.

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include <doctest/doctest.h>
#include <malloc.h>
#include <unistd.h>

#include "dovi/deferred_request_source.h"
#include "dovi/fixture.h"
#include "dovi/receive_buffer.h"

#include "support/manual_clock.h"
#include "support/recording_requester.h"

using common_base::SimpleRequestQueue;
using kesu_test::ManualClock;
using kesu_test::RecordingRequester;
using namespace std::string_literals;

namespace {

/// The milliseconds that the main context would wait.
int WaitOfMainContext() {
  gint priority = 0;
  gint timeout = -1;
  g_main_context_prepare(g_main_context_default(), &priority);
  g_main_context_query(g_main_context_default(), G_MAXINT, &timeout, nullptr, 0);
  return timeout;
}

}  // namespace

TEST_CASE("deployment settings") {
  const kesu_test::ScopedSettings restored("");
  // The longest host that fits, and one more than that.
  const std::string longest = "http://" + std::string(75, 'h');
  const std::string too_long = longest + "h";
  CHECK(SetDoviDeploymentSettings({longest.c_str(), std::string("/a/ca.pem").c_str()}));
  CHECK_FALSE(SetDoviDeploymentSettings({too_long.c_str(), nullptr, "http://a:1"}));
  CHECK_FALSE(SetDoviDeploymentSettings({"http://a", nullptr, "http://a:1", -1, 0}));
  CHECK_FALSE(SetDoviDeploymentSettings({"http://a", nullptr, "http://a:1", 0, -1}));
  DoviDeploymentSettings no_callback;
  no_callback.trace = DoviTraceTarget::kCallback;
  CHECK_FALSE(SetDoviDeploymentSettings(no_callback));
  // Texts are copied, also from the settings in force.
  DoviDeploymentSettings settings = GetDoviDeploymentSettings();
  settings.connect_timeout_ms = 5;
  CHECK(SetDoviDeploymentSettings(settings));
  char url[kDoviUrlBufferSize];
  WriteDoviServiceUrl(url);
  CHECK(url == longest + "/m/appreq/cllDovi");
  CHECK(GetDoviDeploymentSettings().ca_file == "/a/ca.pem"s);
  CHECK(GetDoviDeploymentSettings().connect_timeout_ms == 5);
}

TEST_CASE("the keys of TLS are kept to oneself, whatever the environment says") {
  const kesu_test::ScopedSettings restored("");
  const std::string file =
      std::filesystem::temp_directory_path() / ("dovi_test_keys." + std::to_string(getpid()));
  setenv("SSLKEYLOGFILE", file.c_str(), 1);
  for (const bool is_obeyed : {false, true}) {
    DoviDeploymentSettings settings;
    settings.obey_sslkeylogfile = is_obeyed;
    REQUIRE(SetDoviDeploymentSettings(settings));
    const DoviHttpRequestFactory factory;
    CHECK(std::filesystem::remove(file) == is_obeyed);
    CHECK(std::getenv("SSLKEYLOGFILE") == file);
  }
  unsetenv("SSLKEYLOGFILE");
}

TEST_CASE("what is received is seldom moved") {
  ReceiveBuffer buffer(1 << 20);
  int sizes = 0;
  for (std::size_t size = 0, i = 0; i < 5000; ++i) {
    REQUIRE(buffer.Append("x", 1));
    const std::size_t now = malloc_usable_size(const_cast<unsigned char*>(buffer.bytes()));
    sizes += std::exchange(size, now) != now;
  }
  CHECK(sizes < 20);
}

TEST_CASE("the loop waits for the request that is due first") {
  ManualClock clock(1000000);
  SimpleRequestQueue queue(&clock);
  {
    // Also on a thread that has a main context of its own.
    GMainContext* const context = g_main_context_new();
    g_main_context_push_thread_default(context);
    const DeferredRequestSource timer(&queue, &clock);
    g_main_context_pop_thread_default(context);
    RecordingRequester requester;
    queue.NewDeferredRequest(0)->Start(&requester);
    CHECK_FALSE(g_main_context_iteration(nullptr, FALSE));
    g_main_context_iteration(context, FALSE);
    CHECK(requester.completed == 1);
    g_main_context_unref(context);
  }
  auto timer = std::make_unique<DeferredRequestSource>(&queue, &clock);
  // A request may run the loop, which starts those that are due meanwhile.
  RecordingRequester inner;
  RecordingRequester early([&](auto*) {
    queue.NewDeferredRequest(0)->Start(&inner);
    CHECK(kesu_test::IterateUntil([&] { return inner.completed == 1; }));
  });
  // The timer may be destroyed in the callback of a request.
  RecordingRequester late([&](auto*) { timer.reset(); });
  RecordingRequester never;
  const auto advance = [&](long long ticks) {
    clock.Advance(ticks);
    g_main_context_iteration(nullptr, FALSE);
    return early.completed + late.completed + never.completed;
  };
  CHECK(WaitOfMainContext() == -1);
  queue.NewDeferredRequest(7500)->Start(&late);
  CHECK(WaitOfMainContext() == 8);
  queue.NewDeferredRequest(2000)->Start(&early);
  CHECK(WaitOfMainContext() == 2);
  CHECK(advance(1999) == 0);
  CHECK(WaitOfMainContext() == 1);
  CHECK(advance(1) == 1);
  CHECK(WaitOfMainContext() == 6);
  queue.NewDeferredRequest(5501)->Start(&never);
  CHECK(advance(5500) == 2);
  CHECK(advance(1000000) == 2);
}
