#include "kesu/httptest/set_header_test.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include <doctest/doctest.h>

#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"

#include "support/recording_requester.h"
#include "support/scripted_server.h"
#include "support/stub_transport.h"

namespace {

using common_kesu::SetHeaderTest;
using kesu_test::RecordingRequester;
using kesu_test::StubTransport;
using kesu_test::IterateUntil;
using kesu_test::ScriptedServer;

constexpr char kPassed[] = "SetHeaderTest passed\nAll HTTP tests pass\n";
constexpr char kFailed[] = "SetHeaderTest failed\n";

/// A file in memory that the outcome is printed to.
class PrintedText {
 public:
  PrintedText() : file_(open_memstream(&text_, &size_)) {}
  PrintedText(const PrintedText&) = delete;
  PrintedText& operator=(const PrintedText&) = delete;
  ~PrintedText() {
    std::fclose(file_);
    std::free(text_);
  }

  std::FILE* file() { return file_; }
  std::string Text() {
    std::fflush(file_);
    return text_;
  }

 private:
  char* text_ = nullptr;
  std::size_t size_ = 0;
  std::FILE* file_;
};

std::string Response(const char* status, const std::string& body) {
  return std::string("HTTP/1.1 ") + status + "\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

TEST_CASE("the self-test over a real transport passes when its header comes back") {
  const std::string echo = "Host: x\r\nX-Kesu-Test: set-header-test\r\n";
  const struct {
    const char* name;
    std::string response;
    bool passes;
  } cases[] = {
      {"echoed", Response("200 OK", echo), true},
      {"not echoed", Response("200 OK", "Host: x\r\n"), false},
      {"name without the value", Response("200 OK", "X-Kesu-Test: other\r\n"), false},
      {"echoed with another status", Response("201 Created", echo), false},
      {"no answer", "", false},
  };
  for (const auto& c : cases) {
    CAPTURE(std::string(c.name));
    ScriptedServer server;
    server.Reply({c.response, kesu_test::ScriptedReply::Then::kClose});
    const std::string host = server.host();
    DoviDeploymentSettings settings;
    settings.host = host.c_str();
    REQUIRE(SetDoviDeploymentSettings(settings));
    DoviHttpRequestFactory factory;
    PrintedText printed;
    RecordingRequester requester;
    auto* test = new SetHeaderTest(&factory, "ignored", printed.file());
    REQUIRE(test->Start(&requester) == 0);
    REQUIRE(IterateUntil([&] { return requester.completed + requester.failed > 0; }));
    CHECK(requester.completed == (c.passes ? 1 : 0));
    CHECK(printed.Text() == (c.passes ? kPassed : kFailed));
    REQUIRE(server.requests().size() == 1);
    CHECK(server.requests()[0].find("\r\nX-Kesu-Test: set-header-test\r\n") != std::string::npos);
  }
}

TEST_CASE("the self-test ends with a transport that cannot start, and can be cancelled") {
  StubTransport transport;
  RecordingRequester requester;
  PrintedText printed;
  SUBCASE("no request") {
    transport.MakeNull(true);
  }
  SUBCASE("a request that does not start") {
    transport.SetStartResult(1);
  }
  auto* test = new SetHeaderTest(&transport, "url", printed.file());
  CHECK(test->Start(&requester) != 0);
  CHECK(printed.Text() == kFailed);
  test->Cancel();
  CHECK(transport.open_count() == 0);
  CHECK(requester.completed + requester.failed == 0);
}

}  // namespace
