#include <string>

#include <doctest/doctest.h>

#include "dovi/fixture.h"

using kesu_test::Exchange;
using kesu_test::IterateUntil;

namespace {

const std::string kHead = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n";

struct Endpoint {
  /// Something else through the same factory, to give a cancelled request the time to speak up.
  void RunAnotherExchange() {
    server.Reply({kHead + "ok"});
    Exchange exchange(&factory, "another");
    exchange.Run();
    CHECK(exchange.completed == 1);
  }

  kesu_test::ScriptedServer server;
  kesu_test::ScopedSettings settings{server.host()};
  DoviHttpRequestFactory factory;
};

/// Iterates until what the server has sent must have arrived.
void Settle() {
  IterateUntil([] { return false; }, 50);
}

}  // namespace

TEST_CASE("cancel in every state") {
  const std::string answers[] = {"not started",       "not arrived", "",
                                 "HTTP/1.1 200 OK\r", kHead,         kHead + "o"};
  for (const std::string& answer : answers) {
    CAPTURE(answer);
    const bool has_arrived = !answer.starts_with("not");
    Endpoint endpoint;
    Exchange exchange(&endpoint.factory, "request");
    if (answer != "not started") REQUIRE(exchange.Start() == 0);
    if (has_arrived) {
      endpoint.server.Reply({answer});
      REQUIRE(IterateUntil([&] { return !endpoint.server.requests().empty(); }));
      Settle();
    }
    exchange.Cancel();
    endpoint.RunAnotherExchange();
    CHECK_FALSE(exchange.HasEnded());
    CHECK(endpoint.server.requests().size() == (has_arrived ? 2 : 1));
  }
}

TEST_CASE("a request is released, and the next one started, from inside the callback") {
  for (const char* status : {"200 OK", "500 Oops"}) {
    CAPTURE(status);
    Endpoint endpoint;
    Exchange first(&endpoint.factory, "first");
    Exchange second(&endpoint.factory, "second");
    first.on_end = [&] {
      first.Cancel();
      CHECK(second.Start() == 0);
    };
    for (int i = 0; i < 2; ++i) {
      endpoint.server.Reply({std::string("HTTP/1.1 ") + status + "\r\nContent-Length: 0\r\n\r\n"});
    }
    REQUIRE(first.Start() == 0);
    CHECK(IterateUntil([&] { return second.HasEnded(); }));
    CHECK(first.completed + first.failed == 1);
  }
}

TEST_CASE("what a requester throws does not get out of the loop") {
  Endpoint endpoint;
  endpoint.server.Reply({kHead + "ok"});
  Exchange exchange(&endpoint.factory, "request");
  exchange.on_end = [] { throw 1; };
  exchange.Run();
  CHECK(exchange.completed == 1);
  endpoint.RunAnotherExchange();
}

TEST_CASE("transfers that finish in one pass") {
  // The requester that is told first releases none of them, itself, or itself and the next.
  for (const int releases : {0, 1, 2}) {
    CAPTURE(releases);
    Endpoint endpoint;
    Exchange exchanges[] = {
        {&endpoint.factory, "a"}, {&endpoint.factory, "b"}, {&endpoint.factory, "c"}};
    int told = 0;
    for (int i = 0; i < 3; ++i) {
      exchanges[i].on_end = [&, i] {
        if (++told > 1) return;
        for (int next = i; next < i + releases; ++next) exchanges[next % 3].Cancel();
      };
      REQUIRE(exchanges[i].Start() == 0);
    }
    REQUIRE(IterateUntil([&] { return endpoint.server.requests().size() == 3; }));
    Settle();
    for (int i = 0; i < 3; ++i) endpoint.server.Reply({kHead + "ok"});
    while (told == 0) g_main_context_iteration(nullptr, TRUE);
    // All were reported in the iteration of the first.
    CHECK(told == (releases == 2 ? 2 : 3));
    endpoint.RunAnotherExchange();
    CHECK(told == (releases == 2 ? 2 : 3));
  }
}
