// What is printed, and the contracts whose breach ends the process with a line of its own.

#include <csignal>
#include <cstdio>
#include <string>

#include <doctest/doctest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dovi/deferred_request_source.h"
#include "dovi/fixture.h"
#include "dovi/glibcurl.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/common/base/logging.h"
#include "kesu/mux/mux_fixture.h"
#include "kesu/services/location_service.h"

#include "support/recording_requester.h"

using common_kesu::MobileServiceMux;
using kesu_test::curl_overrides;
using kesu_test::IterateUntil;

namespace {

/// What `deed` prints in a child process, with "(aborted)" behind it if that is how it ended.
template <class Deed>
std::string OutputOf(Deed deed) {
  int pipe_ends[2];
  REQUIRE(pipe(pipe_ends) == 0);
  std::fflush(nullptr);
  const pid_t child = fork();
  REQUIRE(child >= 0);
  if (child == 0) {
    std::signal(SIGABRT, SIG_DFL);
    dup2(pipe_ends[1], STDERR_FILENO);
    dup2(pipe_ends[1], STDOUT_FILENO);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    deed();
    _exit(0);
  }
  close(pipe_ends[1]);
  std::string text;
  char buffer[512];
  for (ssize_t length; (length = read(pipe_ends[0], buffer, sizeof(buffer))) > 0;) {
    text.append(buffer, static_cast<std::size_t>(length));
  }
  close(pipe_ends[0]);
  int status = 0;
  REQUIRE(waitpid(child, &status, 0) == child);
  return text + (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT ? "(aborted)" : "");
}

/// With a # for each number and address that differs from run to run.
std::string TraceOf(const std::string& reply, DoviTraceTarget target = {}) {
  const std::string text = OutputOf([&] {
    kesu_test::ScriptedServer server;
    DoviDeploymentSettings settings;
    const std::string host = server.host();
    settings.host = host.c_str();
    settings.trace = target;
    settings.trace_closure = const_cast<char*>("|%s");
    settings.trace_callback = [](const char* piece, void* format) {
      std::printf(static_cast<const char*>(format), piece);
    };
    REQUIRE(SetDoviDeploymentSettings(settings));
    DoviHttpRequestFactory factory;
    server.Reply({reply});
    kesu_test::Exchange exchange(&factory, "hello");
    exchange.Run();
    exchange.ResponseHeaders();
  });
  GRegex* differing = g_regex_new("(127.0.0.1:| req=+|handle)[-0-9a-fx]+", {}, {}, nullptr);
  char* masked = g_regex_replace(differing, text.c_str(), -1, 0, "\\1#", {}, nullptr);
  std::string result = masked;
  g_free(masked);
  g_regex_unref(differing);
  return result;
}

constexpr char kAskedMac[] = "00-00-5E-00-53-01";
constexpr char kAskedKey[] = "asked-key";
constexpr char kToldKey[] = "told-key";

/// Looks an access point up, whatever the service answers. Prints the log, and whether that came
/// about.
void LookUp(const std::string& http_reply) {
  const auto print = [](const common_base::GString& line, void*) {
    std::printf("log %s\n", kesu_test::TextOf(line).c_str());
  };
  common_base::SetLogLevel(common_base::kLogInformation);
  common_base::SetLogCallback(print, nullptr);
  kesu_test::ScriptedServer server;
  const kesu_test::ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  const std::unique_ptr<common_base::ClockInterface> clock(common_base::NewClock());
  common_base::SimpleRequestQueue queue(clock.get());
  const DeferredRequestSource timer(&queue, clock.get());
  MobileServiceMux::Initialize(&factory, &queue, clock.get(), new common_kesu::MuxConfig);

  auto* observation = new lbs::GLocRequest;
  observation->mutable_platformprofile()->set_platform_key(kAskedKey);
  auto* profile = observation->add_requestelements()->mutable_wifiprofile();
  profile->add_wifidevices()->set_mac_address(kAskedMac);
  common_kesu::LocationService service(common_kesu::kLBSServiceUri, observation);
  kesu_test::RecordingRequester requester;
  server.Reply({http_reply});
  server.Reply({http_reply});
  REQUIRE(service.NewInvocation()->Start(&requester) == 0);
  IterateUntil([&] { return requester.completed + requester.failed > 0; });
  REQUIRE_FALSE(server.requests().empty());
  const bool was_asked = server.requests()[0].find(kAskedMac) != std::string::npos;
  const bool was_told = requester.completed == 1;
  std::printf("asked %d, told %d\n", was_asked, was_told);
  MobileServiceMux::DeleteInstance();
}

char source_mark;

GSource* InitialisedSource() {
  glibcurl_init();
  glibcurl_set_callback([](void*) {}, &source_mark);
  return g_main_context_find_source_by_user_data(nullptr, &source_mark);
}

void InitWithoutMultiHandle() {
  curl_overrides.multi_init_fails = true;
  glibcurl_init();
}

void PrepareWithHighestDescriptor(int descriptor) {
  glibcurl_init();
  curl_overrides.highest_descriptor = descriptor;
  g_main_context_iteration(nullptr, FALSE);
}

}  // namespace

