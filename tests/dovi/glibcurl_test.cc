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
  /// The events of curl's descriptors in the main context: 3 waits for bytes, 4 for room. The
  /// servers of the tests wait for something else, 1.
  std::string Polled() {
    gint timeout = -1;
    source_->source_funcs->prepare(source_, &timeout);
    GPollFD polled[16];
    const int count = Query(polled);
    std::string events;
    for (int i = 0; i < count; ++i) {
      if (polled[i].events != G_IO_IN) events += std::to_string(polled[i].events);
    }
    return events;
  }
  /// Whether the main context would dispatch anything, after a wait for the descriptors.
  bool IsReady() {
    gint priority = 0;
    g_main_context_prepare(g_main_context_default(), &priority);
    GPollFD polled[16];
    const int count = Query(polled);
    g_poll(polled, static_cast<guint>(count), 20000);
    return g_main_context_check(g_main_context_default(), G_MAXINT, polled, count) != FALSE;
  }
  int priority() const { return g_source_get_priority(source_); }

 private:
  template <int kSize>
  static int Query(GPollFD (&polled)[kSize]) {
    gint timeout = -1;
    const int count =
        g_main_context_query(g_main_context_default(), G_MAXINT, &timeout, polled, kSize);
    REQUIRE(count <= kSize);
    return count;
  }

  GSource* source_;
};

/// An easy handle that is added to the source for the length of a scope.
struct AddedHandle {
  explicit AddedHandle(const std::string& url, curl_opensocket_callback open = nullptr,
                       bool* is_called = nullptr)
      : easy(curl_easy_init()) {
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, open);
    curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, is_called);
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

TEST_CASE("the poll list follows curl's sockets, and the loop reacts to them") {
  kesu_test::ScriptedServer server;
  LiveSource live;
  CHECK(live.priority() == 200);
  std::optional<AddedHandle> handles[2];
  for (auto& handle : handles) handle.emplace(server.host());
  live.Dispatch();
  CHECK(live.Polled() == "44");
  REQUIRE(IterateUntil([&] { return server.requests().size() == 2; }));
  CHECK(live.Polled() == "33");
  // The one that came last has the higher descriptor.
  handles[1].reset();
  CHECK(live.Polled() == "3");
  live.Dispatch();
  curl_overrides.timeout_ms = 900;
  server.Reply({"", kesu_test::ScriptedReply::Then::kReset});
  CHECK(live.IsReady());
  live.Dispatch();
  CHECK(live.Polled() == "");
}

TEST_CASE("a caller's own socket function stays") {
  const LiveSource live;
  bool is_called = false;
  const auto open_none = [](void* called, curlsocktype, curl_sockaddr*) -> curl_socket_t {
    *static_cast<bool*>(called) = true;
    return CURL_SOCKET_BAD;
  };
  const AddedHandle handle("http://127.0.0.1:1/", +open_none, &is_called);
  CHECK(IterateUntil([&] { return is_called; }));
}
