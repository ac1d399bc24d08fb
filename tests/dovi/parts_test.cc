// The curl source, the timer of requests, the settings and the trace.

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dovi/deferred_request_source.h"
#include "dovi/fixture.h"
#include "dovi/glibcurl.h"
#include "dovi/receive_buffer.h"

#include "support/manual_clock.h"
#include "support/recording_requester.h"

using namespace kesu_test;
using namespace std::string_literals;

namespace {

/// What the main context would do now.
struct MainContext {
  MainContext() {
    gint priority = 0;
    g_main_context_prepare(context, &priority);
    count = g_main_context_query(context, G_MAXINT, &timeout_ms, polled, 16);
  }
  /// The events that it would wait for on curl's descriptors, 3 for bytes or 4 for room. The
  /// servers of the tests wait for something else.
  std::string Events() const {
    std::string events;
    for (int i = 0; i < count; ++i) {
      if (polled[i].events != G_IO_IN) events += std::to_string(polled[i].events);
    }
    return events;
  }
  /// Waits for the descriptors, and tells the sources what has happened.
  void Poll() {
    g_poll(polled, static_cast<guint>(count), 20000);
    g_main_context_check(context, G_MAXINT, polled, count);
  }

  GMainContext* context = g_main_context_default();
  gint timeout_ms = -1;
  GPollFD polled[16] = {};
  int count = 0;
};

/// The live source. Ends all overrides with itself.
struct LiveSource {
  LiveSource() {
    glibcurl_init();
    glibcurl_set_callback([](void*) {}, this);
    source = g_main_context_find_source_by_user_data(nullptr, this);
    functions = source->source_funcs;
  }
  ~LiveSource() {
    glibcurl_cleanup();
    curl_overrides = {};
  }
  /// With curl's time-out overridden; "TIMEOUT" or "TIMEOUT ready".
  std::string Prepare(long curl_timeout) const {
    curl_overrides.timeout_ms = curl_timeout;
    gint timeout = -7;
    const bool is_ready = functions->prepare(source, &timeout) != FALSE;
    return std::to_string(timeout) + (is_ready ? " ready" : "");
  }
  bool Check() const { return functions->check(source) != FALSE; }
  void Dispatch() const { functions->dispatch(source, nullptr, nullptr); }

  GSource* source;
  const GSourceFuncs* functions;
};

/// An easy handle that is added to the source for the length of a scope.
struct AddedHandle {
  explicit AddedHandle(const std::string& url, curl_opensocket_callback open = nullptr) {
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, open);
    CHECK(glibcurl_add(easy) == CURLM_OK);
  }
  ~AddedHandle() {
    CHECK(glibcurl_remove(easy) == CURLM_OK);
    curl_easy_cleanup(easy);
  }
  CURL* easy = curl_easy_init();
};

/// What `deed` prints in a child process, with "(aborted)" behind it if that is how it ended, and
/// with a # for each number and address that differs from run to run.
template <class Deed>
std::string OutputOf(Deed deed) {
  std::FILE* const file = std::tmpfile();
  std::fflush(nullptr);
  const pid_t child = fork();
  REQUIRE(child >= 0);
  if (child == 0) {
    std::signal(SIGABRT, SIG_DFL);
    dup2(fileno(file), STDERR_FILENO);
    dup2(fileno(file), STDOUT_FILENO);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    deed();
    _exit(0);
  }
  int status = 0;
  REQUIRE(waitpid(child, &status, 0) == child);
  std::rewind(file);
  std::string text;
  for (int byte = 0; (byte = std::fgetc(file)) != EOF;) text += static_cast<char>(byte);
  std::fclose(file);
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) text += "(aborted)";
  // Not std::regex, which g++ 12 takes for uninitialised when it builds for the sanitizers.
  GRegex* const numbers = g_regex_new("(127.0.0.1:| req=+|handle)[-0-9a-fx]+", GRegexCompileFlags(),
                                      GRegexMatchFlags(), nullptr);
  char* const replaced =
      g_regex_replace(numbers, text.c_str(), -1, 0, "\\1#", GRegexMatchFlags(), nullptr);
  std::string result = replaced;
  g_free(replaced);
  g_regex_unref(numbers);
  return result;
}

}  // namespace

TEST_CASE("the time-outs of prepare, and what check makes of them") {
  ScriptedServer server;
  const LiveSource live;
  const auto prepare = [&](long curl_timeout, const std::string& expected, bool is_due) {
    CAPTURE(curl_timeout);
    CHECK(live.Prepare(curl_timeout) == expected);
    g_usleep(2000);
    CHECK(live.Check() == is_due);
  };
  prepare(-1, "-1", false);
  prepare(0, "0 ready", false);
  prepare(5000, "1000", false);
  // Without a handle there is nothing to perform, and the wish is dropped.
  glibcurl_start();
  prepare(700, "0 ready", false);
  prepare(700, "700", false);
  const AddedHandle handle(server.host());
  prepare(900, "0 ready", true);
  live.Dispatch();
  prepare(-1, "1000", false);
  prepare(0, "0 ready", true);
  prepare(5000, "1000", false);
  prepare(1, "1", true);
}

