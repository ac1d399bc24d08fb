// What a request puts on the wire, and what comes of its response.

#include <cstdlib>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "dovi/fixture.h"

using kesu_test::curl_overrides;
using kesu_test::Exchange;
using kesu_test::RefusingHost;
using kesu_test::ScopedSettings;
using kesu_test::ScriptedReply;
using kesu_test::ScriptedServer;
using kesu_test::TextOf;
using kesu_test::ViewOf;
using namespace std::string_literals;

namespace {

constexpr auto kKeepOpen = ScriptedReply::Then::kKeepOpen;
constexpr auto kClose = ScriptedReply::Then::kClose;

const std::string kOk = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
/// The blank line and the NUL that end the header text are fields of their own.
const std::string kEndOfHeaders = "=|\0=|"s;

/// The bytes of a request behind its lines Host and Accept, with "METHOD: " in front.
std::string Sent(Exchange::Method method, const std::string& body,
                 const std::vector<std::pair<std::string, std::string>>& headers) {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  server.Reply({kOk});
  Exchange exchange(&factory, body, method);
  for (const auto& [name, value] : headers) {
    exchange.request->SetHttpRequestHeader(ViewOf(name), ViewOf(value));
  }
  exchange.Run();
  const std::string request = server.requests()[0];
  const std::string sent_as = request.substr(0, request.find(' '));
  const std::string start = sent_as + " /m/appreq/cllDovi HTTP/1.1\r\n" +
                            "Host: 127.0.0.1:" + std::to_string(server.port()) +
                            "\r\nAccept: */*\r\n";
  return request.starts_with(start) ? sent_as + ": " + request.substr(start.size()) : request;
}

}  // namespace

TEST_CASE("the bytes of a request") {
  const std::string form = "Content-Type: application/x-www-form-urlencoded\r\n\r\n";
  CHECK(Sent(Exchange::kPost, "a\0b"s,
             {{"Content-Type", "application/binary"}, {"Content-Length", "3"}}) ==
        "POST: Content-Type: application/binary\r\nContent-Length: 3\r\n\r\na\0b"s);
  CHECK(Sent(Exchange::kPost, "hello", {{"CONTENT-length", "5"}, {"X-A", "b"}}) ==
        "POST: CONTENT-length: 5\r\nX-A: b\r\n" + form + "hello");
  // Names that only begin or end alike.
  CHECK(Sent(Exchange::kPost, "hello", {{"X-Content-Length", "7"}, {"Content-LengthX", "8"}}) ==
        "POST: X-Content-Length: 7\r\nContent-LengthX: 8\r\nContent-Length: 5\r\n" + form +
            "hello");
  CHECK(Sent(Exchange::kGet, "", {{"X-A", "b"}}) == "GET: X-A: b\r\n\r\n");
  CHECK(Sent(Exchange::kPost, "", {}) == "GET: \r\n");
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

TEST_CASE("what a response leads to") {
  const struct {
    std::string reply;
    ScriptedReply::Then then;
    int status;
    std::string body;
  } cases[] = {
      {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhe\0lo"s, kKeepOpen, 200, "he\0lo"s},
      // Chunks, and a body up to the end of the connection, are not delivered.
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nhi\r\n0\r\n\r\n", kKeepOpen, 200,
       ""},
      {"HTTP/1.0 200 OK\r\n\r\nhello", kClose, 200, ""},
      {"HTTP/1.1 201 Created\r\nContent-Length: 2\r\n\r\nok", kKeepOpen, 201, "ok"},
      {"HTTP/1.1 500 Oops\r\nContent-Length: 3\r\n\r\nbad", kKeepOpen, 500, "bad"},
      // Shorter and longer than announced. An int holds neither 2^32 + 2 nor 2^31.
      {"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhello", kClose, 200, "hello"},
      {"HTTP/1.1 200 OK\r\nContent-Length: 4294967298\r\n\r\nhello", kClose, 200, "hello"},
      {"HTTP/1.1 200 OK\r\nContent-Length: 2147483648\r\n\r\nhello", kClose, 200, "hello"},
      {"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhello", kClose, 200, "he"},
      {"", kClose, 0, ""},
      {"220 mail.invalid ESMTP\r\n", kClose, 0, ""},
  };
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  for (const auto& c : cases) {
    for (const std::size_t piece_size : {0u, 1u, 7u}) {
      CAPTURE(c.reply);
      CAPTURE(piece_size);
      server.Reply({c.reply, c.then, piece_size});
      // Each with connections of its own: some replies leave theirs unusable.
      DoviHttpRequestFactory factory;
      Exchange exchange(&factory, "request");
      exchange.Run();
      CHECK(exchange.completed == (c.status == 200));
      CHECK(exchange.failed == (c.status != 200));
      CHECK(exchange.request->HttpResponseStatusCode() == c.status);
      CHECK(TextOf(exchange.response_body) == c.body);
      CHECK(TextOf(exchange.request->RedirectedToUrl()) == server.host() + "/m/appreq/cllDovi");
    }
  }
}

TEST_CASE("the headers of a response") {
  const std::string ok_fields = "HTTP/1.1 200 OK\r\n=|Content-Length=2|" + kEndOfHeaders;
  const struct {
    std::string reply;
    std::string headers;
    std::string headers_of_other_curl;
  } cases[] = {
      {kOk, ok_fields, ""},
      {"HTTP/1.1 100 Continue\r\n\r\n" + kOk, "HTTP/1.1 100 Continue\r\n=|=|" + ok_fields, ""},
      {"HTTP/1.1 200 OK\r\nA: b\r\n", "HTTP/1.1 200 OK\r\n=|A=b|\0=|"s, ""},
      // Whether curl takes a header with a NUL depends on its version.
      {"HTTP/1.1 200 OK\r\nA: b\0cdefghijk\r\nContent-Length: 2\r\n\r\nok"s,
       "HTTP/1.1 200 OK\r\n=|\0=|"s, "HTTP/1.1 200 OK\r\n=|A=bContent-Length: 2|" + kEndOfHeaders},
  };
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  for (const auto& c : cases) {
    for (const std::size_t piece_size : {0u, 1u, 7u}) {
      server.Reply({c.reply, kClose, piece_size});
      Exchange exchange(&factory, "request");
      exchange.Run();
      const std::string headers = exchange.ResponseHeaders();
      CAPTURE(headers);
      CHECK((headers == c.headers || headers == c.headers_of_other_curl));
    }
  }
}

TEST_CASE("large bodies arrive whole, and beyond the limit not at all") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  constexpr std::size_t kLimit = 8 << 20;
  for (const std::size_t size : {kLimit, kLimit + 1}) {
    std::string body(size, 'x');
    for (std::size_t i = 0; i < size; i += 7) body[i] = static_cast<char>(i);
    const std::string head =
        "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n";
    server.Reply({head + body, kKeepOpen, 700001});
    Exchange exchange(&factory, "request");
    exchange.Run();
    CHECK(exchange.completed == (size == kLimit));
    CHECK((TextOf(exchange.response_body) == (size == kLimit ? body : "")));
  }
}

