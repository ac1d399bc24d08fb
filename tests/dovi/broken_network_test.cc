// What becomes of requests when the network or the server does not do its part.

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>
#include <unistd.h>

#include "dovi/fixture.h"

using kesu_test::Endpoint;
using kesu_test::Exchange;
using kesu_test::HeldLookups;
using kesu_test::IterateUntil;
using kesu_test::kOk;
using kesu_test::ScopedSettings;
using kesu_test::ScriptedReply;
using kesu_test::ScriptedServer;
using kesu_test::TextOf;
using namespace std::string_literals;

namespace {

constexpr auto kKeepOpen = ScriptedReply::Then::kKeepOpen;
constexpr auto kClose = ScriptedReply::Then::kClose;
constexpr auto kReset = ScriptedReply::Then::kReset;

/// Room for the largest body, its copy and what holds it while it grows.
constexpr long kMostMegabytes = 32;
constexpr std::size_t kEndless = static_cast<std::size_t>(-1);

std::string Head(const std::string& content_length) {
  return "HTTP/1.1 200 OK\r\nContent-Length: " + content_length + "\r\n\r\n";
}

/// 64 KiB in which each byte differs from its neighbours.
std::string Pattern() {
  std::string pattern(1 << 16, ' ');
  for (std::size_t i = 0; i < pattern.size(); ++i) pattern[i] = static_cast<char>(i % 251);
  return pattern;
}

std::string Repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

long ResidentMegabytes() {
  long size = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * sysconf(_SC_PAGESIZE) / (1 << 20);
}

}  // namespace

TEST_CASE("what a response leads to, in bounded memory") {
  const std::string pattern = Pattern();
  const std::string full = Repeated(pattern, 128);
  const struct {
    ScriptedReply reply;
    std::string outcome;
  } cases[] = {
      {{Head("5") + "he\0lo"s}, "completed 200 he\0lo"s},
      // Chunks, and a body up to the end of the connection, are not delivered.
      {{"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nhi\r\n0\r\n\r\n"},
       "completed 200 "},
      {{"HTTP/1.0 200 OK\r\n\r\nhello", kClose}, "completed 200 "},
      {{"HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok", kClose}, "completed 200 ok"},
      {{"HTTP/1.1 201 Created\r\nContent-Length: 2\r\n\r\nok"}, "failed 201 ok"},
      {{"HTTP/1.1 500 Oops\r\nContent-Length: 3\r\n\r\nbad"}, "failed 500 bad"},
      // Shorter and longer than announced. An int holds neither 2^32 + 2 nor 2^31.
      {{Head("10") + "hello", kClose}, "completed 200 hello (closed-early)"},
      {{Head("4294967298") + "hello", kClose}, "completed 200 hello (closed-early)"},
      {{Head("2147483648") + "hello", kClose}, "completed 200 hello (closed-early)"},
      {{Head("2") + "hello"}, "completed 200 he"},
      // No number, or not one.
      {{Head("-1") + "hello", kClose}, "completed 200  (other)"},
      {{Head("9223372036854775808") + "hello", kClose}, "completed 200 "},
      {{Head("5\r\nContent-Length: 2") + "hello", kClose}, "completed 200 he"},
      // No HTTP, or an old one.
      {{"", kClose}, "failed 0  (closed-early)"},
      {{"", kReset}, "failed 0  (closed-early)"},
      {{"220 mail.invalid ESMTP\r\n", kClose}, "failed 0  (other)"},
      {{"<html>hello</html>", kClose}, "failed 0  (other)"},
      {{"\0\xff\0\xff\r\n\r\n"s, kClose}, "failed 0  (other)"},
      // Without end: a body, a header, headers, chunks, interim responses.
      {{Head("8388608"), kKeepOpen, 0, pattern, 128}, "completed 200 " + full},
      {{Head("8388609") + "x", kKeepOpen, 0, pattern, 128}, "failed 200  (too-large)"},
      {{Head("67108864"), kKeepOpen, 0, pattern, 1024}, "failed 200  (too-large)"},
      {{"HTTP/1.1 200 OK\r\n\r\n", kClose, 0, pattern, 1024}, "failed 200  (too-large)"},
      {{"HTTP/1.1 500 Oops\r\nX: ", kKeepOpen, 0, std::string(9999, 'x'), kEndless},
       "failed 500  (too-large)"},
      {{"HTTP/1.1 500 Oops\r\n", kKeepOpen, 0, Repeated("X: y\r\n", 999), kEndless},
       "failed 500  (too-large)"},
      {{"HTTP/1.1 200 OK\r\nX: ", kKeepOpen, 0, std::string(9999, 'x'), kEndless},
       "failed 200  (too-large)"},
      {{"HTTP/1.1 200 OK\r\n", kKeepOpen, 0, Repeated("X: y\r\n", 999), kEndless},
       "failed 200  (too-large)"},
      {{"", kKeepOpen, 0, Repeated("HTTP/1.1 100 Continue\r\n\r\n", 999), kEndless},
       "failed 100  (too-large)"},
  };
  ScriptedServer server;
  const ScopedSettings settings(server.host());
  for (const auto& c : cases) {
    for (const std::size_t piece_size : {0u, 1u, 7u}) {
      if (piece_size > 0 && c.reply.tail_count > 0) continue;
      CAPTURE(c.reply.bytes);
      CAPTURE(piece_size);
      ScriptedReply reply = c.reply;
      reply.piece_size = piece_size;
      server.Reply(reply);
      // Each with connections of its own: some replies leave theirs unusable.
      DoviHttpRequestFactory factory;
      Exchange exchange(&factory, "request");
      const long before = ResidentMegabytes();
      long peak = before;
      REQUIRE(exchange.Start() == 0);
      REQUIRE(IterateUntil([&] {
        peak = std::max(peak, ResidentMegabytes());
        return exchange.HasEnded();
      }));
      CHECK(peak - before < kMostMegabytes);
      CHECK(exchange.Outcome() == c.outcome);
    }
  }
}

