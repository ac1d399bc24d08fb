// What a request puts on the wire.

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "dovi/curl_overrides.h"
#include "dovi/exchange.h"

#include "support/bytes.h"

using kesu_test::ScriptedServer;
using namespace std::string_literals;

using kesu_test::ViewOf;

namespace {

const char kOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
const char kFormType[] = "Content-Type: application/x-www-form-urlencoded\r\n";

struct Case {
  std::string name;
  Exchange::Method method;
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string request_line;
  /// All that follows the lines Host and Accept.
  std::string rest;
};

const Case kCases[] = {
    {"the headers of the multiplexer",
     Exchange::kPost,
     "hello",
     {{"Content-Type", "application/binary"}, {"Content-Length", "5"}},
     "POST /m/appreq/cllDovi HTTP/1.1\r\n",
     "Content-Type: application/binary\r\nContent-Length: 5\r\n\r\nhello"},
    {"Content-Length in front",
     Exchange::kPost,
     "hello",
     {{"Content-Length", "5"}, {"X-A", "b"}},
     "POST /m/appreq/cllDovi HTTP/1.1\r\n",
     "Content-Length: 5\r\nX-A: b\r\n" + std::string(kFormType) + "\r\nhello"},
    {"Content-Length behind another header and in other letters",
     Exchange::kPost,
     "hello",
     {{"Content-Type", "a/b"}, {"CONTENT-length", "5"}},
     "POST /m/appreq/cllDovi HTTP/1.1\r\n",
     "Content-Type: a/b\r\nCONTENT-length: 5\r\n\r\nhello"},
    {"a name that only ends alike",
     Exchange::kPost,
     "hello",
     {{"X-A", "Content-Length: 7"}, {"X-Content-Length", "7"}},
     "POST /m/appreq/cllDovi HTTP/1.1\r\n",
     "X-A: Content-Length: 7\r\nX-Content-Length: 7\r\nContent-Length: 5\r\n" +
         std::string(kFormType) + "\r\nhello"},
    {"no headers",
     Exchange::kPost,
     "hello",
     {},
     "POST /m/appreq/cllDovi HTTP/1.1\r\n",
     "Content-Length: 5\r\n" + std::string(kFormType) + "\r\nhello"},
    {"a NUL in the body",
     Exchange::kPost,
     "a\0b"s,
     {{"Content-Type", "a/b"}, {"Content-Length", "3"}},
     "POST /m/appreq/cllDovi HTTP/1.1\r\n",
     "Content-Type: a/b\r\nContent-Length: 3\r\n\r\na\0b"s},
    {"GET",
     Exchange::kGet,
     "",
     {{"X-A", "b"}},
     "GET /m/appreq/cllDovi HTTP/1.1\r\n",
     "X-A: b\r\n\r\n"},
    {"an empty body is sent as GET",
     Exchange::kPost,
     "",
     {},
     "GET /m/appreq/cllDovi HTTP/1.1\r\n",
     "\r\n"},
};

}  // namespace

TEST_CASE("the bytes of a request") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  for (const Case& c : kCases) {
    CAPTURE(c.name);
    server.Reply({kOk});
    Exchange exchange(&factory, c.body, c.method);
    for (const auto& [name, value] : c.headers) {
      exchange.request->SetHttpRequestHeader(ViewOf(name), ViewOf(value));
    }
    exchange.Run();
    CHECK(exchange.completed == 1);
    CHECK(server.requests().back() == c.request_line +
                                          "Host: 127.0.0.1:" + std::to_string(server.port()) +
                                          "\r\nAccept: */*\r\n" + c.rest);
  }
}

TEST_CASE("proxies come from the settings and never from the environment") {
  ScriptedServer server;
  ScriptedServer proxy;
  DoviDeploymentSettings settings;
  const std::string host = server.host();
  const std::string proxy_host = proxy.host();
  settings.host = host.c_str();
  setenv("http_proxy", kesu_test::RefusingHost().c_str(), 1);
  setenv("no_proxy", "*", 1);
  const ScopedSettings restored(host);
  DoviHttpRequestFactory factory;

  server.Reply({kOk});
  Exchange direct(&factory, "request");
  direct.Run();
  CHECK(direct.completed == 1);

  settings.proxy = proxy_host.c_str();
  REQUIRE(SetDoviDeploymentSettings(settings));
  proxy.Reply({kOk});
  Exchange proxied(&factory, "request");
  proxied.Run();
  CHECK(proxied.completed == 1);
  CHECK(proxy.requests()[0].rfind("POST " + host + "/m/appreq/cllDovi HTTP/1.1\r\n", 0) == 0);
  CHECK(server.requests().size() == 1);
  unsetenv("http_proxy");
  unsetenv("no_proxy");
}

TEST_CASE("a request that cannot start says so and can be released") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  const ScopedCurlOverrides overrides;
  {
    curl_overrides.easy_init_fails = true;
    Exchange exchange(&factory, "request");
    CHECK(exchange.Start() != 0);
    CHECK_FALSE(exchange.HasEnded());
  }
  curl_overrides = {};
  {
    curl_overrides.add_handle_fails = true;
    Exchange exchange(&factory, "request");
    CHECK(exchange.Start() != 0);
    CHECK_FALSE(exchange.HasEnded());
  }
  curl_overrides = {};
  server.Reply({kOk});
  Exchange exchange(&factory, "request");
  exchange.Run();
  CHECK(exchange.completed == 1);
  CHECK(exchange.request->Start(&exchange) != 0);
}
