#include <iostream>
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
  using Options = kesu::Options;
  void (*const kChanges[])(Options*) = {
      [](Options* it) { it->server = ""; },
      [](Options* it) { it->server = "ftp://service.example"; },
      [](Options* it) { it->server = "http://a b"; },
      [](Options* it) { it->server += std::string(100, 'x'); },
      [](Options* it) { it->server = "http://other.example"; },
      [](Options* it) { it->proxy = "http://proxy.example"; },
      [](Options* it) { it->clock = nullptr; },
      [](Options* it) { it->deadline = milliseconds(0); },
      [](Options* it) { it->deadline = std::chrono::hours(25); },
      [](Options* it) { it->batch_wait = milliseconds(-1); },
      [](Options* it) { it->reply_memory_limit = 0; },
      [](Options* it) { it->cache_lifetime = milliseconds(-1); },
  };
  ClientFixture fixture;
  Options options = fixture.options();
  const kesu::Client first(options);
  options.server += '/';
  CHECK((!first.error() && !kesu::Client(options).error()));
  for (const auto change : kChanges) {
    options = fixture.options();
    change(&options);
    kesu::Client client(options);
    REQUIRE(client.error());
    INFO(client.error()->message);
    std::string told;
    const auto tell = [&](const auto& it) { told += NameOf(it) + ';'; };
    client.Locate(ClientFixture::Seen(), tell).Detach();
    client.Reverse({1, 1}, tell).Detach();
    client.Resume();
    CHECK(told.empty());
    ClientFixture::Iterate();
    CHECK(told == "misuse;misuse;");
  }
  CHECK(fixture.transport.count() == 0);
}

TEST_CASE("what is asked, and what is kept for the next time") {
  ClientFixture fixture;
  kesu::Options options = fixture.options();
  options.locale = "pt_PT";
  kesu::Client client(options);
  kesu::Observation seen = ClientFixture::Seen();
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
  client.Locate(ClientFixture::Seen(), ignore).Detach();
  ClientFixture::Iterate();
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
  points[3].latitude = 91;
  std::vector<kesu::ReverseResult> told;
  client.Reverse(points, [&](const auto& places) { told = places; }).Detach();
  ClientFixture::Iterate();
  REQUIRE(fixture.transport.count() == 1);
  const auto requests = PostedRequests(fixture.transport.latest().body);
  REQUIRE(requests.size() == 2);
  // The third is not asked, every hundredth known to nobody, and the last left out.
  std::string payloads[2];
  std::string expected;
  for (int i = 0; i < 1500; ++i) {
    const std::string name = std::to_string(i);
    expected += i == 3 ? "misuse" : i == 1499 ? "malformed" : i % 100 == 0 ? "not-found" : name;
    if (i == 3 || i == 1499) continue;
    payloads[i > 1000] +=
        Field(2, i % 100 == 0 ? Number(1, 1) : Field(2, Field(5, Field(1, name))));
  }
  fixture.transport.End(0, 200,
                        kReplyStart + ReplyBlock(requests[1].id, payloads[1]) +
                            ReplyBlock(requests[0].id, payloads[0]));
  CHECK(told.empty());
  ClientFixture::Iterate();
  std::string names;
  for (const auto& place : told) names += place ? place->name : NameOf(place);
  CHECK(names == expected);
  client.Reverse(std::vector<kesu::Point>(), [&](const auto& it) { told = it; }).Detach();
  ClientFixture::Iterate();
  CHECK((told.empty() && client.counters().requests == 2));
}

TEST_CASE("the cache answers the same question until it expires, and no more than fits") {
  ClientFixture fixture;
  kesu::Options options = fixture.options();
  options.cache_lifetime = milliseconds(1000);
  options.cache_capacity = 2;
  kesu::Client client(options);
  std::string told;
  const struct {
    int cell;
    int wait_ms;
    bool is_kept;
  } kRows[] = {{1, 0, false},  {1, 0, true},  {2, 600, false}, {1, 300, true}, {1, 200, false},
               {2, 200, true}, {3, 0, false}, {2, 0, false},   {3, 0, true},   {1, 0, false}};
  for (const auto& row : kRows) {
    INFO(row.cell, " at ", fixture.clock.now.count());
    fixture.Advance(milliseconds(row.wait_ms));
    told.clear();
    const auto tell = [&](const auto& it) { told = it->is_from_cache ? "kept" : "new"; };
    client.Locate(ClientFixture::Seen(row.cell), tell).Detach();
    ClientFixture::Iterate();
    CHECK(told.empty() != row.is_kept);
    if (!row.is_kept) fixture.Answer(PositionReply(row.cell, 0));
    CHECK(told == (row.is_kept ? "kept" : "new"));
  }
  told.clear();
  for (const bool is_kept : {false, true}) {
    const auto tell = [&](const auto& it) { told += it[1]->is_from_cache ? "kept" : "new"; };
    client.Reverse({{1, 1}, {2, 2}}, tell).Detach();
    const std::string place = Field(2, Field(2, Field(5, Field(1, "here"))));
    if (!is_kept) fixture.Answer(place + place);
  }
  ClientFixture::Iterate();
  CHECK(told == "newkept");
  CHECK(client.counters().cache_hits == 6);
}

TEST_CASE("a pause keeps calls back, but not their deadlines") {
  ClientFixture fixture;
  kesu::Client client(fixture.options());
  kesu::Client other(fixture.options());
  std::string told;
  const auto tell = [&](const auto& it) { told += it ? "found;" : it.error().message; };
  client.Pause();
  const kesu::Call paused = client.Locate(ClientFixture::Seen(), tell);
  const kesu::Call free = other.Locate(ClientFixture::Seen(), tell);
  fixture.Answer(PositionReply(0, 0));
  CHECK(told == "found;");
  client.Resume();
  fixture.Answer(PositionReply(0, 0));
  CHECK(told == "found;found;");

  kesu::detail::Engine::Get()->OnRouteChanged(false);
  const kesu::Call waiting = client.Locate(ClientFixture::Seen(), tell);
  fixture.Advance(milliseconds(29'999));
  CHECK((client.counters().waiting == 1 && told == "found;found;"));
  client.Pause();
  fixture.clock.now += milliseconds(1);
  g_main_context_iteration(nullptr, FALSE);
  CHECK(
      told ==
      "found;found;no answer within 30000 milliseconds: the client is paused: there is no route to "
      "the service");
  CHECK(fixture.transport.count() == 2);
}

TEST_CASE("a callback may run the loop, which then tells of the other calls") {
  ClientFixture fixture;
  kesu::Client client({});
  std::string told;
  const auto call = [&](std::function<void()> then) {
    return client.Locate(ClientFixture::Seen(), [then = std::move(then)](const auto&) { then(); });
  };
  kesu::Call third;
  const kesu::Call first = call([&] {
    third = call([&] { told += '3'; });
    told += '<';
    ClientFixture::Iterate();
    told += '>';
  });
  const kesu::Call second = call([&] { told += '2'; });
  ClientFixture::Iterate();
  CHECK(told == "<23>");
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

}  // namespace
}  // namespace kesu_test
