#include "dovi/glibcurl.h"

#include <optional>
#include <string>

#include <doctest/doctest.h>
#include <glib.h>

#include "dovi/fixture.h"

using kesu_test::curl_overrides;
using kesu_test::IterateUntil;

namespace {

/// The live source. Ends all overrides with itself.
class LiveSource {
 public:
  LiveSource() {
    glibcurl_init();
    glibcurl_set_callback([](void*) {}, this);
    source_ = g_main_context_find_source_by_user_data(nullptr, this);
  }
  LiveSource(const LiveSource&) = delete;
  LiveSource& operator=(const LiveSource&) = delete;
  ~LiveSource() {
    glibcurl_cleanup();
    curl_overrides = {};
  }

  /// With curl's time-out overridden; "TIMEOUT" or "TIMEOUT ready".
  std::string Prepare(long curl_timeout) {
    curl_overrides.timeout_ms = curl_timeout;
    gint timeout = -7;
    const bool is_ready = source_->source_funcs->prepare(source_, &timeout);
    return std::to_string(timeout) + (is_ready ? " ready" : "");
  }
  bool Check() { return source_->source_funcs->check(source_); }
  void Dispatch() { source_->source_funcs->dispatch(source_, nullptr, nullptr); }
  /// How many descriptors the main context would poll.
  int PolledCount() {
    gint timeout = -1;
    source_->source_funcs->prepare(source_, &timeout);
    return g_main_context_query(g_main_context_default(), g_source_get_priority(source_), &timeout,
                                nullptr, 0);
  }

 private:
  GSource* source_;
};

/// An easy handle that is added to the source for the length of a scope.
struct AddedHandle {
  explicit AddedHandle(const std::string& url) : easy(curl_easy_init()) {
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    CHECK(glibcurl_add(easy) == CURLM_OK);
  }
  ~AddedHandle() {
    CHECK(glibcurl_remove(easy) == CURLM_OK);
    curl_easy_cleanup(easy);
  }
  CURL* easy;
};

}  // namespace

TEST_CASE("the time-out of prepare") {
  const struct {
    bool has_handle;
    long curl_timeout;
    std::string expected;
  } cases[] = {
      {false, -1, "-1"},    {false, 0, "0 ready"}, {false, 5000, "1000"}, {true, -1, "1000"},
      {true, 0, "0 ready"}, {true, 1, "1"},        {true, 1000, "1000"},  {true, 5000, "1000"},
  };
  for (const auto& c : cases) {
    CAPTURE(c.has_handle);
    CAPTURE(c.curl_timeout);
    LiveSource live;
    std::optional<AddedHandle> handle;
    if (c.has_handle) {
      handle.emplace("http://127.0.0.1:1/");
      // The first dispatch makes the wish to perform at once a count of transfers.
      live.Dispatch();
    }
    CHECK(live.Prepare(c.curl_timeout) == c.expected);
  }
}

TEST_CASE("start and add perform at once, and check ends the wait") {
  kesu_test::ScriptedServer server;
  LiveSource live;
  glibcurl_start();
  CHECK(live.Prepare(700) == "0 ready");
  // Without a handle there is nothing to perform.
  CHECK_FALSE(live.Check());
  CHECK(live.Prepare(700) == "700");

  const AddedHandle handle(server.host());
  CHECK(live.Prepare(900) == "0 ready");
  CHECK(live.Check());
  live.Dispatch();
  CHECK(live.Prepare(900) == "900");
  CHECK_FALSE(live.Check());
  CHECK(live.Prepare(1) == "1");
  g_usleep(2000);
  CHECK(live.Check());
}

TEST_CASE("the poll list follows curl's sockets") {
  kesu_test::ScriptedServer server;
  LiveSource live;
  std::optional<AddedHandle> handles[2];
  for (auto& handle : handles) handle.emplace(server.host());
  REQUIRE(IterateUntil([&] { return server.requests().size() == 2; }));
  const int both = live.PolledCount();
  // The one that came last has the higher descriptor.
  handles[1].reset();
  CHECK(live.PolledCount() == both - 1);
  handles[0].reset();
  CHECK(live.PolledCount() == both - 2);
}