TEST_CASE("an exchange that is stuck ends with its cancellation, its time-out or its connection") {
  enum Peer { kServer, kHeldName, kDeaf };
  const struct {
    std::string place;
    Peer peer;
    std::string answer;
    std::string outcome;
  } cases[] = {
      {"looking up the name", kHeldName, "", "failed 0 "},
      {"sending", kDeaf, "", "failed 0 "},
      {"connecting, behind that one", kDeaf, "", "failed 0 "},
      {"waiting", kServer, "", "failed 0 "},
      {"in the status line", kServer, "HTTP/1.1 20", "failed 0 "},
      {"in the headers", kServer, "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nX", "completed 200 "},
      {"behind the headers", kServer, Head("5"), "completed 200 "},
      {"in the body", kServer, Head("5") + "he", "completed 200 he"},
      {"in a chunk", kServer, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhe",
       "completed 200 "},
  };
  enum class End { kCancel, kTimeOut, kClose, kReset };
  for (const End end : {End::kCancel, End::kTimeOut, End::kClose, End::kReset}) {
    const HeldLookups held;
    Endpoint endpoint;
    auto deaf = std::make_unique<ScriptedServer>(ScriptedServer::kDeaf);
    const std::string hosts[] = {endpoint.server.host(), "http://"s + HeldLookups::kName,
                                 deaf->host()};
    const auto then = end == End::kClose ? kClose : end == End::kReset ? kReset : kKeepOpen;
    std::vector<std::unique_ptr<Exchange>> exchanges;
    std::size_t arrived = 0;
    for (const auto& c : cases) {
      const ScopedSettings settings(hosts[c.peer], "", 0, end == End::kTimeOut ? 2000 : 0);
      const std::string body(c.peer == kDeaf ? 8 << 20 : 1, 'x');
      exchanges.push_back(std::make_unique<Exchange>(&endpoint.factory, body));
      // Without an interim response curl would wait before it sends a large body.
      exchanges.back()->request->SetHttpRequestHeader(kesu_test::ViewOf("Expect"), {});
      if (c.peer == kServer) endpoint.server.Reply({c.answer, then});
      REQUIRE(exchanges.back()->Start() == 0);
      arrived += c.peer == kServer;
      REQUIRE(IterateUntil([&] { return endpoint.server.requests().size() == arrived; }));
    }
    kesu_test::Settle();
    if (end == End::kReset) deaf.reset();
    for (std::size_t i = 0; i < exchanges.size(); ++i) {
      CAPTURE(static_cast<int>(end));
      CAPTURE(cases[i].place);
      const Peer peer = cases[i].peer;
      if (end == End::kCancel) {
        CHECK(exchanges[i]->Outcome() == "");
        exchanges[i]->Cancel();
        endpoint.RunAnotherExchange();
      } else if (end == End::kTimeOut || peer == kServer || (end == End::kReset && peer == kDeaf)) {
        CHECK(IterateUntil([&] { return exchanges[i]->HasEnded(); }));
        // Nobody listens any more to the one that still waited to be accepted.
        const bool is_refused =
            peer == kDeaf && exchanges[i - 1]->HasEnded() && cases[i - 1].peer == kDeaf;
        const std::string error = end == End::kTimeOut ? " (timed-out)"
                                  : is_refused         ? " (connection-refused)"
                                                       : " (closed-early)";
        CHECK(exchanges[i]->Outcome() == cases[i].outcome + error);
      }
    }
    // The loop has not waited for the name server.
    CHECK(kesu_test::CountOf("task") == 2);
  }
}