TEST_CASE("the poll list follows curl's sockets, and the loop reacts to them") {
  ScriptedServer server;
  const LiveSource live;
  CHECK(g_source_get_priority(live.source) == 200);
  std::optional<AddedHandle> handles[2];
  for (auto& handle : handles) handle.emplace(server.host());
  live.Dispatch();
  CHECK(MainContext().Events() == "44");
  REQUIRE(IterateUntil([&] { return server.requests().size() == 2; }));
  CHECK(MainContext().Events() == "33");
  // The one that came last has the higher descriptor.
  handles[1].reset();
  CHECK(MainContext().Events() == "3");
  live.Dispatch();
  curl_overrides.timeout_ms = 900;
  server.Reply({"", ScriptedReply::Then::kReset});
  MainContext().Poll();
  // Not only when curl's time-out is over.
  CHECK(live.Check());
  live.Dispatch();
  CHECK(MainContext().Events() == "");
  // A caller's own socket function stays.
  static bool is_called = false;
  const auto open_none = [](void*, curlsocktype, curl_sockaddr*) -> curl_socket_t {
    is_called = true;
    return CURL_SOCKET_BAD;
  };
  const AddedHandle handle("http://127.0.0.1:1/", +open_none);
  CHECK(IterateUntil([] { return is_called; }));
}

TEST_CASE("the assertions of the curl source") {
  static GSource* const other = g_idle_source_new();
  static constexpr auto fail_multi_init = [] { curl_overrides.multi_init_fails = true; };
  static constexpr auto prepare = [](int highest) {
    const LiveSource live;
    curl_overrides.highest_descriptor = highest;
    live.Prepare(0);
  };
  const std::string same_source = "source == &curlSrc->source";
  const std::string has_handle = "curlSrc->multiHandle != 0";
  const std::string in_range = "curlSrc->fdMax >= -1 && curlSrc->fdMax <= 1023";
  const struct {
    // Those with a line have it for good.
    std::string place;
    std::string condition;
    void (*deed)();
  } cases[] = {
      {"glibcurl_init", "curlSrc == 0", [] { LiveSource live, again; }},
      {"glibcurl_start", "curlSrc != 0", glibcurl_start},
      {"glibcurl_set_callback", "curlSrc != 0", [] { glibcurl_set_callback(nullptr, nullptr); }},
      {"glibcurl_cleanup", "curlSrc != 0", glibcurl_cleanup},
      {"glibcurl_cleanup", "s_numEasyHandles == 0",
       [] { glibcurl_init(), glibcurl_add(curl_easy_init()), glibcurl_cleanup(); }},
      {"glibcurl_cleanup", "s_dispatchDepth == 0",
       [] {
         LiveSource live;
         live.functions->dispatch(live.source, G_SOURCE_FUNC(+[](void*) { glibcurl_cleanup(); }),
                                  nullptr);
       }},
      {"410: glibcurl_add", has_handle, [] { glibcurl_add(nullptr); }},
      {"420: glibcurl_remove", "curlSrc != 0", [] { glibcurl_remove(nullptr); }},
      {"421: glibcurl_remove", has_handle,
       [] { fail_multi_init(), glibcurl_init(), glibcurl_remove(nullptr); }},
      {"422: glibcurl_remove", "s_numEasyHandles > 0",
       [] { glibcurl_init(), glibcurl_remove(nullptr); }},
      {"477: registerUnregisterFds", in_range, [] { prepare(1024); }},
      {"477: registerUnregisterFds", in_range, [] { prepare(-2); }},
      {"523: prepare", same_source, [] { LiveSource().functions->prepare(other, nullptr); }},
      {"564: check", same_source, [] { LiveSource().functions->check(other); }},
      {"615: dispatch", same_source,
       [] { LiveSource().functions->dispatch(other, nullptr, nullptr); }},
      {"616: dispatch", has_handle, [] { fail_multi_init(), LiveSource().Dispatch(); }},
      // Somebody else still holds the source when it is cleaned up.
      {"635: finalize", same_source,
       [] {
         GSource* const source = g_source_ref(LiveSource().source);
         g_source_unref(source);
       }},
  };
  for (const auto& [place, condition, deed] : cases) {
    const std::string output = OutputOf(deed);
    CAPTURE(output);
    CHECK(output.find("Src/dovi/glibcurl:") != std::string::npos);
    CHECK(output.ends_with(place + ": Assertion `" + condition + "' failed.\n(aborted)"));
  }
  g_source_unref(other);
}

