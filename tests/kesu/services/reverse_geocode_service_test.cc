#include "kesu/services/reverse_geocode_service.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/services/service_fixture.h"

using common_kesu::ReverseGeocodeService;
using kesu_test::RecordingRequester;
using kesu_test::ServiceFixture;
using kesu_test::TextOf;

namespace {

struct Fixture : ServiceFixture {
  void Call(const std::string& reply, int status = 200) {
    CHECK(service.NewInvocation()->Start(&requester) == 0);
    Answer(reply, status);
  }

  ReverseGeocodeService service{52.5F, 13.4F, nullptr};
  RecordingRequester requester;
};

/// A reply with one list of names per element; null is a feature without a name.
std::string ReplyWith(const std::vector<std::vector<const char*>>& elements) {
  lbs::GLocReply reply;
  for (const auto& names : elements) {
    lbs::GLocReplyElement* element = reply.add_replyelements();
    for (const char* name : names) {
      lbs::GFeature* feature = element->mutable_location()->add_feature();
      if (name != nullptr) feature->set_name(name);
    }
  }
  return ServiceFixture::PayloadOf(reply);
}

}  // namespace

TEST_CASE_FIXTURE(ServiceFixture, "a call with the default strings, byte for byte") {
  const kesu_test::ManualClock utc(0, 300);
  ReverseGeocodeService service(52.5F, 13.4F, &utc);
  service.set_send_immediately(true);
  RecordingRequester requester;
  CHECK(service.NewInvocation()->Start(&requester) == 0);
  // 52.5 is 525000000 = 0x1F4ADD40; the float next to 13.4 is 13.39999961..., cut to 133999996 =
  // 0x07FCAD7C.
  CHECK(LatestPayload() ==
        "0A 2C 0A 00 12 10 4B 65 73 75 54 65 73 74 50 6C 61 74 66 6F 72 6D "
        "1A 0D 69 6E 74 65 72 6E 61 6C 20 6F 6E 6C 79 22 05 65 6E 5F 55 53 2A 00 "
        "22 1A 1A 0F 0A 0A 0D 40 DD 4A 1F 15 7C AD FC 07 30 AC 02 "
        "22 07 0D 00 00 00 00 10 01");
  CHECK(kesu_test::PostedRequests(transport.exchange(0).body)[0].service == "g:loc/ql");
}

TEST_CASE_FIXTURE(ServiceFixture, "a call with strings and precision of its own") {
  ReverseGeocodeService service(-52.5F, -180.0F, 258, "a", "b", "c", "d", "e", nullptr);
  service.set_send_immediately(true);
  RecordingRequester requester;
  CHECK(service.NewInvocation()->Start(&requester) == 0);
  // -525000000 = 0xE0B522C0, -1800000000 = 0x94B62E00.
  CHECK(LatestPayload() ==
        "0A 0F 0A 01 61 12 01 62 1A 01 63 22 01 64 2A 01 65 "
        "22 19 1A 0E 0A 0A 0D C0 22 B5 E0 15 00 2E B6 94 30 00 "
        "22 07 0D 02 01 00 00 10 01");
}

TEST_CASE_FIXTURE(ServiceFixture, "degrees that no field can hold are cut to its limits") {
  struct Row {
    float degrees;
    const char* bytes;
  };
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (const Row& row :
       {Row{1e9F, "FF FF FF 7F"}, Row{-1e9F, "00 00 00 80"}, Row{kInfinity, "FF FF FF 7F"},
        Row{-kInfinity, "00 00 00 80"}, Row{std::nanf(""), "00 00 00 00"}}) {
    ReverseGeocodeService service(row.degrees, 0, 0, "", "", "", "", "", nullptr);
    service.set_send_immediately(true);
    RecordingRequester requester;
    CHECK(service.NewInvocation()->Start(&requester) == 0);
    CHECK(LatestPayload().find(std::string("0A 0A 0D ") + row.bytes + " 15 00 00 00 00") !=
          std::string::npos);
  }
}

