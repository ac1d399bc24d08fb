// What a request puts on the wire, what comes of its response, and what a requester may do.

#include <cstdlib>
#include <deque>
#include <string>
#include <vector>

#include "dovi/deferred_request_source.h"
#include "dovi/fixture.h"

#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/recording_requester.h"

using namespace kesu_test;
using namespace std::string_literals;

TEST_CASE("the bytes of a request, with proxies from the settings and never from the environment") {
  const std::string form = "Content-Type: application/x-www-form-urlencoded\r\n\r\n";
  const struct {
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string sent;
  } cases[] = {
      {"a\0b"s,
       {{"Content-Type", "application/binary"}, {"Content-Length", "3"}},
       "Content-Type: application/binary\r\nContent-Length: 3\r\n\r\na\0b"s},
      {"x", {{"CONTENT-length", "1"}}, "CONTENT-length: 1\r\n" + form + "x"},
      // Names that only begin or end alike.
      {"hello",
       {{"X-Content-Length", "7"}, {"Content-LengthX", "8"}},
       "X-Content-Length: 7\r\nContent-LengthX: 8\r\nContent-Length: 5\r\n" + form + "hello"},
      // A POST of nothing is a GET.
      {"", {{"X-A", "b"}}, "X-A: b\r\n\r\n"},
  };
  setenv("http_proxy", RefusingHost().c_str(), 1);
  setenv("no_proxy", "*", 1);
  for (const auto& c : cases) {
    for (const bool has_proxy : {false, true}) {
      Endpoint endpoint;
      const std::string address = has_proxy ? "http://far.invalid" : endpoint.server.host();
      const ScopedSettings settings(address, has_proxy ? endpoint.server.host() : "");
      endpoint.server.Reply({kOk});
      const bool is_get = c.body.empty();
      Exchange exchange(&endpoint.factory, c.body, is_get && has_proxy);
      for (const auto& [name, value] : c.headers) {
        exchange.request->SetHttpRequestHeader(ViewOf(name), ViewOf(value));
      }
      exchange.Run();
      CHECK(endpoint.server.requests()[0] ==
            (is_get ? "GET " : "POST ") + (has_proxy ? address : "") +
                "/m/appreq/cllDovi HTTP/1.1\r\nHost: " + address.substr(7) + "\r\nAccept: */*\r\n" +
                (has_proxy ? "Proxy-Connection: Keep-Alive\r\n" : "") + c.sent);
    }
  }
  unsetenv("http_proxy");
  unsetenv("no_proxy");
}

TEST_CASE("the headers of a response") {
  // The blank line and the NUL that end the header text are fields of their own.
  const std::string ok = "HTTP/1.1 200 OK\r\n=|Content-Length=2|=|\0=|"s;
  const struct {
    std::string reply;
    std::string headers;
    std::string headers_of_other_curl = {};
    std::string path = "/m/appreq/cllDovi";
  } cases[] = {
      {kOk, ok},
      {"HTTP/1.1 100 Continue\r\n\r\n" + kOk, "HTTP/1.1 100 Continue\r\n=|=|" + ok},
      {"HTTP/1.1 302 -\r\nLocation: /a?b\r\n\r\n", "HTTP/1.1 302 -\r\n=|Location=/a?b|=|" + ok, "",
       "/a?b"},
      {"HTTP/1.1 200 OK\r\nA: b\r\n", "HTTP/1.1 200 OK\r\n=|A=b|\0=|"s},
      // Whether curl takes a header with a NUL depends on its version.
      {"HTTP/1.1 200 OK\r\nA: b\0cdefghijk\r\nContent-Length: 2\r\n\r\nok"s,
       "HTTP/1.1 200 OK\r\n=|\0=|"s, "HTTP/1.1 200 OK\r\n=|A=bContent-Length: 2|=|\0=|"s},
  };
  for (const auto& c : cases) {
    Endpoint endpoint;
    endpoint.server.Reply({c.reply, ScriptedReply::Then::kClose, 1});
    endpoint.server.Reply({kOk});
    Exchange exchange(&endpoint.factory);
    exchange.Run();
    const std::string headers = exchange.ResponseHeaders();
    CAPTURE(headers);
    CHECK((headers == c.headers || headers == c.headers_of_other_curl));
    CHECK(TextOf(exchange.request->RedirectedToUrl()) == endpoint.server.host() + c.path);
  }
}

