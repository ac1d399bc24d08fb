// The deployment settings and the timer of deferred requests.

#include <memory>
#include <string>

#include <doctest/doctest.h>

#include "dovi/deferred_request_source.h"
#include "dovi/fixture.h"

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

TEST_CASE("the loop waits for the request that is due first") {
  ManualClock clock(1000000);
  SimpleRequestQueue queue(&clock);
  auto timer = std::make_unique<DeferredRequestSource>(&queue, &clock);
  RecordingRequester early;
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