TEST_CASE("success is a status that is there and 0") {
  struct Row {
    std::string what;
    const char* reply;
    bool succeeded;
    std::string key;
  };
  const Row rows[] = {
      {"absent", "1A 01 6B", false, "k"},
      {"0", "08 00 1A 01 6B", true, "k"},
      {"1", "08 01 1A 01 6B", false, "k"},
      {"-1", "08 FF FF FF FF FF FF FF FF FF 01", false, "old"},
      {"0, and an empty key", "08 00 1A 00", true, ""},
      {"nothing at all", "", false, "old"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    Fixture fixture;
    fixture.service.set_platform_key("old");
    CHECK(fixture.service.GetGLocReply() == nullptr);
    const std::string reply = TextOf(kesu_test::Bytes(row.reply));
    fixture.Call(reply);
    CHECK(fixture.requester.completed == 1);
    CHECK(fixture.service.revgeocode_request_succeeded() == row.succeeded);
    CHECK(TextOf(fixture.service.platform_key()) == row.key);
    REQUIRE(fixture.service.GetGLocReply() != nullptr);
    CHECK(ServiceFixture::PayloadOf(*fixture.service.GetGLocReply()) == reply);
  }
}

TEST_CASE("the longest name") {
  struct Row {
    std::string what;
    std::vector<std::vector<const char*>> elements;
    std::string longest;
  };
  const Row rows[] = {
      {"no elements", {}, ""},
      {"no location", {{}}, ""},
      {"no names", {{nullptr, nullptr}}, ""},
      {"an empty name", {{""}}, ""},
      {"the longest of one element", {{"a", "ccc", "bb"}}, "ccc"},
      {"of several elements", {{"a"}, {}, {"bb", nullptr}, {"c"}}, "bb"},
      {"the first of equals", {{"a", "bb"}, {"cc", "dd"}}, "bb"},
      {"characters count, not bytes", {{"abc", "\xC3\xA9\xC3\xA9"}}, "abc"},
      {"nor UTF-16 units", {{"abc", "\xF0\x9F\x8C\x8D\xF0\x9F\x8C\x8D"}}, "abc"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    Fixture fixture;
    CHECK(TextOf(fixture.service.GetLongestReverseGeocode()) == "");
    fixture.Call(ReplyWith(row.elements));
    CHECK(TextOf(fixture.service.GetLongestReverseGeocode()) == row.longest);
  }
}

TEST_CASE_FIXTURE(Fixture, "a failed call keeps the reply and the key, and is no success") {
  Call("\x08" + std::string(1, '\0') + "\x1A\1k");
  CHECK(service.revgeocode_request_succeeded());
  const lbs::GLocReply* reply = service.GetGLocReply();
  SUBCASE("the POST fails") {
    CHECK(service.NewInvocation()->Start(&requester) == 0);
    FailPost();
  }
  SUBCASE("status 404") {
    Call("\x1A\1x", 404);
  }
  SUBCASE("garbage after a good part") {
    Call("\x1A\1x\x12\x7F");
  }
  CHECK(requester.failed == 1);
  CHECK_FALSE(service.revgeocode_request_succeeded());
  CHECK(service.GetGLocReply() == reply);
  CHECK(TextOf(service.platform_key()) == "k");
}

TEST_CASE_FIXTURE(Fixture, "a call is in progress from its start to its end") {
  std::vector<bool> inside;
  RecordingRequester watcher([&](common_base::RequestInterface*) {
    inside.push_back(service.revgeocode_request_in_progress());
  });
  for (const bool fails : {false, true}) {
    common_base::RequestInterface* invocation = service.NewInvocation();
    CHECK_FALSE(service.revgeocode_request_in_progress());
    CHECK(invocation->Start(&watcher) == 0);
    CHECK(service.revgeocode_request_in_progress());
    fails ? FailPost() : Answer("");
    CHECK_FALSE(service.revgeocode_request_in_progress());
  }
  CHECK(inside == std::vector<bool>{false, false});
  common_base::RequestInterface* cancelled = service.NewInvocation();
  CHECK(cancelled->Start(&watcher) == 0);
  cancelled->Cancel();
  CHECK_FALSE(service.revgeocode_request_in_progress());
  CHECK(inside.size() == 2);
}

TEST_CASE_FIXTURE(Fixture, "a service can be set up for another point") {
  Call(ReplyWith({{"here"}}));
  common_base::RequestInterface* not_started = service.NewInvocation();
  service.InitializeLbsService(1, 2, 0, "", "", "", "", "");
  RecordingRequester other;
  CHECK(not_started->Start(&other) != 0);
  not_started->Cancel();
  CHECK(service.NewInvocation()->Start(&requester) == 0);
  mux()->FlushPendingRequests();
  CHECK(LatestPayload().find("0D 80 96 98 00 15 00 2D 31 01") != std::string::npos);
  Answer(ReplyWith({{"there"}}));
  CHECK(TextOf(service.GetLongestReverseGeocode()) == "there");
}
