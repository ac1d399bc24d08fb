#include "kesu/services/location_service.h"

#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/services/service_fixture.h"

#include "support/log_capture.h"

using common_base::GString;
using common_base::GVector;
using common_kesu::LocationService;
using kesu_test::kPayloadA;
using kesu_test::kPayloadB;
using kesu_test::RecordingRequester;
using kesu_test::ServiceFixture;
using kesu_test::TextOf;

namespace {

constexpr char kEmptyKey[] = "**W: received empty platfrom key from server";
constexpr char kNoKey[] = "**W: server did not return a platform key";

struct Fixture : ServiceFixture {
  /// The accuracies of all locations, in order, each with a blank behind.
  std::string Accuracies() const {
    GVector<lbs::GLocation*> locations;
    service.GetGLocations(&locations);
    std::string text;
    for (const lbs::GLocation* location : locations) {
      text += std::to_string(location->accuracy_m()) + ' ';
    }
    return text;
  }
  std::string Key() const {
    GString key("untouched");
    service.GetPlatformKey(&key);
    return TextOf(key);
  }
  /// A lookup with this answer, in hexadecimal.
  void Lookup(const std::string& reply, int status = 200) {
    CHECK(service.NewInvocation()->Start(&requester) == 0);
    Answer(TextOf(kesu_test::Bytes(reply)), status);
  }

  LocationService service{"g:loc/ql", NewRequest("A")};
  RecordingRequester requester;
};

}  // namespace

TEST_CASE_FIXTURE(ServiceFixture, "a small lookup, byte for byte") {
  auto* request = new lbs::GLocRequest;
  request->mutable_platformprofile()->set_version("1");
  lbs::GCell* cell =
      request->add_requestelements()->mutable_cellularprofile()->mutable_primarycell();
  cell->set_mcc(1);
  cell->set_mnc(1);
  cell->set_area_code(300);
  cell->set_cell_id(70000);
  cell->set_signal_strength_dbm(-90);
  LocationService service("g:loc/ql", request);
  CHECK(service.request() == request);
  CHECK(TextOf(service.service_name()) == "g:loc/ql");
  service.set_send_immediately(true);
  RecordingRequester requester;
  CHECK(service.NewInvocation()->Start(&requester) == 0);
  CHECK(LatestPayload() ==
        "0A 03 0A 01 31 22 1A 0A 18 0A 16 08 01 10 01 18 AC 02 20 F0 A2 04 "
        "28 A6 FF FF FF FF FF FF FF FF 01");
}

TEST_CASE("what a lookup takes from the reply") {
  struct Row {
    std::string what;
    const char* reply;
    std::string accuracies;
    std::string key;
    std::vector<std::string> log;
  };
  const Row rows[] = {
      {"two locations and a key",
       "08 00 12 04 12 02 18 0A 12 04 12 02 18 14 1A 02 6B 31",
       "10 20 ",
       "k1",
       {}},
      {"the first element without a location",
       "12 02 08 01 12 04 12 02 18 14 1A 01 6B",
       "20 ",
       "k",
       {}},
      {"an empty location counts", "12 02 12 00 1A 01 6B", "0 ", "k", {}},
      {"no elements", "1A 01 6B", "", "k", {}},
      {"an empty key", "12 04 12 02 18 0A 1A 00", "10 ", "", {kEmptyKey}},
      {"no key", "12 04 12 02 18 0A", "10 ", "untouched", {kNoKey}},
      {"nothing", "", "", "untouched", {kNoKey}},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    Fixture fixture;
    CHECK(fixture.service.GetGLocReply() == nullptr);
    CHECK(fixture.Key() == "untouched");
    const kesu_test::LogCapture log(common_base::kLogWarnings);
    fixture.Lookup(row.reply);
    CHECK(fixture.requester.completed == 1);
    CHECK(fixture.Accuracies() == row.accuracies);
    CHECK(fixture.Key() == row.key);
    CHECK(log.lines() == row.log);
    REQUIRE(fixture.service.GetGLocReply() != nullptr);
    CHECK(ServiceFixture::PayloadOf(*fixture.service.GetGLocReply()) ==
          TextOf(kesu_test::Bytes(row.reply)));
  }
}

TEST_CASE_FIXTURE(Fixture, "locations pile up, the key stays until there is another") {
  Lookup("12 04 12 02 18 0A 1A 01 6B");
  CHECK(LatestPayload() == kPayloadA);
  service.request()->mutable_platformprofile()->set_version("B");
  Lookup("12 04 12 02 18 14 12 04 12 02 18 1E");
  CHECK(LatestPayload() == kPayloadB);
  CHECK(transport.count() == 2);
  CHECK(requester.completed == 2);
  CHECK(Accuracies() == "10 20 30 ");
  CHECK(Key() == "k");
  CHECK(service.GetGLocReply()->replyelements_size() == 2);
  Lookup("1A 00");
  CHECK(Key() == "");
  lbs::GLocation own;
  own.set_accuracy_m(7);
  service.AddGLocation(own);
  GVector<lbs::GLocation*> locations;
  locations.Append(&own);
  service.GetGLocations(&locations);
  CHECK(locations.length() == 5);
  CHECK(locations[4] != &own);
  service.AddGLocation(*locations[1]);
  CHECK(Accuracies() == "10 20 30 7 10 ");
}

TEST_CASE_FIXTURE(Fixture, "a failed lookup leaves everything as it was") {
  Lookup("12 04 12 02 18 0A 1A 01 6B");
  const lbs::GLocReply* reply = service.GetGLocReply();
  SUBCASE("the POST fails") {
    CHECK(service.NewInvocation()->Start(&requester) == 0);
    FailPost();
  }
  SUBCASE("status 404") {
    Lookup("12 04 12 02 18 14 1A 01 78", 404);
  }
  SUBCASE("garbage after a good part") {
    Lookup("12 04 12 02 18 14 1A 01 78 12 7F");
  }
  CHECK(requester.completed == 1);
  CHECK(requester.failed == 1);
  CHECK(service.GetGLocReply() == reply);
  CHECK(reply->replyelements_size() == 1);
  CHECK(Accuracies() == "10 ");
  CHECK(Key() == "k");
  Lookup("12 04 12 02 18 14");
  CHECK(LatestPayload() == kPayloadA);
  CHECK(requester.completed == 2);
  CHECK(Accuracies() == "10 20 ");
}

TEST_CASE_FIXTURE(Fixture, "the adapter says what it does in the log") {
  const kesu_test::LogCapture log(common_base::kLogDebug);
  service.NewInvocation()->Start(&requester);
  FailPost();
  const std::string start = "  D: RequestAdapter LocationRequestAdapter ";
  std::vector<std::string> ends;
  for (const std::string& line : log.lines()) {
    if (line.rfind(start, 0) == 0) ends.push_back(line.substr(line.rfind(':')));
  }
  CHECK(ends == std::vector<std::string>{": start", ": inner request failed", ": failed"});
}