TEST_CASE("redirects") {
  ScriptedServer server;
  ScriptedServer other;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  const auto redirect_to = [&](const std::string& location) {
    server.Reply({"HTTP/1.1 302 Found\r\nLocation: " + location + "\r\nContent-Length: 0\r\n\r\n"});
  };
  Exchange exchange(&factory, "request");

  SUBCASE("followed to the end as a POST, with the headers of both responses") {
    redirect_to("/elsewhere?a=b");
    server.Reply({kOk});
    exchange.Run();
    CHECK(exchange.completed == 1);
    CHECK(TextOf(exchange.response_body) == "ok");
    CHECK(TextOf(exchange.request->RedirectedToUrl()) == server.host() + "/elsewhere?a=b");
    CHECK(server.requests()[1].starts_with("POST /elsewhere?a=b "));
    CHECK(server.requests()[1].ends_with("\r\n\r\nrequest"));
    CHECK(exchange.ResponseHeaders() ==
          "HTTP/1.1 302 Found\r\n=|Location=/elsewhere?a=b|Content-Length=0|=|"
          "HTTP/1.1 200 OK\r\n=|Content-Length=2|" +
              kEndOfHeaders);
  }
  SUBCASE("refused out of HTTP") {
    for (const std::string scheme : {"ftp", "gopher", "file"}) {
      redirect_to(scheme + "://127.0.0.1:" + std::to_string(other.port()) + "/etc/hostname");
      Exchange refused(&factory, "request");
      refused.Run();
      CHECK(refused.failed == 1);
      CHECK(refused.request->HttpResponseStatusCode() == 302);
      CHECK(other.connection_count() == 0);
    }
  }
  SUBCASE("not followed without end") {
    for (int i = 0; i < 15; ++i) redirect_to("/again");
    exchange.Run();
    CHECK(exchange.failed == 1);
    CHECK(server.requests().size() == 11);
  }
}

TEST_CASE("no answer fails with status 0") {
  ScriptedServer silent;
  for (const std::string& host : {RefusingHost(), silent.host()}) {
    const ScopedSettings settings(host, "", 100);
    DoviHttpRequestFactory factory;
    Exchange exchange(&factory, "request");
    exchange.Run();
    CHECK(exchange.failed == 1);
    CHECK(exchange.request->HttpResponseStatusCode() == 0);
  }
  CHECK(silent.requests().size() == 1);
}

TEST_CASE("a request that cannot start says so and can be released") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  for (bool* const fails : {&curl_overrides.easy_init_fails, &curl_overrides.add_handle_fails}) {
    *fails = true;
    Exchange exchange(&factory, "request");
    CHECK(exchange.Start() != 0);
    CHECK_FALSE(exchange.HasEnded());
    *fails = false;
  }
  server.Reply({kOk});
  Exchange exchange(&factory, "request");
  exchange.Run();
  CHECK(exchange.completed == 1);
  CHECK(exchange.request->Start(&exchange) != 0);
}
