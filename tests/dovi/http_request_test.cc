// What comes of a response: completion or failure, status, headers and body.

#include <string>

#include <doctest/doctest.h>

#include "dovi/exchange.h"

#include "support/bytes.h"

using kesu_test::ScriptedReply;
using kesu_test::ScriptedServer;
using namespace std::string_literals;

using kesu_test::TextOf;

namespace {

constexpr auto kKeepOpen = ScriptedReply::Then::kKeepOpen;
constexpr auto kClose = ScriptedReply::Then::kClose;
constexpr auto kReset = ScriptedReply::Then::kReset;

struct Case {
  std::string name;
  std::string reply;
  ScriptedReply::Then then;
  int status;
  std::string body;
  /// Every name=value; the blank line and the NUL that end the header text are fields of their own.
  std::string headers;
};

const std::string kEndOfHeaders = "=|\0=|"s;

const Case kCases[] = {
    {"200 with a body", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nA: b\r\n\r\nhello", kKeepOpen, 200,
     "hello", "HTTP/1.1 200 OK\r\n=|Content-Length=5|A=b|" + kEndOfHeaders},
    {"a NUL in the body", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhe\0lo"s, kKeepOpen, 200,
     "he\0lo"s, "HTTP/1.1 200 OK\r\n=|Content-Length=5|" + kEndOfHeaders},
    {"200 with an empty body", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", kKeepOpen, 200, "",
     "HTTP/1.1 200 OK\r\n=|Content-Length=0|" + kEndOfHeaders},
    {"chunks deliver no body",
     "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n", kKeepOpen, 200,
     "", "HTTP/1.1 200 OK\r\n=|Transfer-Encoding=chunked|" + kEndOfHeaders},
    {"a body up to the end of the connection is not delivered", "HTTP/1.0 200 OK\r\n\r\nhello",
     kClose, 200, "", "HTTP/1.0 200 OK\r\n=|" + kEndOfHeaders},
    {"204", "HTTP/1.1 204 No Content\r\n\r\n", kKeepOpen, 204, "",
     "HTTP/1.1 204 No Content\r\n=|" + kEndOfHeaders},
    {"201 is no success", "HTTP/1.1 201 Created\r\nContent-Length: 2\r\n\r\nok", kKeepOpen, 201,
     "ok", "HTTP/1.1 201 Created\r\n=|Content-Length=2|" + kEndOfHeaders},
    {"500", "HTTP/1.1 500 Oops\r\nContent-Length: 3\r\n\r\nbad", kKeepOpen, 500, "bad",
     "HTTP/1.1 500 Oops\r\n=|Content-Length=3|" + kEndOfHeaders},
    {"a body cut by the end of the connection",
     "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhello", kClose, 200, "hello",
     "HTTP/1.1 200 OK\r\n=|Content-Length=10|" + kEndOfHeaders},
    {"a length that an int cannot hold",
     "HTTP/1.1 200 OK\r\nContent-Length: 4294967298\r\n\r\nhello", kClose, 200, "hello",
     "HTTP/1.1 200 OK\r\n=|Content-Length=4294967298|" + kEndOfHeaders},
    {"a length whose low half is negative",
     "HTTP/1.1 200 OK\r\nContent-Length: 2147483648\r\n\r\nhello", kClose, 200, "hello",
     "HTTP/1.1 200 OK\r\n=|Content-Length=2147483648|" + kEndOfHeaders},
    {"bytes behind the announced body", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhello", kClose,
     200, "he", "HTTP/1.1 200 OK\r\n=|Content-Length=2|" + kEndOfHeaders},
    {"100 before 200",
     "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", kKeepOpen, 200,
     "ok", "HTTP/1.1 100 Continue\r\n=|=|HTTP/1.1 200 OK\r\n=|Content-Length=2|" + kEndOfHeaders},
    {"headers cut by the end of the connection", "HTTP/1.1 200 OK\r\nA: b\r\n", kClose, 200, "",
     "HTTP/1.1 200 OK\r\n=|A=b|\0=|"s},
    {"no answer but the end of the connection", "", kClose, 0, "", ""},
    {"no answer but a reset", "", kReset, 0, "", ""},
    {"not HTTP", "220 mail.invalid ESMTP\r\n", kClose, 0, "", ""},
};

}  // namespace

TEST_CASE("what a response leads to") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  for (const Case& c : kCases) {
    for (const std::size_t piece_size : {0u, 1u, 2u, 3u, 7u, 31u}) {
      CAPTURE(c.name);
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
      CHECK(exchange.ResponseHeaders() == c.headers);
      CHECK(TextOf(exchange.request->RedirectedToUrl()) == server.host() + "/m/appreq/cllDovi");
    }
  }
}

