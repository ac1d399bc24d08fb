// What the services send, what they take from the answers, and how their calls end.
#include <cmath>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/services/location_service.h"
#include "kesu/services/reverse_geocode_service.h"
#include "kesu/services/service_fixture.h"

#include "support/log_capture.h"

using common_base::GString;
using common_kesu::KesuServiceRequest;
using common_kesu::LbsService;
using common_kesu::LocationService;
using common_kesu::ReverseGeocodeService;
using kesu_test::kPayloadA;
using kesu_test::kPayloadB;
using kesu_test::RecordingRequester;
using kesu_test::ServiceFixture;
using kesu_test::TextOf;

namespace {

struct Fixture : ServiceFixture {
  /// A call with this answer, in hexadecimal.
  template <typename Service>
  void Call(Service* service, const std::string& reply, int status = 200) {
    CHECK(service->NewInvocation()->Start(&requester) == 0);
    Answer(TextOf(kesu_test::Bytes(reply)), status);
  }
  /// The payload of a call that leaves at once.
  template <typename Service>
  std::string Sent(Service* service) {
    service->set_send_immediately(true);
    CHECK(service->NewInvocation()->Start(&requester) == 0);
    return LatestPayload();
  }
  /// The accuracies of all locations, and the key: "10 20 k".
  std::string Found() const {
    common_base::GVector<lbs::GLocation*> locations;
    location.GetGLocations(&locations);
    std::string text;
    for (const lbs::GLocation* found : locations) text += std::to_string(found->accuracy_m()) + ' ';
    GString key("untouched");
    location.GetPlatformKey(&key);
    return text + TextOf(key);
  }

  RecordingRequester requester;
  LbsService typed{"g:loc/ql", NewRequest("A")};
  LocationService location{"g:loc/ql", NewRequest("A")};
  ReverseGeocodeService reverse{52.5F, 13.4F, nullptr};
};

}  // namespace

TEST_CASE_FIXTURE(Fixture, "what is sent, byte for byte") {
  KesuServiceRequest* invocation = typed.NewInvocation();
  CHECK(invocation->Start(&requester) == 0);
  Advance(kBatchDelay);
  CHECK(invocation->ElapsedTicks() == kBatchDelay);
  CHECK(LatestPayload() == kPayloadA);
  Answer("");
  location.request()->mutable_platformprofile()->set_version("1");
  lbs::GCell* cell =
      location.request()->add_requestelements()->mutable_cellularprofile()->mutable_primarycell();
  cell->set_mcc(1);
  cell->set_mnc(1);
  cell->set_area_code(300);
  cell->set_cell_id(70000);
  cell->set_signal_strength_dbm(-90);
  CHECK(Sent(&location) ==
        "0A 03 0A 01 31 22 1A 0A 18 0A 16 08 01 10 01 18 AC 02 20 F0 A2 04 "
        "28 A6 FF FF FF FF FF FF FF FF 01");

  // 52.5 is 525000000 = 0x1F4ADD40; the float next to 13.4 is 13.39999961..., cut to 133999996 =
  // 0x07FCAD7C.
  const kesu_test::ManualClock utc(0, 300);
  ReverseGeocodeService by_default(52.5F, 13.4F, &utc);
  CHECK(Sent(&by_default) ==
        "0A 2C 0A 00 12 10 4B 65 73 75 54 65 73 74 50 6C 61 74 66 6F 72 6D "
        "1A 0D 69 6E 74 65 72 6E 61 6C 20 6F 6E 6C 79 22 05 65 6E 5F 55 53 2A 00 "
        "22 1A 1A 0F 0A 0A 0D 40 DD 4A 1F 15 7C AD FC 07 30 AC 02 "
        "22 07 0D 00 00 00 00 10 01");
  // -525000000 = 0xE0B522C0, -1800000000 = 0x94B62E00.
  ReverseGeocodeService own(-52.5F, -180.0F, 258, "a", "b", "c", "d", "e", nullptr);
  CHECK(Sent(&own) ==
        "0A 0F 0A 01 61 12 01 62 1A 01 63 22 01 64 2A 01 65 "
        "22 19 1A 0E 0A 0A 0D C0 22 B5 E0 15 00 2E B6 94 30 00 "
        "22 07 0D 02 01 00 00 10 01");
  // Degrees that no field can hold are cut to its limits.
  const std::pair<float, std::string> rows[] = {
      {1e9F, "FF FF FF 7F"}, {-INFINITY, "00 00 00 80"}, {NAN, "00 00 00 00"}};
  for (const auto& [degrees, bytes] : rows) {
    ReverseGeocodeService service(degrees, 0, nullptr);
    CHECK(Sent(&service).find("0A 0A 0D " + bytes + " 15 00 00 00 00") != std::string::npos);
  }
}

