// What a request puts on the wire, what comes of its response, and what a requester may do.

#include <cstdlib>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "dovi/fixture.h"

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

constexpr auto kClose = ScriptedReply::Then::kClose;

/// The fields of kOk. The blank line and the NUL that end the header text are fields of their own.
const std::string kOkFields = "HTTP/1.1 200 OK\r\n=|Content-Length=2|=|\0=|"s;

}  // namespace

TEST_CASE("the bytes of a request") {
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
      {"hello",
       {{"CONTENT-length", "5"}, {"X-A", "b"}},
       "POST",
       "CONTENT-length: 5\r\nX-A: b\r\n" + form + "hello"},
      // Names that only begin or end alike.
      {"hello",
       {{"X-Content-Length", "7"}, {"Content-LengthX", "8"}},
       "POST",
       "X-Content-Length: 7\r\nContent-LengthX: 8\r\nContent-Length: 5\r\n" + form + "hello"},
      {"", {{"X-A", "b"}}, "GET", "X-A: b\r\n\r\n"},
  };
  for (const auto& c : cases) {
    for (const auto method : {Exchange::kPost, Exchange::kGet}) {
      // A POST of nothing is a GET.
      if (method == Exchange::kGet && c.method == "POST") continue;
      Endpoint endpoint;
      endpoint.server.Reply({kOk});
      Exchange exchange(&endpoint.factory, c.body, method);
      for (const auto& [name, value] : c.headers) {
        exchange.request->SetHttpRequestHeader(ViewOf(name), ViewOf(value));
      }
      exchange.Run();
      const std::string address = "127.0.0.1:" + std::to_string(endpoint.server.port());
      CHECK(endpoint.server.requests()[0] == c.method + " /m/appreq/cllDovi HTTP/1.1\r\nHost: " +
                                                 address + "\r\nAccept: */*\r\n" + c.sent);
    }
  }
}

TEST_CASE("proxies come from the settings and never from the environment") {
  ScriptedServer server;
  setenv("http_proxy", RefusingHost().c_str(), 1);
  setenv("no_proxy", "*", 1);
  for (const bool has_proxy : {false, true}) {
    const ScopedSettings settings(has_proxy ? "http://far.invalid" : server.host(),
                                  has_proxy ? server.host() : "");
    DoviHttpRequestFactory factory;
    server.Reply({kOk});
    Exchange exchange(&factory, "request");
    exchange.Run();
    CHECK(exchange.completed == 1);
  }
  CHECK(server.requests()[0].starts_with("POST /m/appreq/cllDovi HTTP/1.1\r\n"));
  CHECK(server.requests()[1].starts_with("POST http://far.invalid/m/appreq/cllDovi HTTP/1.1\r\n"));
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
      endpoint.server.Reply({c.reply, kClose, piece_size});
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
  const std::string other_address =
      "://127.0.0.1:" + std::to_string(other.port()) + "/etc/hostname";
  const struct {
    std::string location;
    std::size_t count;
    std::string outcome;
    std::size_t requests;
  } cases[] = {
      {"/elsewhere?a=b", 1, "completed 200 ok", 2},
      {"/again", 15, "failed 302  (redirect-refused)", 11},
      {"ftp" + other_address, 1, "failed 302  (redirect-refused)", 1},
      {"gopher" + other_address, 1, "failed 302  (redirect-refused)", 1},
      {"dict" + other_address, 1, "failed 302  (redirect-refused)", 1},
      {"file:///etc/hostname", 1, "failed 302  (redirect-refused)", 1},
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
  Endpoint endpoint;
  for (bool* const fails : {&curl_overrides.easy_init_fails, &curl_overrides.add_handle_fails}) {
    *fails = true;
    Exchange exchange(&endpoint.factory, "request");
    CHECK(exchange.Start() != 0);
    CHECK_FALSE(exchange.HasEnded());
    *fails = false;
  }
  endpoint.server.Reply({kOk});
  Exchange exchange(&endpoint.factory, "request");
  exchange.Run();
  CHECK(exchange.request->Start(&exchange) != 0);
}

TEST_CASE("a request that is cancelled before anything is sent is never heard of") {
  for (const bool is_started : {false, true}) {
    Endpoint endpoint;
    Exchange exchange(&endpoint.factory, "request");
    if (is_started) REQUIRE(exchange.Start() == 0);
    exchange.Cancel();
    endpoint.RunAnotherExchange();
    CHECK(endpoint.server.requests().empty());
    CHECK_FALSE(exchange.HasEnded());
  }
}

TEST_CASE("transfers that finish in one pass") {
  // The requester that is told first releases none of them, itself, or itself and the next. It
  // starts another, and what it throws does not get out of the loop.
  for (const int releases : {0, 1, 2}) {
    for (const bool throws : {false, true}) {
      CAPTURE(releases);
      CAPTURE(throws);
      Endpoint endpoint;
      Exchange another(&endpoint.factory, "another");
      Exchange exchanges[] = {
          {&endpoint.factory, "a"}, {&endpoint.factory, "b"}, {&endpoint.factory, "c"}};
      int told = 0;
      for (int i = 0; i < 3; ++i) {
        exchanges[i].on_end = [&, i] {
          if (++told > 1) return;
          for (int next = i; next < i + releases; ++next) exchanges[next % 3].Cancel();
          CHECK(another.Start() == 0);
          if (throws) throw 1;
        };
        REQUIRE(exchanges[i].Start() == 0);
      }
      REQUIRE(IterateUntil([&] { return endpoint.server.requests().size() == 3; }));
      kesu_test::Settle();
      const std::string failure = "HTTP/1.1 500 Oops\r\nContent-Length: 0\r\n\r\n";
      for (int i = 0; i < 4; ++i) endpoint.server.Reply({throws ? failure : kOk});
      while (told == 0) g_main_context_iteration(nullptr, TRUE);
      // What was thrown keeps the others for the next pass.
      const int all = releases == 2 ? 2 : 3;
      CHECK(told == (throws ? 1 : all));
      CHECK(IterateUntil([&] { return another.HasEnded(); }));
      endpoint.RunAnotherExchange();
      CHECK(told == all);
    }
  }
}