TEST_CASE("the loop waits for the request that is due first") {
  ManualClock clock(1000000);
  common_base::SimpleRequestQueue queue(&clock);
  auto timer = std::make_unique<DeferredRequestSource>(&queue, &clock);
  // A request may run the loop, which starts those that are due meanwhile, and destroy the timer.
  RecordingRequester inner;
  RecordingRequester early([&](auto*) {
    queue.NewDeferredRequest(0)->Start(&inner);
    CHECK(IterateUntil([&] { return inner.completed == 1; }));
  });
  RecordingRequester late([&](auto*) { timer.reset(); });
  RecordingRequester never;
  const auto advance = [&](long long ticks) {
    clock.Advance(ticks);
    g_main_context_iteration(nullptr, FALSE);
    return early.completed + late.completed + never.completed;
  };
  CHECK(MainContext().timeout_ms == -1);
  queue.NewDeferredRequest(7500)->Start(&late);
  CHECK(MainContext().timeout_ms == 8);
  queue.NewDeferredRequest(2000)->Start(&early);
  CHECK(MainContext().timeout_ms == 2);
  CHECK(advance(1999) == 0);
  CHECK(MainContext().timeout_ms == 1);
  CHECK(advance(1) == 1);
  CHECK(MainContext().timeout_ms == 6);
  queue.NewDeferredRequest(5501)->Start(&never);
  CHECK(advance(5500) == 2);
  CHECK(advance(1000000) == 2);
}

TEST_CASE("deployment settings") {
  const ScopedSettings restored("");
  // The longest host that fits, and one more than that.
  const std::string longest = "http://" + std::string(75, 'h');
  DoviDeploymentSettings no_callback;
  no_callback.trace = DoviTraceTarget::kCallback;
  CHECK(SetDoviDeploymentSettings({longest.c_str(), std::string("/a/ca.pem").c_str()}));
  CHECK_FALSE(SetDoviDeploymentSettings({(longest + "h").c_str(), nullptr, "http://a:1"}));
  CHECK_FALSE(SetDoviDeploymentSettings({"http://a", nullptr, "http://a:1", -1, 0}));
  CHECK_FALSE(SetDoviDeploymentSettings({"http://a", nullptr, "http://a:1", 0, -1}));
  CHECK_FALSE(SetDoviDeploymentSettings(no_callback));
  for (const int connections : {0, 65}) {
    DoviDeploymentSettings settings;
    settings.first_connections = connections;
    CHECK_FALSE(SetDoviDeploymentSettings(settings));
  }
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
  const ScopedSettings restored("");
  const auto file = std::filesystem::temp_directory_path() / ("keys." + std::to_string(getpid()));
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
  int moves = 0;
  for (std::size_t size = 0, i = 0; i < 5000; ++i) {
    REQUIRE(buffer.Append("x", 1));
    const std::size_t now = malloc_usable_size(const_cast<unsigned char*>(buffer.bytes()));
    moves += std::exchange(size, now) != now;
  }
  CHECK(moves < 20);
}

TEST_CASE("the trace of a POST") {
  const auto trace_of = [](const std::string& reply, DoviTraceTarget target = {}) {
    return OutputOf([&] {
      ScriptedServer server;
      const std::string host = server.host();
      DoviDeploymentSettings settings;
      settings.host = host.c_str();
      settings.trace = target;
      settings.trace_closure = const_cast<char*>("|%s");
      settings.trace_callback = [](const char* piece, void* format) {
        std::printf(static_cast<const char*>(format), piece);
      };
      REQUIRE(SetDoviDeploymentSettings(settings));
      DoviHttpRequestFactory factory;
      server.Reply({reply});
      Exchange exchange(&factory, "hello");
      exchange.on_end = [&] { throw 1; };
      exchange.Run();
      exchange.ResponseHeaders();
    });
  };
  const std::string trace =
      "=========glibcurl_init================\n"
      " in glibcurl_inithhh g_source_new is not NULl  \n"
      "=========NewHttpPostRequest================\n"
      "constructing DoviHttpRequest()\n"
      "url is %shttp://127.0.0.1:#/m/appreq/cllDovi\n"
      "=========NewHttpPostRequest req================#\n"
      "======================sendPostRequest\n"
      "sendPostRequest handle#\n"
      "======================post data size 5\n"
      "In parse resp num of bytes : 2 \n"
      "Allocate m_responsebuffer : 3 \n"
      "connection closed, CURLMsg:No error\n"
      "lasturllhttp://127.0.0.1:#/m/appreq/cllDovi\n"
      "my_GlibcurlCallback============= m_response_header size 39  \n"
      "last error is: \n"
      "my_GlibcurlCallback============= 2 m_response_header size 39 \n"
      "================= OnRequestComplete \n"
      "================= CurlFactory::GlibcurlCallback uncaught exception\n"
      "HttpResponseHeaders============= m_response_header size 39 Cancel \n"
      "~DoviHttpRequest \n"
      "enf curl_slist_free_all()\n"
      "glibcurl_remove()\n"
      "end curl_easy_cleanup()\n"
      "=========Clean up the curl================\n";
  CHECK(trace_of(kOk) == trace);
  CHECK(trace_of(kOk, DoviTraceTarget::kNowhere) == "");
  std::string pieces = trace_of(kOk, DoviTraceTarget::kCallback);
  CHECK(std::erase(pieces, '|') == 26);
  CHECK(pieces == trace);
  CHECK(trace_of("HTTP/1.1 500 No\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\n\r\n")
            .find("last error is: \n"
                  "Nnnnnnooooooooooooooo respbody: \n"
                  "my_GlibcurlCallback============= 2 m_response_header size 48 \n"
                  "================= OnRequestFailed \n") != std::string::npos);
}