TEST_CASE("how a call ends, and what the log says") {
  struct Row {
    void (*end)(Fixture*);
    int status;
    int http_status;
    std::string log;
  };
  const std::string error = "**W: The server sent back an error";
  const std::string unreadable = "**W: An error occurred while attempting to extract the response";
  const Row rows[] = {
      {[](Fixture* f) { f->Answer("\x08\1"); }, 200, 200, ""},
      {[](Fixture* f) { f->FailPost(503); }, 503, 503, error},
      {[](Fixture* f) {
         f->FailPost(502);
         f->Advance(ServiceFixture::kRetryDelay);
         f->FailPost(502);
       },
       -3, 502, error},
      {[](Fixture* f) { f->Answer("\x08\1", 404); }, 404, 200, unreadable},
      {[](Fixture* f) { f->Answer(ServiceFixture::kGarbage); }, 200, 200, unreadable},
  };
  for (const Row& row : rows) {
    Fixture f;
    RecordingRequester requester([&](common_base::RequestInterface* request) {
      const auto* response = static_cast<KesuServiceRequest*>(request)->response();
      CHECK(response->status_code() == row.status);
      CHECK_FALSE(f.typed.HasInvocationRunning());
    });
    f.typed.NewInvocation()->Start(&requester);
    CHECK(f.typed.HasInvocationRunning());
    const kesu_test::LogCapture log(common_base::kLogWarnings);
    row.end(&f);
    CHECK(log.lines() == std::vector<std::string>(row.log.empty() ? 0 : 1, row.log));
    CHECK((row.log.empty() ? requester.completed : requester.failed) == 1);
    CHECK(f.typed.is_response_received() == row.log.empty());
    CHECK(f.typed.last_status() == row.status);
    CHECK(f.typed.last_http_status() == row.http_status);
    // The next call writes its payload afresh, or succeeds at once until the reset.
    f.typed.vollen_request()->mutable_platformprofile()->set_version("B");
    if (row.log.empty()) {
      CHECK(f.typed.NewInvocation()->Start(&f.requester) == 0);
      CHECK(f.requester.completed == 1);
      f.typed.ResetForNewRequest();
    }
    CHECK(f.Sent(&f.typed) == kPayloadB);
    f.Answer("");
  }
}

TEST_CASE_FIXTURE(Fixture, "a request made without an invocation brings a response for the next") {
  CHECK(typed.MakeTheKesuRequest());
  Answer("");
  CHECK_FALSE(typed.is_response_received());
  CHECK(typed.MakeTheKesuRequest());
  KesuServiceRequest* invocation = typed.NewInvocation();
  Answer("");
  CHECK(invocation->Start(&requester) == 0);
  CHECK(requester.completed == 1);
}

TEST_CASE_FIXTURE(Fixture, "a request maker shapes the requests, and messages can be taken over") {
  struct SlowMaker final : common_kesu::KesuRequestMaker {
    common_kesu::PlainRequest* NewKesuRequestFrom(const GString& service_uri,
                                                  const common_base::ByteView* payload) override {
      auto* request = new common_kesu::PlainRequest(
          service_uri, common_kesu::ServiceVersion::kVersion0, payload);
      request->set_retry_timeout(2000000);
      return request;
    }
  };
  auto service = std::make_unique<LbsService>("s", new SlowMaker, NewRequest("A"));
  const std::unique_ptr<lbs::GLocRequest> request(service->vollen_request_as_owner());
  service->NewInvocation()->Start(&requester);
  FailPost(502);
  Advance(1999999);
  CHECK(transport.count() == 1);
  Advance(1);
  REQUIRE(transport.count() == 2);
  CHECK(LatestPayload() == kPayloadA);
  Answer("\x08\1");
  const std::unique_ptr<lbs::GLocReply> first(service->vollen_response_as_owner());
  service->ResetForNewRequest();
  Call(service.get(), "08 02");
  const std::unique_ptr<lbs::GLocReply> second(service->vollen_response_as_owner());
  service.reset();
  CHECK(PayloadOf(*request) == "\x0A\3\x0A\1A");
  CHECK(first->status() == 1);
  CHECK(second->status() == 2);
}