TEST_CASE("a NUL in the headers neither reads too far nor hangs") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  for (const std::size_t piece_size : {0u, 1u, 2u, 3u, 7u, 31u}) {
    server.Reply({"HTTP/1.1 200 OK\r\nA: b\0cdefghijklmnop\r\nContent-Length: 2\r\n\r\nok"s, kClose,
                  piece_size});
    Exchange exchange(&factory, "request");
    exchange.Run();
    // Whether curl takes such a header depends on its version.
    const std::string headers = exchange.ResponseHeaders();
    const bool is_taken = headers == "HTTP/1.1 200 OK\r\n=|A=bContent-Length: 2|" + kEndOfHeaders;
    const bool is_refused = headers == "HTTP/1.1 200 OK\r\n=|\0=|"s;
    CHECK((is_taken || is_refused));
    CHECK(TextOf(exchange.response_body) == (is_taken ? "ok" : ""));
  }
}

TEST_CASE("a body of many pieces arrives whole") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  std::string body(5000000, 'x');
  for (std::size_t i = 0; i < body.size(); i += 7) body[i] = static_cast<char>(i);
  server.Reply({"HTTP/1.1 200 OK\r\nContent-Length: 5000000\r\n\r\n" + body, kKeepOpen, 70001});
  Exchange exchange(&factory, "request");
  exchange.Run();
  CHECK(exchange.completed == 1);
  CHECK(TextOf(exchange.response_body) == body);
}

TEST_CASE("a body beyond the limit ends the transfer") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  server.Reply(
      {"HTTP/1.1 200 OK\r\nContent-Length: 70000000\r\n\r\n" + std::string(70000000, 'x')});
  Exchange exchange(&factory, "request");
  exchange.Run();
  CHECK(exchange.response_body.IsEmpty());
}

TEST_CASE("redirects") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  const auto redirect_to = [](const std::string& location) {
    return ScriptedReply{"HTTP/1.1 302 Found\r\nLocation: " + location +
                         "\r\nContent-Length: 4\r\n\r\ngone"};
  };

  SUBCASE("followed to the end, with the headers of both responses") {
    server.Reply(redirect_to("/elsewhere?a=b"));
    server.Reply({"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"});
    Exchange exchange(&factory, "request");
    exchange.Run();
    CHECK(exchange.completed == 1);
    CHECK(TextOf(exchange.response_body) == "ok");
    CHECK(TextOf(exchange.request->RedirectedToUrl()) == server.host() + "/elsewhere?a=b");
    // Still a POST, with the body that its headers announce.
    CHECK(server.requests()[1].starts_with("POST /elsewhere?a=b "));
    CHECK(server.requests()[1].ends_with("\r\n\r\nrequest"));
    CHECK(exchange.ResponseHeaders() ==
          "HTTP/1.1 302 Found\r\n=|Location=/elsewhere?a=b|Content-Length=4|=|"
          "HTTP/1.1 200 OK\r\n=|Content-Length=2|" +
              kEndOfHeaders);
  }
  SUBCASE("refused out of HTTP") {
    ScriptedServer other;
    const std::string address = "127.0.0.1:" + std::to_string(other.port()) + "/";
    for (const std::string& location :
         {"ftp://" + address, "gopher://" + address, "file:///etc/hostname"s}) {
      CAPTURE(location);
      server.Reply(redirect_to(location));
      Exchange exchange(&factory, "request");
      exchange.Run();
      CHECK(exchange.failed == 1);
      CHECK(exchange.request->HttpResponseStatusCode() == 302);
      CHECK(other.connection_count() == 0);
    }
  }
  SUBCASE("not followed without end") {
    for (int i = 0; i < 15; ++i) server.Reply(redirect_to("/again"));
    Exchange exchange(&factory, "request");
    exchange.Run();
    CHECK(exchange.failed == 1);
    CHECK(server.requests().size() == 11);
  }
}

TEST_CASE("a refused connection fails with status 0") {
  const ScopedSettings settings(kesu_test::RefusingHost());
  DoviHttpRequestFactory factory;
  Exchange exchange(&factory, "request");
  exchange.Run();
  CHECK(exchange.failed == 1);
  CHECK(exchange.request->HttpResponseStatusCode() == 0);
}

TEST_CASE("the total time-out ends an exchange that is not answered") {
  ScriptedServer server;
  const ScopedSettings settings(server.host(), 100);
  DoviHttpRequestFactory factory;
  Exchange exchange(&factory, "request");
  exchange.Run();
  CHECK(exchange.failed == 1);
  CHECK(exchange.request->HttpResponseStatusCode() == 0);
  CHECK(server.requests().size() == 1);
}

TEST_CASE("a factory can be made again") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  for (int i = 0; i < 3; ++i) {
    DoviHttpRequestFactory factory;
    server.Reply({"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"});
    Exchange exchange(&factory, "request");
    exchange.Run();
    CHECK(exchange.completed == 1);
  }
}