TEST_CASE("the trace of a POST") {
  const std::string reply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
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
      "HttpResponseHeaders============= m_response_header size 39 Cancel \n"
      "~DoviHttpRequest \n"
      "enf curl_slist_free_all()\n"
      "glibcurl_remove()\n"
      "end curl_easy_cleanup()\n"
      "=========Clean up the curl================\n";
  CHECK(TraceOf(reply) == trace);
  CHECK(TraceOf(reply, DoviTraceTarget::kNowhere) == "");
  std::string pieces = TraceOf(reply, DoviTraceTarget::kCallback);
  CHECK(std::erase(pieces, '|') == 25);
  CHECK(pieces == trace);
  CHECK(TraceOf("HTTP/1.1 500 No\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\n\r\n")
            .find("last error is: \n"
                  "Nnnnnnooooooooooooooo respbody: \n"
                  "my_GlibcurlCallback============= 2 m_response_header size 48 \n"
                  "================= OnRequestFailed \n") != std::string::npos);
}

TEST_CASE("neither the trace nor the log below the debug level tells what is asked or answered") {
  const std::string answer =
      kesu_test::kReplyStart + kesu_test::ReplyBlock(0, std::string("\x1A\x08") + kToldKey);
  const std::string head = "Content-Length: " + std::to_string(answer.size()) + "\r\n\r\n";
  const std::string type = "Content-Type: application/binary\r\n";
  const struct {
    std::string reply;
    std::string outcome;
  } cases[] = {
      {"HTTP/1.1 200 OK\r\n" + type + head + answer, "asked 1, told 1\n"},
      {"HTTP/1.1 200 OK\r\n" + head + answer, "asked 1, told 0\n"},
      {"HTTP/1.1 503 No\r\n" + type + head + answer, "asked 1, told 0\n"},
  };
  for (const auto& c : cases) {
    const std::string output = OutputOf([&] { LookUp(c.reply); });
    CAPTURE(output);
    CHECK(output.find(c.outcome) != std::string::npos);
    for (const std::string secret : {kAskedMac, kAskedKey, kToldKey}) {
      CHECK(output.find(secret) == std::string::npos);
    }
  }
}

TEST_CASE("the assertions of the curl source") {
  const std::string same_source = "source == &curlSrc->source";
  const std::string multi_handle = "curlSrc->multiHandle != 0";
  const std::string in_range = "curlSrc->fdMax >= -1 && curlSrc->fdMax <= 1023";
  static GSource* const other = g_idle_source_new();
  const struct {
    int line;
    const char* function;
    std::string condition;
    void (*deed)();
  } cases[] = {
      // Those without a line of their own stand where the code has them.
      {0, "glibcurl_init", "curlSrc == 0", [] { glibcurl_init(), glibcurl_init(); }},
      {0, "glibcurl_start", "curlSrc != 0", [] { glibcurl_start(); }},
      {0, "glibcurl_set_callback", "curlSrc != 0", [] { glibcurl_set_callback(nullptr, nullptr); }},
      {0, "glibcurl_cleanup", "curlSrc != 0", [] { glibcurl_cleanup(); }},
      {0, "glibcurl_cleanup", "s_numEasyHandles == 0",
       [] { glibcurl_init(), glibcurl_add(curl_easy_init()), glibcurl_cleanup(); }},
      {0, "glibcurl_cleanup", "s_dispatchDepth == 0",
       [] {
         glibcurl_init();
         glibcurl_set_callback([](void*) { glibcurl_cleanup(); }, nullptr);
         glibcurl_add(curl_easy_init());
         while (true) g_main_context_iteration(nullptr, TRUE);
       }},
      {410, "glibcurl_add", multi_handle, [] { glibcurl_add(nullptr); }},
      {420, "glibcurl_remove", "curlSrc != 0", [] { glibcurl_remove(nullptr); }},
      {421, "glibcurl_remove", multi_handle,
       [] { InitWithoutMultiHandle(), glibcurl_remove(nullptr); }},
      {422, "glibcurl_remove", "s_numEasyHandles > 0",
       [] { glibcurl_init(), glibcurl_remove(nullptr); }},
      {477, "registerUnregisterFds", in_range, [] { PrepareWithHighestDescriptor(1024); }},
      {477, "registerUnregisterFds", in_range, [] { PrepareWithHighestDescriptor(-2); }},
      {523, "prepare", same_source,
       [] { InitialisedSource()->source_funcs->prepare(other, nullptr); }},
      {564, "check", same_source, [] { InitialisedSource()->source_funcs->check(other); }},
      {615, "dispatch", same_source,
       [] { InitialisedSource()->source_funcs->dispatch(other, nullptr, nullptr); }},
      {616, "dispatch", multi_handle,
       [] {
         curl_overrides.multi_init_fails = true;
         GSource* source = InitialisedSource();
         source->source_funcs->dispatch(source, nullptr, nullptr);
       }},
      // Somebody else still holds the source when it is cleaned up.
      {635, "finalize", same_source,
       [] {
         GSource* source = g_source_ref(InitialisedSource());
         glibcurl_cleanup();
         g_source_unref(source);
       }},
  };
  for (const auto& c : cases) {
    const std::string output = OutputOf(c.deed);
    CAPTURE(output);
    const std::string line = c.line == 0 ? "" : "Src/dovi/glibcurl:" + std::to_string(c.line);
    CHECK(output.ends_with(line + ": " + c.function + ": Assertion `" + c.condition +
                           "' failed.\n(aborted)"));
  }
  g_source_unref(other);
}
