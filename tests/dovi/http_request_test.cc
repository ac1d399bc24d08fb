// What a request puts on the wire, what comes of its response, and what a requester may do.

#include <cstdlib>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "dovi/fixture.h"

#include "support/log_capture.h"

using kesu_test::curl_overrides;
using kesu_test::Endpoint;
using kesu_test::Exchange;
using kesu_test::IterateUntil;
using kesu_test::kOk;
using kesu_test::RefusingHost;
using kesu_test::ScopedSettings;
using kesu_test::ScriptedReply;
using kesu_test::ScriptedServer;
using kesu_test::TextOf;
using kesu_test::ViewOf;
using namespace std::string_literals;

namespace {

/// The fields of kOk. The blank line and the NUL that end the header text are fields of their own.
const std::string kOkFields = "HTTP/1.1 200 OK\r\n=|Content-Length=2|=|\0=|"s;

}  // namespace

TEST_CASE("the bytes of a request, with proxies from the settings and never from the environment") {
  const std::string form = "Content-Type: application/x-www-form-urlencoded\r\n\r\n";
  const struct {
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string method;
    std::string sent;
  } cases[] = {
      {"a\0b"s,
       {{"Content-Type", "application/binary"}, {"Content-Length", "3"}},
       "POST",
       "Content-Type: application/binary\r\nContent-Length: 3\r\n\r\na\0b"s},
      {"x", {{"CONTENT-length", "1"}}, "POST", "CONTENT-length: 1\r\n" + form + "x"},
      // Names that only begin or end alike.
      {"hello",
       {{"X-Content-Length", "7"}, {"Content-LengthX", "8"}},
       "POST",
       "X-Content-Length: 7\r\nContent-LengthX: 8\r\nContent-Length: 5\r\n" + form + "hello"},
      {"", {{"X-A", "b"}}, "GET", "X-A: b\r\n\r\n"},
  };
  setenv("http_proxy", RefusingHost().c_str(), 1);
  setenv("no_proxy", "*", 1);
  for (const auto& c : cases) {
    for (const bool has_proxy : {false, true}) {
      // A POST of nothing is a GET.
      const auto method = c.body.empty() && has_proxy ? Exchange::kGet : Exchange::kPost;
      Endpoint endpoint;
      const std::string address = has_proxy ? "http://far.invalid" : endpoint.server.host();
      const ScopedSettings settings(address, has_proxy ? endpoint.server.host() : "");
      endpoint.server.Reply({kOk});
      Exchange exchange(&endpoint.factory, c.body, method);
      for (const auto& [name, value] : c.headers) {
        exchange.request->SetHttpRequestHeader(ViewOf(name), ViewOf(value));
      }
      exchange.Run();
      CHECK(endpoint.server.requests()[0] ==
            c.method + " " + (has_proxy ? address : "") +
                "/m/appreq/cllDovi HTTP/1.1\r\nHost: " + address.substr(7) + "\r\nAccept: */*\r\n" +
                (has_proxy ? "Proxy-Connection: Keep-Alive\r\n" : "") + c.sent);
    }
  }
  unsetenv("http_proxy");
  unsetenv("no_proxy");
}

TEST_CASE("the headers of a response") {
  const struct {
    std::string reply;
    std::string headers;
    std::string headers_of_other_curl;
  } cases[] = {
      {kOk, kOkFields, ""},
      {"HTTP/1.1 100 Continue\r\n\r\n" + kOk, "HTTP/1.1 100 Continue\r\n=|=|" + kOkFields, ""},
      {"HTTP/1.1 200 OK\r\nA: b\r\n", "HTTP/1.1 200 OK\r\n=|A=b|\0=|"s, ""},
      // Whether curl takes a header with a NUL depends on its version.
      {"HTTP/1.1 200 OK\r\nA: b\0cdefghijk\r\nContent-Length: 2\r\n\r\nok"s,
       "HTTP/1.1 200 OK\r\n=|\0=|"s, "HTTP/1.1 200 OK\r\n=|A=bContent-Length: 2|=|\0=|"s},
  };
  for (const auto& c : cases) {
    for (const std::size_t piece_size : {0u, 1u, 7u}) {
      Endpoint endpoint;
      endpoint.server.Reply({c.reply, ScriptedReply::Then::kClose, piece_size});
      Exchange exchange(&endpoint.factory, "request");
      exchange.Run();
      const std::string headers = exchange.ResponseHeaders();
      CAPTURE(headers);
      CHECK((headers == c.headers || headers == c.headers_of_other_curl));
    }
  }
}

