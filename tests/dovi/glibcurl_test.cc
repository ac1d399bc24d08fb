#include "dovi/glibcurl.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

#include <doctest/doctest.h>
#include <glib.h>

#include "dovi/curl_overrides.h"

#include "support/scripted_server.h"

using kesu_test::IterateUntil;

namespace {

/// The live source, with a callback that counts its calls.
class LiveSource {
 public:
  LiveSource() {
    glibcurl_init();
    glibcurl_set_callback([](void* self) { ++static_cast<LiveSource*>(self)->dispatches; }, this);
    source = g_main_context_find_source_by_user_data(nullptr, this);
  }
  LiveSource(const LiveSource&) = delete;
  LiveSource& operator=(const LiveSource&) = delete;
  ~LiveSource() { glibcurl_cleanup(); }

  const GSourceFuncs* functions() const { return source->source_funcs; }

  GSource* source;
  int dispatches = 0;
};

/// An easy handle that is added to the source for the length of a scope.
class AddedHandle {
 public:
  explicit AddedHandle(const std::string& url = "http://127.0.0.1:1/") : easy(curl_easy_init()) {
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_SOCKOPTDATA, &descriptor);
    curl_easy_setopt(easy, CURLOPT_SOCKOPTFUNCTION, &AddedHandle::NoteSocket);
    CHECK(glibcurl_add(easy) == CURLM_OK);
  }
  AddedHandle(const AddedHandle&) = delete;
  AddedHandle& operator=(const AddedHandle&) = delete;
  ~AddedHandle() {
    CHECK(glibcurl_remove(easy) == CURLM_OK);
    curl_easy_cleanup(easy);
  }

  /// The socket of the connection, or -1.
  curl_socket_t descriptor = -1;
  CURL* easy;

 private:
  static int NoteSocket(void* closure, curl_socket_t socket, curlsocktype) {
    *static_cast<curl_socket_t*>(closure) = socket;
    return CURL_SOCKOPT_OK;
  }
};

/// Whether the main context would poll `fd`, after the source has prepared.
bool IsPolled(GSource* source, int fd) {
  gint timeout = -1;
  source->source_funcs->prepare(source, &timeout);
  GPollFD polled[16];
  const int count = g_main_context_query(g_main_context_default(), g_source_get_priority(source),
                                         &timeout, polled, static_cast<int>(std::size(polled)));
  REQUIRE(count <= static_cast<int>(std::size(polled)));
  return std::any_of(polled, polled + count, [fd](const GPollFD& p) { return p.fd == fd; });
}

}  // namespace

TEST_CASE("the time-out of prepare") {
  struct Case {
    long curl_timeout;
    bool has_handle;
    int timeout;
    bool ready;
  };
  const Case cases[] = {
      {-1, false, -1, false},    {-1, true, 1000, false},   {0, true, 0, true},
      {0, false, 0, true},       {1, true, 1, false},       {999, true, 999, false},
      {1000, true, 1000, false}, {5000, true, 1000, false}, {5000, false, 1000, false},
  };
  const ScopedCurlOverrides overrides;
  for (const Case& c : cases) {
    CAPTURE(c.curl_timeout);
    CAPTURE(c.has_handle);
    LiveSource live;
    std::optional<AddedHandle> handle;
    if (c.has_handle) {
      handle.emplace();
      // The first dispatch makes the wish to perform at once a count of transfers.
      live.functions()->dispatch(live.source, nullptr, nullptr);
    }
    curl_overrides.timeout_ms = c.curl_timeout;
    gint timeout = -7;
    CHECK(live.functions()->prepare(live.source, &timeout) == c.ready);
    CHECK(timeout == c.timeout);
  }
}

TEST_CASE("start and add perform at once, unless check finds no handles") {
  const ScopedCurlOverrides overrides;
  curl_overrides.timeout_ms = 700;
  LiveSource live;
  gint timeout = -7;
  glibcurl_start();
  CHECK(live.functions()->prepare(live.source, &timeout));
  CHECK(timeout == 0);
  CHECK_FALSE(live.functions()->check(live.source));
  CHECK_FALSE(live.functions()->prepare(live.source, &timeout));
  CHECK(timeout == 700);

  const AddedHandle handle;
  CHECK(live.functions()->prepare(live.source, &timeout));
  CHECK(live.functions()->check(live.source));
}

TEST_CASE("check is true once the time-out has passed since the last dispatch") {
  const ScopedCurlOverrides overrides;
  LiveSource live;
  kesu_test::ScriptedServer server;
  const AddedHandle handle(server.host());
  live.functions()->dispatch(live.source, nullptr, nullptr);
  gint timeout = 0;
  curl_overrides.timeout_ms = 900;
  live.functions()->prepare(live.source, &timeout);
  CHECK_FALSE(live.functions()->check(live.source));
  curl_overrides.timeout_ms = 1;
  live.functions()->prepare(live.source, &timeout);
  g_usleep(2000);
  CHECK(live.functions()->check(live.source));
}

TEST_CASE("the poll list follows curl's sockets") {
  LiveSource live;
  kesu_test::ScriptedServer server;
  std::optional<AddedHandle> handles[2];
  for (auto& handle : handles) handle.emplace(server.host());
  REQUIRE(IterateUntil([&] { return server.requests().size() == 2; }));
  const int descriptors[] = {handles[0]->descriptor, handles[1]->descriptor};
  for (const int descriptor : descriptors) CHECK(IsPolled(live.source, descriptor));

  // The highest descriptor that curl reports falls.
  const int highest = descriptors[0] > descriptors[1] ? 0 : 1;
  handles[highest].reset();
  CHECK_FALSE(IsPolled(live.source, descriptors[highest]));
  CHECK(IsPolled(live.source, descriptors[1 - highest]));
  handles[1 - highest].reset();
  CHECK_FALSE(IsPolled(live.source, descriptors[1 - highest]));
}

TEST_CASE("every dispatch calls the callback that is installed") {
  LiveSource live;
  live.functions()->dispatch(live.source, nullptr, nullptr);
  CHECK(live.dispatches == 0);
  glibcurl_start();
  g_main_context_iteration(nullptr, FALSE);
  CHECK(live.dispatches == 1);
}

TEST_CASE("clean-up with transfers under way, and the next start") {
  kesu_test::ScriptedServer server;
  int complaints = 0;
  const guint handler = g_log_set_handler(
      "GLib", G_LOG_LEVEL_CRITICAL,
      [](const gchar*, GLogLevelFlags, const gchar*, void* count) { ++*static_cast<int*>(count); },
      &complaints);
  for (int i = 0; i < 2; ++i) {
    CURL* easy = curl_easy_init();
    curl_easy_setopt(easy, CURLOPT_URL, server.host().c_str());
    {
      LiveSource live;
      glibcurl_add(easy);
      const auto requests = server.requests().size();
      REQUIRE(IterateUntil([&] { return server.requests().size() > requests; }));
    }
    CHECK(glibcurl_handle() == nullptr);
    curl_easy_cleanup(easy);
  }
  CHECK(complaints == 0);
  g_log_remove_handler("GLib", handler);
}