TEST_CASE("a connection that does not come about") {
  const HeldLookups held;
  const ScriptedServer deaf(ScriptedServer::kDeaf);
  const std::string held_host = "http://"s + HeldLookups::kName;
  const std::string refusing_host = kesu_test::RefusingHost();
  const struct {
    std::string host;
    std::string kind;
    std::string text;
  } cases[] = {
      {refusing_host, "connection-refused", ": Connection refused"},
      {deaf.host(), "timed-out", ": Failed to connect to 127.0.0.1 port "},
      {held_host, "timed-out", ":80: Resolving timed out after "},
      {"http://-bad-.invalid:99", "cannot-resolve", ": Could not resolve host: -bad-.invalid"},
      {"https" + refusing_host.substr(4), "connection-refused", ": Connection refused"},
  };
  for (const auto& [host, kind, text] : cases) {
    CAPTURE(host);
    Endpoint endpoint;
    const ScopedSettings settings(host, "", 50);
    // The first may be the one whose connection stands.
    Exchange first(&endpoint.factory, "first");
    REQUIRE(first.Start() == 0);
    kesu_test::Settle();
    Exchange exchange(&endpoint.factory, "request");
    exchange.Run();
    CHECK(exchange.Outcome() == "failed 0  (" + kind + ")");
    const std::string told = TextOf(exchange.request->last_transport_error().text);
    CAPTURE(told);
    CHECK(told.starts_with(host.substr(host.find("//") + 2) + text));
  }
}

TEST_CASE("connections that the server closes between two POSTs, or under the second") {
  const struct {
    ScriptedReply::Then after_first;
    std::vector<ScriptedReply> to_second;
    std::string outcome;
  } cases[] = {
      {kClose, {{kOk}}, "completed 200 ok"},
      {kReset, {{kOk}}, "completed 200 ok"},
      // When a connection that was used before ends without a whole status line, curl sends the
      // POST once more: the service may see it twice.
      {kKeepOpen, {{"", kClose}, {kOk}}, "completed 200 ok"},
      {kKeepOpen, {{"", kReset}, {kOk}}, "completed 200 ok"},
      {kKeepOpen, {{"", kClose}, {"", kClose}}, "failed 0  (closed-early)"},
      {kKeepOpen, {{"HTTP/1.1 2", kClose}, {kOk}}, "completed 200 ok"},
      {kKeepOpen, {{"HTTP/1.1 500 Oops\r\n", kClose}}, "failed 500 "},
  };
  for (const auto& c : cases) {
    CAPTURE(&c - cases);
    Endpoint endpoint;
    endpoint.server.Reply({kOk, c.after_first});
    Exchange first(&endpoint.factory, "first");
    first.Run();
    for (const ScriptedReply& reply : c.to_second) endpoint.server.Reply(reply);
    Exchange second(&endpoint.factory, "second");
    second.Run();
    CHECK(second.Outcome() == c.outcome);
    CHECK(endpoint.server.requests().size() == 1 + c.to_second.size());
    endpoint.RunAnotherExchange();
  }
}

TEST_CASE("64 exchanges at once, and 300 behind them") {
  for (const bool is_answered : {true, false}) {
    Endpoint endpoint;
    const ScopedSettings settings(endpoint.server.host(), "", 0, is_answered ? 0 : 500);
    std::vector<std::unique_ptr<Exchange>> exchanges;
    for (int i = 0; i < 364; ++i) {
      exchanges.push_back(std::make_unique<Exchange>(&endpoint.factory, "request"));
      REQUIRE(exchanges.back()->Start() == 0);
    }
    if (is_answered) {
      REQUIRE(IterateUntil([&] { return endpoint.server.requests().size() == 64; }));
      kesu_test::Settle();
      for (int i = 0; i < 364; ++i) endpoint.server.Reply({kOk});
    }
    const auto has_ended = [](const auto& exchange) { return exchange->HasEnded(); };
    REQUIRE(
        IterateUntil([&] { return std::all_of(exchanges.begin(), exchanges.end(), has_ended); }));
    for (const auto& exchange : exchanges) {
      REQUIRE(exchange->Outcome() == (is_answered ? "completed 200 ok" : "failed 0  (timed-out)"));
    }
    if (is_answered) CHECK(endpoint.server.connection_count() == 64);
    endpoint.RunAnotherExchange();
  }
}