TEST_CASE("redirects are followed as POSTs, within HTTP, and not without end") {
  ScriptedServer other;
  const std::string other_address = other.host().substr(4) + "/etc/hostname";
  const std::string refusing_host = RefusingHost();
  const struct {
    std::string location;
    std::size_t count;
    std::string outcome;
    std::size_t requests;
    std::string error = {};
  } cases[] = {
      {"/elsewhere?a=b", 1, "completed 200 ok", 2},
      {"/again", 15, "failed 302  (redirect-refused)", 11, ": Maximum (10) redirects followed"},
      {"ftp" + other_address, 1, "failed 302  (redirect-refused)", 1, "ftp"},
      {"gopher" + other_address, 1, "failed 302  (redirect-refused)", 1, "gopher"},
      {"dict" + other_address, 1, "failed 302  (redirect-refused)", 1, "dict"},
      {"file:///etc/hostname", 1, "failed 302  (redirect-refused)", 1, "file"},
      {refusing_host, 1, "failed 302  (connection-refused)", 1,
       refusing_host.substr(7) + ": Connection refused"},
  };
  for (const auto& c : cases) {
    CAPTURE(c.location);
    Endpoint endpoint;
    const std::string fields = "Location: " + c.location + "\r\nContent-Length: 0\r\n\r\n";
    for (std::size_t i = 0; i < c.count; ++i) {
      endpoint.server.Reply({"HTTP/1.1 302 Found\r\n" + fields});
    }
    endpoint.server.Reply({kOk});
    Exchange exchange(&endpoint.factory, "request");
    exchange.Run();
    CHECK(exchange.Outcome() == c.outcome);
    const std::string error = TextOf(exchange.request->last_transport_error().text);
    CAPTURE(error);
    CHECK(error.find(c.error) != std::string::npos);
    CHECK(endpoint.server.requests().size() == c.requests);
    CHECK(endpoint.server.requests().back().starts_with("POST "));
    CHECK(endpoint.server.requests().back().ends_with("\r\n\r\nrequest"));
    if (c.requests != 2) continue;
    CHECK(TextOf(exchange.request->RedirectedToUrl()) == endpoint.server.host() + c.location);
    CHECK(exchange.ResponseHeaders() ==
          "HTTP/1.1 302 Found\r\n=|Location=/elsewhere?a=b|Content-Length=0|=|" + kOkFields);
  }
  CHECK(other.connection_count() == 0);
}

TEST_CASE("a request that cannot start says so and can be released") {
  const kesu_test::LogCapture log(common_base::kLogErrors);
  GMainContext* const context = g_main_context_new();
  g_main_context_push_thread_default(context);
  const ScopedSettings settings("");
  DoviHttpRequestFactory elsewhere;
  g_main_context_pop_thread_default(context);
  Endpoint endpoint;
  {
    DoviHttpRequestFactory second;
    const struct {
      DoviHttpRequestFactory* factory;
      bool* fault;
      std::string error;
    } cases[] = {
        {&elsewhere, nullptr, "there is another DoviHttpRequestFactory"},
        {&second, nullptr, "there is another DoviHttpRequestFactory"},
        {&endpoint.factory, &curl_overrides.easy_init_fails, "curl has no memory"},
        {&endpoint.factory, &curl_overrides.add_handle_fails, "Out of memory"},
    };
    for (const auto& c : cases) {
      if (c.fault != nullptr) *c.fault = true;
      Exchange exchange(c.factory, "request");
      CHECK(exchange.Start() != 0);
      CHECK_FALSE(exchange.HasEnded());
      const common_kesu::TransportError error = exchange.request->last_transport_error();
      CHECK(error.kind == common_kesu::TransportErrorKind::kNotStarted);
      CHECK(TextOf(error.text) == c.error);
      if (c.fault != nullptr) *c.fault = false;
    }
  }
  CHECK(log.lines() == std::vector<std::string>{
                           "!!E: DoviHttpRequestFactory refuses to work: the thread's default "
                           "main context is not GLib's default main context",
                           "!!E: DoviHttpRequestFactory refuses to work: there is another "
                           "DoviHttpRequestFactory"});
  endpoint.server.Reply({kOk});
  Exchange exchange(&endpoint.factory, "request");
  exchange.Run();
  CHECK(exchange.Outcome() == "completed 200 ok");
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
      Exchange another(&endpoint.factory, "another");
      Exchange exchanges[] = {
          {&endpoint.factory, "a"}, {&endpoint.factory, "b"}, {&endpoint.factory, "c"}};
      int told = 0;
      for (int i = 0; i < 3; ++i) {
        exchanges[i].on_end = [&, i] {
          if (++told > 1) return;
          for (int next = i; next < i + releases; ++next) exchanges[next % 3].Cancel();
          REQUIRE(another.Start() == 0);
          if (deed == kRunsLoop) CHECK(IterateUntil([&] { return another.HasEnded(); }));
          if (deed == kThrows) throw 1;
        };
        REQUIRE(exchanges[i].Start() == 0);
      }
      REQUIRE(IterateUntil([&] { return endpoint.server.requests().size() == 3; }));
      kesu_test::Settle();
      const std::string failure = "HTTP/1.1 500 Oops\r\nContent-Length: 0\r\n\r\n";
      for (int i = 0; i < 4; ++i) endpoint.server.Reply({deed == kThrows ? failure : kOk});
      while (told == 0) g_main_context_iteration(nullptr, TRUE);
      CHECK(told == (releases == 2 ? 2 : 3));
      CHECK(IterateUntil([&] { return another.HasEnded(); }));
      endpoint.RunAnotherExchange();
      CHECK(told == (releases == 2 ? 2 : 3));
    }
  }
}