TEST_CASE("redirects are followed as POSTs, within HTTP, and not without end") {
  ScriptedServer other;
  const std::string other_address = other.host().substr(4) + "/etc/hostname";
  const std::string refusing_host = RefusingHost();
  const struct {
    std::string location;
    std::string outcome;
    std::string error;
    std::size_t requests = 1;
    std::size_t count = 1;
  } cases[] = {
      {"/elsewhere", "completed 200 ok", "", 2},
      {"/again", "failed 302  (redirect-refused)", ": Maximum (10) redirects followed", 11, 15},
      {"ftp" + other_address, "failed 302  (redirect-refused)", "ftp"},
      {"gopher" + other_address, "failed 302  (redirect-refused)", "gopher"},
      {"file:///etc/hostname", "failed 302  (redirect-refused)", "file"},
      {refusing_host, "failed 302  (connection-refused)", refusing_host.substr(7) + ": Connection"},
  };
  for (const auto& c : cases) {
    CAPTURE(c.location);
    Endpoint endpoint;
    const std::string fields = "Location: " + c.location + "\r\nContent-Length: 0\r\n\r\n";
    for (std::size_t i = 0; i < c.count; ++i)
      endpoint.server.Reply({"HTTP/1.1 302 -\r\n" + fields});
    endpoint.server.Reply({kOk});
    Exchange exchange(&endpoint.factory);
    CHECK(exchange.Run() == c.outcome);
    CHECK(exchange.ErrorText().find(c.error) != std::string::npos);
    CHECK(endpoint.server.requests().size() == c.requests);
    CHECK(endpoint.server.requests().back().starts_with("POST "));
    CHECK(endpoint.server.requests().back().ends_with("\r\n\r\nrequest"));
  }
  CHECK(other.connection_count() == 0);
}

TEST_CASE("a request that cannot start says so and can be released") {
  const LogCapture log(common_base::kLogErrors);
  GMainContext* const context = g_main_context_new();
  ManualClock clock(0);
  common_base::SimpleRequestQueue queue(&clock);
  g_main_context_push_thread_default(context);
  DoviHttpRequestFactory elsewhere;
  const DeferredRequestSource timer(&queue, &clock);
  g_main_context_pop_thread_default(context);
  Endpoint endpoint;
  auto second = std::make_unique<DoviHttpRequestFactory>();
  const struct {
    DoviHttpRequestFactory* factory;
    std::string error;
    bool CurlOverrides::*fault = nullptr;
  } cases[] = {
      {&elsewhere, "there is another DoviHttpRequestFactory"},
      {second.get(), "there is another DoviHttpRequestFactory"},
      {&endpoint.factory, "curl has no memory", &CurlOverrides::easy_init_fails},
      {&endpoint.factory, "Out of memory", &CurlOverrides::add_handle_fails},
  };
  for (const auto& c : cases) {
    if (c.fault != nullptr) curl_overrides.*c.fault = true;
    Exchange exchange(c.factory);
    CHECK(exchange.Start() != 0);
    CHECK(exchange.ErrorText() == c.error);
    CHECK(exchange.request->last_transport_error().kind ==
          common_kesu::TransportErrorKind::kNotStarted);
    CHECK_FALSE(exchange.HasEnded());
    curl_overrides = {};
  }
  second.reset();
  // The multiplexer is told so from there.
  RecordingRequester requester;
  queue.NewDeferredRequest(0)->Start(&requester);
  g_main_context_iteration(context, FALSE);
  CHECK(requester.completed == 1);
  const std::string refuses = "!!E: DoviHttpRequestFactory refuses to work: ";
  CHECK(log.lines() == std::vector{refuses + "the thread's default main context is not GLib's "
                                             "default main context",
                                   refuses + "there is another DoviHttpRequestFactory"});
  endpoint.server.Reply({kOk});
  Exchange exchange(&endpoint.factory);
  CHECK(exchange.Run() == "completed 200 ok");
  CHECK(exchange.request->Start(&exchange) != 0);
  g_main_context_unref(context);
}

TEST_CASE("transfers that finish in one pass") {
  // The requester that is told first releases none of them, itself, or itself and the next. It
  // starts another and waits for its end, throws, or does neither.
  enum Deed { kStartsAnother, kRunsLoop, kThrows };
  for (const int releases : {0, 1, 2}) {
    for (const Deed deed : {kStartsAnother, kRunsLoop, kThrows}) {
      CAPTURE(releases);
      CAPTURE(static_cast<int>(deed));
      Endpoint endpoint;
      Exchange another(&endpoint.factory);
      std::unique_ptr<Exchange> exchanges[3];
      int told = 0;
      for (int i = 0; i < 3; ++i) {
        exchanges[i] = std::make_unique<Exchange>(&endpoint.factory);
        exchanges[i]->on_end = [&, i] {
          if (++told > 1) return;
          for (int next = i; next < i + releases; ++next) exchanges[next % 3]->Cancel();
          REQUIRE(another.Start() == 0);
          if (deed == kRunsLoop) CHECK(another.Outcome() == "completed 200 ok");
          if (deed == kThrows) throw 1;
        };
        REQUIRE(exchanges[i]->Start() == 0);
      }
      endpoint.AwaitRequests(3);
      Settle();
      for (int i = 0; i < 4; ++i) endpoint.server.Reply({kOk});
      while (told == 0) g_main_context_iteration(nullptr, TRUE);
      CHECK(told == (releases == 2 ? 2 : 3));
      CHECK(another.Outcome() == "completed 200 ok");
      CHECK(told == (releases == 2 ? 2 : 3));
    }
  }
}

