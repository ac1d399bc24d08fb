#include <string>

#include <doctest/doctest.h>

#include "dovi/exchange.h"

using kesu_test::IterateUntil;
using kesu_test::ScriptedServer;

namespace {

const std::string kHead = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n";

/// Something else through the same factory, to give a cancelled request the time to speak up.
void RunAnotherExchange(ScriptedServer* server, DoviHttpRequestFactory* factory) {
  server->Reply({kHead + "ok"});
  Exchange exchange(factory, "another");
  exchange.Run();
  CHECK(exchange.completed == 1);
}

/// Iterates until what the server has sent must have arrived.
void Settle() {
  IterateUntil([] { return false; }, 50);
}

}  // namespace

TEST_CASE("cancel before the start and before the loop runs") {
  for (const bool start : {false, true}) {
    CAPTURE(start);
    ScriptedServer server;
    const ScopedSettings settings(server.host());
    DoviHttpRequestFactory factory;
    Exchange exchange(&factory, "request");
    if (start) REQUIRE(exchange.Start() == 0);
    exchange.Cancel();
    RunAnotherExchange(&server, &factory);
    CHECK_FALSE(exchange.HasEnded());
    CHECK(server.requests().size() == 1);
  }
}

TEST_CASE("cancel while the response arrives") {
  for (const std::string& arrived :
       {std::string(), std::string("HTTP/1.1 200 OK\r\nA"), kHead, kHead + "o"}) {
    CAPTURE(arrived);
    ScriptedServer server;
    const ScopedSettings settings(server.host());
    DoviHttpRequestFactory factory;
    server.Reply({arrived});
    Exchange exchange(&factory, "request");
    REQUIRE(exchange.Start() == 0);
    REQUIRE(IterateUntil([&] { return !server.requests().empty(); }));
    Settle();
    exchange.Cancel();
    RunAnotherExchange(&server, &factory);
    CHECK_FALSE(exchange.HasEnded());
  }
}

TEST_CASE("a request is released, or the next one started, from inside the callback") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  for (const char* status : {"200 OK", "500 Oops"}) {
    CAPTURE(status);
    Exchange first(&factory, "first");
    Exchange second(&factory, "second");
    first.on_end = [&] {
      first.Cancel();
      CHECK(second.Start() == 0);
    };
    for (int i = 0; i < 2; ++i) {
      server.Reply({std::string("HTTP/1.1 ") + status + "\r\nContent-Length: 0\r\n\r\n"});
    }
    REQUIRE(first.Start() == 0);
    CHECK(IterateUntil([&] { return second.HasEnded(); }));
    CHECK(first.completed + first.failed == 1);
  }
}

TEST_CASE("what a requester throws does not get out of the loop") {
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  DoviHttpRequestFactory factory;
  server.Reply({kHead + "ok"});
  Exchange exchange(&factory, "request");
  exchange.on_end = [] { throw 1; };
  exchange.Run();
  CHECK(exchange.completed == 1);
  RunAnotherExchange(&server, &factory);
}

TEST_CASE("transfers that finish in one pass") {
  // What the requester that is told first does with the others.
  enum Deed { kNothing, kReleasesItself, kReleasesItselfAndTheNext };
  for (const Deed deed : {kNothing, kReleasesItself, kReleasesItselfAndTheNext}) {
    CAPTURE(static_cast<int>(deed));
    ScriptedServer server;
    const ScopedSettings settings(server.host());
    DoviHttpRequestFactory factory;
    Exchange a(&factory, "a");
    Exchange b(&factory, "b");
    Exchange c(&factory, "c");
    Exchange* const all[] = {&a, &b, &c};
    int told = 0;
    for (int i = 0; i < 3; ++i) {
      all[i]->on_end = [&, i] {
        if (++told > 1 || deed == kNothing) return;
        all[i]->Cancel();
        if (deed == kReleasesItselfAndTheNext) all[(i + 1) % 3]->Cancel();
      };
    }
    server.HoldReplies();
    for (Exchange* exchange : all) {
      server.Reply({kHead + "ok"});
      REQUIRE(exchange->Start() == 0);
    }
    REQUIRE(IterateUntil([&] { return server.requests().size() == 3; }));
    Settle();
    server.ReleaseReplies();
    while (told == 0) g_main_context_iteration(nullptr, TRUE);
    // All were reported in the iteration of the first.
    CHECK(told == (deed == kReleasesItselfAndTheNext ? 2 : 3));
    RunAnotherExchange(&server, &factory);
    CHECK(told == (deed == kReleasesItselfAndTheNext ? 2 : 3));
  }
}
