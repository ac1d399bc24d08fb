#include "kesu/httptest/set_header_test.h"

#include <cstdio>
#include <string>

#include <doctest/doctest.h>

#include "dovi/fixture.h"

#include "support/recording_requester.h"
#include "support/stub_transport.h"

using common_kesu::SetHeaderTest;
using kesu_test::RecordingRequester;

TEST_CASE("the self-test over a real transport passes when its header comes back") {
  const struct {
    std::string response;
    bool passes;
  } cases[] = {
      {"HTTP/1.1 200 OK\r\nContent-Length: 34\r\n\r\nX: y\r\nX-Kesu-Test: set-header-test", true},
      {"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nX: y", false},
      {"HTTP/1.1 200 OK\r\nContent-Length: 14\r\n\r\nX-Kesu-Test: x", false},
      {"HTTP/1.1 201 OK\r\nContent-Length: 28\r\n\r\nX-Kesu-Test: set-header-test", false},
      {"", false},
  };
  for (const auto& c : cases) {
    CAPTURE(c.response);
    kesu_test::ScriptedServer server;
    server.Reply({c.response, kesu_test::ScriptedReply::Then::kClose});
    const kesu_test::ScopedSettings settings(server.host());
    DoviHttpRequestFactory factory;
    char printed[100] = {};
    std::FILE* out = fmemopen(printed, sizeof(printed), "w");
    RecordingRequester requester;
    auto* test = new SetHeaderTest(&factory, "ignored", out);
    CHECK(test->Start(&requester) == 0);
    CHECK(kesu_test::IterateUntil([&] { return requester.completed + requester.failed > 0; }));
    std::fclose(out);
    CHECK(requester.completed == (c.passes ? 1 : 0));
    CHECK(std::string(printed) ==
          (c.passes ? "SetHeaderTest passed\nAll HTTP tests pass\n" : "SetHeaderTest failed\n"));
    REQUIRE(server.requests().size() == 1);
    CHECK(server.requests()[0].find("\r\nX-Kesu-Test: set-header-test\r\n") != std::string::npos);
  }
}

TEST_CASE("the self-test ends with a transport that cannot start, and can be cancelled") {
  for (const bool makes_null : {false, true}) {
    kesu_test::StubTransport transport;
    transport.MakeNull(makes_null);
    transport.SetStartResult(1);
    char printed[100] = {};
    std::FILE* out = fmemopen(printed, sizeof(printed), "w");
    RecordingRequester requester;
    auto* test = new SetHeaderTest(&transport, "url", out);
    CHECK(test->Start(&requester) != 0);
    std::fclose(out);
    CHECK(std::string(printed) == "SetHeaderTest failed\n");
    test->Cancel();
    CHECK(transport.open_count() == 0);
    CHECK(requester.completed + requester.failed == 0);
  }
}