TEST_CASE("what a lookup takes from the reply") {
  const std::string empty_key = "**W: received empty platfrom key from server";
  const std::string no_key = "**W: server did not return a platform key";
  struct Row {
    const char* reply;
    std::string found;
    std::string log;
  };
  const Row rows[] = {
      {"08 00 12 04 12 02 18 0A 12 04 12 02 18 14 1A 02 6B 31", "10 20 k1", ""},
      {"12 02 08 01 12 04 12 02 18 14 1A 01 6B", "20 k", ""},
      {"12 04 12 02 18 0A 1A 00", "10 ", empty_key},
      {"", "untouched", no_key},
  };
  for (const Row& row : rows) {
    CAPTURE(row.reply);
    Fixture f;
    const kesu_test::LogCapture log(common_base::kLogWarnings);
    f.Call(&f.location, row.reply);
    CHECK(f.Found() == row.found);
    CHECK(log.lines() == std::vector<std::string>(row.log.empty() ? 0 : 1, row.log));
    CHECK(f.PayloadOf(*f.location.GetGLocReply()) == TextOf(kesu_test::Bytes(row.reply)));
  }
}

TEST_CASE("success of the geocoder is a status that is there and 0") {
  const std::tuple<const char*, bool, std::string> rows[] = {{"1A 01 6B", false, "k"},
                                                             {"08 00 1A 01 6B", true, "k"},
                                                             {"08 01", false, "old"},
                                                             {"08 00 1A 00", true, ""}};
  for (const auto& [reply, succeeded, key] : rows) {
    Fixture f;
    f.reverse.set_platform_key("old");
    f.Call(&f.reverse, reply);
    CHECK(f.reverse.revgeocode_request_succeeded() == succeeded);
    CHECK(TextOf(f.reverse.platform_key()) == key);
  }
}

TEST_CASE_FIXTURE(Fixture, "locations pile up, and a failed call leaves everything as it was") {
  const std::string good = "08 00 12 04 12 02 18 0A 1A 01 6B";
  Call(&location, good);
  Call(&reverse, good);
  const std::string replies[] = {"", good, "08 01 1A 01 78 12 7F"};
  for (const std::string& reply : replies) {
    CAPTURE(reply);
    for (int i = 0; i < 2; ++i) {
      const int started = i == 0 ? location.NewInvocation()->Start(&requester)
                                 : reverse.NewInvocation()->Start(&requester);
      CHECK(started == 0);
      if (reply.empty()) FailPost();
      if (!reply.empty()) Answer(TextOf(kesu_test::Bytes(reply)), reply == good ? 404 : 200);
    }
    CHECK(Found() == "10 k");
    CHECK(PayloadOf(*location.GetGLocReply()) == TextOf(kesu_test::Bytes(good)));
    CHECK(PayloadOf(*reverse.GetGLocReply()) == TextOf(kesu_test::Bytes(good)));
    CHECK(TextOf(reverse.platform_key()) == "k");
    CHECK_FALSE(reverse.revgeocode_request_succeeded());
  }
  CHECK(requester.completed == 2);
  CHECK(requester.failed == 6);
  Call(&location, "12 04 12 02 18 14 12 04 12 02 18 1E");
  CHECK(Found() == "10 20 30 k");
}

TEST_CASE("the longest name") {
  const std::pair<std::vector<std::vector<const char*>>, std::string> rows[] = {
      {{{}, {nullptr}, {""}}, ""},
      {{{"a"}, {}, {"bb", nullptr}, {"c"}}, "bb"},
      {{{"a", "bb"}, {"cc", "dd"}}, "bb"},
      // Characters count, neither bytes nor UTF-16 units.
      {{{"abc", "\xF0\x9F\x8C\x8D\xF0\x9F\x8C\x8D"}}, "abc"},
  };
  Fixture f;
  CHECK(TextOf(f.reverse.GetLongestReverseGeocode()) == "");
  for (const auto& [elements, longest] : rows) {
    lbs::GLocReply reply;
    for (const auto& names : elements) {
      lbs::GLocation* location = reply.add_replyelements()->mutable_location();
      for (const char* name : names) {
        lbs::GFeature* feature = location->add_feature();
        if (name != nullptr) feature->set_name(name);
      }
    }
    f.reverse.SaveGLocReply(&reply);
    CHECK(TextOf(f.reverse.GetLongestReverseGeocode()) == longest);
  }
}