TEST_CASE("exchanges beyond six wait for one to end, to be slow, or for the end of their time") {
  Endpoint endpoint;
  const ScopedSettings settings(endpoint.server.host(), "", 0, 500);
  std::deque<Exchange> exchanges;
  const auto start = [&](int count) {
    for (; count > 0; --count) REQUIRE(exchanges.emplace_back(&endpoint.factory).Start() == 0);
  };
  const auto check_begun = [&](std::size_t count) {
    endpoint.AwaitRequests(count);
    Settle();
    CHECK(endpoint.server.requests().size() == count);
  };
  gint64 now = G_TIME_SPAN_HOUR;
  curl_overrides.monotonic_time = now;
  start(9);
  CHECK(exchanges.back().request->Start(&exchanges.back()) != 0);
  check_begun(6);
  endpoint.server.Reply({kOk});
  CHECK(exchanges[0].Outcome() == "completed 200 ok");
  check_begun(7);
  // One that waits, and two that run.
  for (const std::size_t cancelled : {7, 6, 1}) exchanges[cancelled].Cancel();
  check_begun(8);
  CHECK(endpoint.server.connection_count() == 7);
  // Five run.
  start(3);
  check_begun(9);
  curl_overrides.monotonic_time = now += 9 * G_TIME_SPAN_MILLISECOND;
  check_begun(9);
  curl_overrides.monotonic_time = now + G_TIME_SPAN_MILLISECOND;
  check_begun(11);
  // As many as there are connections begin at once.
  for (int i = 0; i < 8; ++i) endpoint.server.Reply({kOk});
  CHECK(exchanges.back().Outcome() == "completed 200 ok");
  Settle();
  start(9);
  check_begun(19);
  curl_overrides = {};
}

TEST_CASE("an exchange whose turn does not come in time, or comes to nothing") {
  for (const bool is_late : {true, false}) {
    Endpoint endpoint;
    const ScopedSettings settings(endpoint.server.host(), "", 0, 60000);
    std::deque<Exchange> exchanges;
    curl_overrides.monotonic_time = G_TIME_SPAN_HOUR;
    int told = 0;
    for (int i = 0; i < 8; ++i) {
      REQUIRE(exchanges.emplace_back(&endpoint.factory).Start() == 0);
      exchanges.back().on_end = [&] {
        ++told;
        throw 1;
      };
    }
    endpoint.AwaitRequests(6);
    curl_overrides.easy_init_fails = true;
    curl_overrides.monotonic_time =
        G_TIME_SPAN_HOUR + (is_late ? 60000 : 59999) * G_TIME_SPAN_MILLISECOND;
    for (std::size_t i = 6; i < 8; ++i) {
      CHECK(exchanges[i].Outcome() ==
            (is_late ? "failed 0  (timed-out)" : "failed 0  (not-started)"));
      CHECK(exchanges[i].ErrorText() ==
            (is_late ? endpoint.server.host().substr(7) +
                           ": No connection became free within 60000 milliseconds"
                     : "curl has no memory"));
    }
    CHECK(told == 2);
    curl_overrides = {};
    CHECK(endpoint.server.requests().size() == 6);
  }
}

TEST_CASE("the deployment settings say how many exchanges run at first") {
  for (const int connections : {1, 20}) {
    Endpoint endpoint;
    const ScopedSettings restored(endpoint.server.host());
    DoviDeploymentSettings settings = GetDoviDeploymentSettings();
    settings.first_connections = connections;
    REQUIRE(SetDoviDeploymentSettings(settings));
    curl_overrides.monotonic_time = G_TIME_SPAN_HOUR;
    std::deque<Exchange> exchanges;
    for (int i = 0; i < 25; ++i) REQUIRE(exchanges.emplace_back(&endpoint.factory).Start() == 0);
    endpoint.AwaitRequests(static_cast<std::size_t>(connections));
    Settle();
    CHECK(std::ssize(endpoint.server.requests()) == connections);
    curl_overrides = {};
  }
}
