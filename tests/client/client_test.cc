#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "client/client_fixture.h"
#include "client/main_loop.h"
#include "client/service_call.h"
#include "kesu/proto/lbs.h"

namespace kesu_test {
namespace {

using kesu::ErrorKind;
using std::chrono::milliseconds;

/// "timed-out", or "none" for a success.
template <typename Result>
std::string NameOf(const Result& result) {
  return kesu::ErrorKindName(result.error().kind);
}

TEST_CASE("a whole program") {
  ClientFixture fixture;
  fixture.transport.makes_null = true;
  kesu::MainLoop loop;
  // Verbatim from the documents.
  kesu::Client client({.server = "https://location.example"});
  kesu::Observation seen;
  seen.cells.push_back({.mcc = 1, .mnc = 1, .area = 1, .cell = 1001, .signal_dbm = -71});
  seen.access_points.push_back({.mac_address = "00-00-5E-00-53-01", .signal_dbm = -60});
  kesu::Call call = client.Locate(seen, [&](const kesu::LocateResult& result) {
    if (result)
      std::cout << result->latitude << ' ' << result->longitude << '\n';
    else
      std::cerr << result.error().message << '\n';
    loop.Quit();
  });
  CHECK(call.is_pending());
  loop.Run();
  CHECK(!call.is_pending());
  CHECK(client.counters().outcome(ErrorKind::kCannotConnect) == 1);
}

TEST_CASE("clients that cannot work say why, and their calls end as misuse") {
  ClientFixture fixture;
  const kesu::Options good = fixture.options();
  const auto with = [&](auto change) {
    kesu::Options options = good;
    change(&options);
    return options;
  };
  const kesu::Client first(good);
  CHECK(!first.error());
  CHECK(!kesu::Client(with([](auto* it) { it->server += '/'; })).error());
  const kesu::Options kBad[] = {
      with([](auto* it) { it->server = ""; }),
      with([](auto* it) { it->server = "ftp://service.example"; }),
      with([](auto* it) { it->server = "http://a b"; }),
      with([](auto* it) { it->server += std::string(100, 'x'); }),
      with([](auto* it) { it->server = "http://other.example"; }),
      with([](auto* it) { it->proxy = "http://proxy.example"; }),
      with([](auto* it) { it->product = "other"; }),
      with([](auto* it) { it->clock = nullptr; }),
      with([](auto* it) { it->deadline = milliseconds(0); }),
      with([](auto* it) { it->deadline = std::chrono::hours(25); }),
      with([](auto* it) { it->batch_wait = milliseconds(-1); }),
      with([](auto* it) { it->reply_memory_limit = 0; }),
      with([](auto* it) { it->cache_lifetime = milliseconds(-1); }),
  };
  for (const kesu::Options& options : kBad) {
    kesu::Client client(options);
    REQUIRE(client.error());
    INFO(client.error()->message);
    CHECK(client.error()->kind == ErrorKind::kMisuse);
    std::string told;
    client.Locate(fixture.Seen(), [&](const auto& it) { told += NameOf(it) + ';'; }).Detach();
    client
        .Reverse(std::vector<kesu::Point>(2), [&](const auto& it) { told += NameOf(it[1]) + ';'; })
        .Detach();
    client.Pause();
    client.Resume();
    CHECK(told.empty());
    fixture.Iterate();
    CHECK(told == "misuse;misuse;");
  }
  CHECK(fixture.transport.count() == 0);
}

TEST_CASE("what is asked, and what is kept for the next time") {
  ClientFixture fixture;
  kesu::Options options = fixture.options();
  options.locale = "pt_PT";
  kesu::Client client(options);
  kesu::Observation seen = fixture.Seen();
  seen.cells.push_back({.mcc = 2, .mnc = 2, .area = 2, .cell = 2, .age = milliseconds(5)});
  seen.access_points = {{.mac_address = "00:00:5e:00:53:01", .signal_dbm = -60, .name = "secret"},
                        {.mac_address = "02-00-5E-00-53-01"}};
  seen.fix = {.latitude = 1, .longitude = -1, .accuracy_m = 20.5, .age = milliseconds(1000)};
  const auto ignore = [](const auto&) {};
  client.Locate(seen, ignore).Detach();
  fixture.Answer(PositionReply(0, 0) + Field(3, "key"));
  const std::string profile = Field(1, "1.0") + Field(2, "linux") + Field(4, "pt_PT");
  const std::string cell = Number(1, 1) + Number(2, 1) + Number(3, 1) + Number(4, 1001);
  const std::string neighbour =
      Number(1, 2) + Number(2, 2) + Number(3, 2) + Number(4, 2) + Number(7, 5);
  const std::string question =
      Field(1, Field(1, cell + Number(5, -71)) + Field(3, neighbour)) +
      Field(2, Field(2, Field(1, "00-00-5E-00-53-01") + Number(3, -60))) +
      Field(3, Field(1, LatLng(10000000, -10000000)) + Number(3, 21) + Number(6, 999'000));
  CHECK(fixture.Asked() == Field(1, profile) + Field(4, question));
  CHECK(client.platform_key() == "key");

  client.Reverse({38.7, -9.1}, ignore).Detach();
  fixture.Answer(PositionReply(0, 0));
  CHECK(fixture.Asked() ==
        Field(1, profile + Field(8, "key")) +
            Field(4, Field(3, Field(1, LatLng(387000000, -91000000))) + Field(4, Number(2, 1))));
  client.set_platform_key("other");
  client.Locate(fixture.Seen(), ignore).Detach();
  fixture.Iterate();
  CHECK(fixture.Asked().starts_with(Field(1, profile + Field(8, "other"))));

  fixture.Advance(milliseconds(1500));
  CHECK(client.last_location()->age == milliseconds(1500));
  const kesu::Counters counters = client.counters();
  CHECK(counters.calls == 3);
  CHECK(counters.posts == 3);
  CHECK(counters.in_flight == 1);
  CHECK(counters.bytes_in ==
        2 + 16 + PositionReply(0, 0).size() + 5 + 2 + 16 + PositionReply(0, 0).size());
  CHECK(counters.bytes_out > 3 * profile.size());
}

TEST_CASE("a list travels together and is answered in its order") {
  ClientFixture fixture;
  kesu::Client client(fixture.options());
  std::vector<kesu::Point> points(1500);
  for (int i = 0; i < 1500; ++i) points[static_cast<std::size_t>(i)].latitude = i / 20.0;
  points[3].latitude = 91;
  std::vector<kesu::ReverseResult> told;
  client.Reverse(points, [&](const auto& places) { told = places; }).Detach();
  fixture.Iterate();
  REQUIRE(fixture.transport.count() == 1);
  const auto requests = PostedRequests(fixture.transport.latest().body);
  REQUIRE(requests.size() == 2);
  const auto answer_to = [&](int request, int first, int count) {
    std::string payload = Number(1, 0);
    for (int i = first; i < first + count; ++i) {
      if (i == 3) continue;
      // Every hundredth place is known to nobody.
      const std::string place = Field(2, Field(5, Field(1, std::to_string(i))));
      payload += Field(2, i % 100 == 0 ? Number(1, 1) : place);
    }
    return ReplyBlock(requests[static_cast<std::size_t>(request)].id, payload);
  };
  fixture.transport.End(0, 200, kReplyStart + answer_to(1, 1001, 498) + answer_to(0, 0, 1001));
  CHECK(told.empty());
  fixture.Iterate();
  REQUIRE(told.size() == 1500);
  for (int i = 0; i < 1500; ++i) {
    const auto& place = told[static_cast<std::size_t>(i)];
    INFO(i);
    if (i == 3) {
      CHECK(NameOf(place) == "misuse");
    } else if (i == 1499) {
      CHECK(NameOf(place) == "malformed");
    } else if (i % 100 == 0) {
      CHECK(NameOf(place) == "not-found");
    } else {
      CHECK(place->name == std::to_string(i));
    }
  }
  client.Reverse(std::vector<kesu::Point>(), [&](const auto& it) { told = it; }).Detach();
  fixture.Iterate();
  CHECK(told.empty());
  CHECK(client.counters().requests == 2);
}

TEST_CASE("the cache answers the same question until it expires, and no more than fits") {
  ClientFixture fixture;
  kesu::Options options = fixture.options();
  options.cache_lifetime = milliseconds(1000);
  options.cache_capacity = 2;
  kesu::Client client(options);
  const auto locate = [&](int cell) {
    std::string told;
    client
        .Locate(fixture.Seen(cell),
                [&](const auto& it) { told = it->is_from_cache ? "kept" : "new"; })
        .Detach();
    fixture.Iterate();
    if (told.empty()) fixture.Answer(PositionReply(cell, 0));
    return told;
  };
  const struct {
    int cell;
    int wait_ms;
    const char* told;
  } kRows[] = {{1, 0, "new"},    {1, 0, "kept"}, {2, 600, "new"}, {1, 300, "kept"}, {1, 200, "new"},
               {2, 200, "kept"}, {3, 0, "new"},  {2, 0, "new"},   {3, 0, "kept"},   {1, 0, "new"}};
  for (const auto& row : kRows) {
    INFO(row.cell, " at ", fixture.clock.now.count());
    fixture.Advance(milliseconds(row.wait_ms));
    CHECK(locate(row.cell) == row.told);
  }
  CHECK(client.counters().cache_hits == 4);
  std::string told;
  for (int i = 0; i < 2; ++i) {
    client
        .Reverse({{1, 1}, {2, 2}},
                 [&](const auto& places) {
                   for (const auto& place : places) told += place->is_from_cache ? 'k' : 'n';
                 })
        .Detach();
    fixture.Iterate();
    if (i > 0) break;
    const std::string place = Field(2, Field(2, Field(5, Field(1, "here"))));
    fixture.Answer(Number(1, 0) + place + place);
  }
  CHECK(told == "nnkk");
}

TEST_CASE("a pause keeps calls back, but not their deadlines") {
  ClientFixture fixture;
  kesu::Client client(fixture.options());
  kesu::Client other(fixture.options());
  std::vector<std::string> told;
  const auto locate = [&](kesu::Client& by) {
    return by.Locate(fixture.Seen(),
                     [&](const auto& it) { told.push_back(it ? "found" : it.error().message); });
  };
  client.Pause();
  const kesu::Call paused = locate(client);
  const kesu::Call free = locate(other);
  fixture.Answer(PositionReply(0, 0));
  CHECK(told == std::vector<std::string>{"found"});
  client.Resume();
  fixture.Answer(PositionReply(0, 0));
  CHECK(told.size() == 2);

  kesu::detail::Engine::Get()->OnRouteChanged(false);
  const kesu::Call waiting = locate(client);
  fixture.Advance(milliseconds(29'999));
  CHECK(client.counters().waiting == 1);
  CHECK(fixture.transport.count() == 2);
  client.Pause();
  fixture.clock.now += milliseconds(1);
  g_main_context_iteration(nullptr, FALSE);
  REQUIRE(told.size() == 3);
  CHECK(told[2] ==
        "no answer within 30000 milliseconds: the client is paused: there is no route to the "
        "service");
  kesu::detail::Engine::Get()->OnRouteChanged(true);
  fixture.Iterate();
  CHECK(fixture.transport.count() == 2);
}

TEST_CASE("services of one's own") {
  ClientFixture fixture;
  kesu::Client client(fixture.options());
  lbs::GLatLng question;
  question.set_latitude_e7(5);
  std::string told;
  const auto call = [&](const std::string& payload) {
    told.clear();
    auto made = client.Call<lbs::GLatLng>("own:service", question, [&](const auto& reply) {
      told = reply ? std::to_string(reply->longitude_e7()) : NameOf(reply);
    });
    fixture.Answer(payload);
    CHECK(fixture.Asked() == Fixed(1, 5));
  };
  call(LatLng(1, 2));
  CHECK(told == "2");
  call("\x0A");
  CHECK(told == "malformed");
}

TEST_CASE("a client may go whenever it likes") {
  for (const bool has_answer : {true, false}) {
    ClientFixture fixture;
    auto client = std::make_unique<kesu::Client>(fixture.options());
    std::string told;
    kesu::Call dropped = client->Locate(fixture.Seen(), [&](const auto&) { told += "never;"; });
    kesu::Call kept;
    const auto replace = [&](const auto& it) {
      told += NameOf(it) + ';';
      client.reset();
      client = std::make_unique<kesu::Client>(
          kesu::Options{.server = "http://other.example", .clock = &fixture.clock});
      CHECK(!client->error());
      // In place of the call that is telling just now.
      kept = client->Locate(fixture.Seen(), [&](const auto& again) { told += NameOf(again); });
      dropped = {};
    };
    kept = client->Locate(fixture.Seen(), replace);
    client->CallBytes("s", "", [&](const auto& it) { told += NameOf(it) + ';'; }).Detach();
    fixture.Iterate();
    if (has_answer) {
      dropped.Cancel();
      fixture.transport.End(0, 404);
    } else {
      client.reset();
      dropped = {};
    }
    fixture.Iterate();
    CHECK(told == (has_answer ? "server;server;" : "cancelled;cancelled;"));
    client.reset();
    fixture.Iterate();
    CHECK(told == (has_answer ? "server;server;cancelled" : "cancelled;cancelled;cancelled"));
    CHECK(kesu::detail::Engine::Get() == nullptr);
  }
}

}  // namespace
}  // namespace kesu_test
