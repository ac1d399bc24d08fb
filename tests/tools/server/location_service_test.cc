#include "tools/kesu-server/location_service.h"

#include <optional>
#include <string>

#include <doctest/doctest.h>

#include "kesu/proto/lbs.h"

#include "tools/kesu-server/location_messages.h"
#include "tools/server/test_world.h"

namespace {

using kesu_server::kFound;
using kesu_server::kInvalidPosition;
using kesu_server::kNothingFound;
using kesu_server::TextOf;

void SetPosition(double latitude, double longitude, lbs::GLocRequestElement* element) {
  kesu_server::WritePosition({latitude, longitude}, element->mutable_location()->mutable_latlng());
}

void SetCell(int cell_id, lbs::GCell* cell) {
  cell->set_mcc(1);
  cell->set_mnc(1);
  cell->set_area_code(1);
  cell->set_cell_id(cell_id);
  cell->set_signal_strength_dbm(-80);
}

lbs::GWifiDevice* AddAccessPoint(const char* mac_address, lbs::GLocRequestElement* element) {
  lbs::GWifiDevice* const device = element->mutable_wifiprofile()->add_wifidevices();
  device->set_mac_address(mac_address);
  return device;
}

TEST_CASE("the platform key is issued once and then kept") {
  kesu_test::TestWorld world;
  for (const char* key : {"", "mine"}) {
    CAPTURE(key);
    lbs::GLocRequest request;
    request.mutable_platformprofile()->set_platform_key(key);
    lbs::GLocReply reply;
    world.service.Answer(request, &reply);
    CHECK(TextOf(reply.platform_key()) == (*key != '\0' ? key : "issued"));
    CHECK(reply.has_status());
    CHECK(reply.status() == kFound);
    CHECK(reply.replyelements_size() == 0);
  }
  lbs::GLocReply reply;
  world.service.Answer(lbs::GLocRequest(), &reply);
  CHECK(TextOf(reply.platform_key()) == "issued");
}

TEST_CASE("one reply element for each request element, in order") {
  kesu_test::TestWorld world;
  lbs::GLocRequest request;
  SetCell(9999, request.add_requestelements()->mutable_cellularprofile()->mutable_primarycell());
  SetCell(1001, request.add_requestelements()->mutable_cellularprofile()->mutable_primarycell());
  request.add_requestelements()->mutable_location();
  lbs::GLocReply reply;
  world.service.Answer(request, &reply);
  REQUIRE(reply.replyelements_size() == 3);
  CHECK(reply.status() == kFound);
  CHECK(reply.replyelements(0).status() == kNothingFound);
  CHECK_FALSE(reply.replyelements(0).has_location());
  CHECK(reply.replyelements(1).status() == kFound);
  CHECK(reply.replyelements(1).location().latlng().latitude_e7() == 100'000'000);
  CHECK(reply.replyelements(2).status() == kInvalidPosition);
  CHECK_FALSE(reply.replyelements(2).has_location());
}

/// The answer to a request with one element.
class OneElement {
 public:
  lbs::GLocRequestElement* operator->() { return element_; }
  lbs::GLocRequestElement* get() { return element_; }

  const lbs::GLocReplyElement& Ask() {
    world_.service.Answer(request_, &reply_);
    REQUIRE(reply_.replyelements_size() == 1);
    CHECK(reply_.status() == reply_.replyelements(0).status());
    return reply_.replyelements(0);
  }

 private:
  kesu_test::TestWorld world_;
  lbs::GLocRequest request_;
  lbs::GLocRequestElement* element_ = request_.add_requestelements();
  lbs::GLocReply reply_;
};

TEST_CASE("cells and access points are weighed together, each once") {
  OneElement element;
  SetCell(1001, element->mutable_cellularprofile()->mutable_primarycell());
  SetCell(1002, element->mutable_cellularprofile()->add_neighbors());
  SetCell(1002, element->mutable_cellularprofile()->add_neighbors());
  AddAccessPoint("00:00:5e:00:53:0a", element.get())->set_signal_strength_dbm(-80);
  AddAccessPoint("00005E00530A", element.get())->set_signal_strength_dbm(-40);
  AddAccessPoint("not a MAC address", element.get());
  const lbs::GLocation& location = element.Ask().location();
  CHECK(location.latlng().longitude_e7() == 200'010'000);
  CHECK(location.accuracy_m() == 159);
}

TEST_CASE("cells that served earlier do not count") {
  OneElement element;
  SetCell(1001, element->mutable_cellularprofile()->add_historicalcells());
  CHECK(element.Ask().status() == kNothingFound);
}

TEST_CASE("a signal that cannot have been measured counts as not stated") {
  for (const long long dbm : {0LL, 7LL, -141LL, -9'000'000'000'000LL}) {
    CAPTURE(dbm);
    OneElement element;
    AddAccessPoint("00-00-5E-00-53-0A", element.get())->set_signal_strength_dbm(dbm);
    // 316.2 m, at the edge of what can be received, times the spread.
    CHECK(element.Ask().location().accuracy_m() == 502);
  }
}

TEST_CASE("the handset's own fix") {
  struct Case {
    const char* description = nullptr;
    bool has_cell = false;
    std::optional<int> fix_accuracy_m;
    bool is_fix_echoed = false;
  };
  constexpr Case kCases[] = {
      {"alone", false, std::nullopt, true},
      {"alone, with an accuracy", false, 5000, true},
      {"without accuracy, beside a cell", true, std::nullopt, true},
      {"better than the cell", true, 10, true},
      {"worse than the cell", true, 5000, false},
  };
  for (const Case& c : kCases) {
    CAPTURE(c.description);
    OneElement element;
    SetPosition(38.8, -9.0, element.get());
    if (c.fix_accuracy_m) element->mutable_location()->set_accuracy_m(*c.fix_accuracy_m);
    if (c.has_cell) SetCell(1001, element->mutable_cellularprofile()->mutable_primarycell());
    const lbs::GLocReplyElement& answer = element.Ask();
    CHECK(answer.status() == kFound);
    const lbs::GLocation& location = answer.location();
    CHECK(location.latlng().latitude_e7() == (c.is_fix_echoed ? 388'000'000 : 100'000'000));
    CHECK(location.latlng().longitude_e7() == (c.is_fix_echoed ? -90'000'000 : 200'000'000));
    CHECK(location.feature_size() == (c.is_fix_echoed ? 3 : 0));
    if (c.is_fix_echoed) {
      CHECK(location.has_accuracy_m() == c.fix_accuracy_m.has_value());
      CHECK(location.accuracy_m() == c.fix_accuracy_m.value_or(0));
    } else {
      CHECK(location.accuracy_m() == 159);
    }
  }
}

TEST_CASE("reverse geocoding gives ever longer features") {
  OneElement element;
  SetPosition(38.65, -9.0, element.get());
  element->mutable_geocode()->set_want_features(true);
  const lbs::GLocation& location = element.Ask().location();
  CHECK(location.latlng().latitude_e7() == 386'500'000);
  REQUIRE(location.feature_size() == 3);
  CHECK(TextOf(location.feature(0).name()) == "Lisbon");
  CHECK(TextOf(location.feature(1).name()) == "Lisbon, Portugal");
  CHECK(TextOf(location.feature(2).name()) ==
        "nearest listed place: Lisbon, Portugal (14 km north-west)");
  const lbs::GAddress& address = location.feature(1).address();
  REQUIRE(address.formattedaddressline_size() == 1);
  CHECK(TextOf(address.formattedaddressline(0)) == "Lisbon, Portugal");
  REQUIRE(address.component_size() == 2);
  CHECK(TextOf(address.component(1).name()) == "Portugal");
  CHECK(location.feature(2).center().latitude_e7() == 387'166'700);
}

TEST_CASE("reverse geocoding without an answer, and without features") {
  struct Case {
    const char* description;
    double latitude;
    double longitude;
    bool want_features;
    int status;
    int features;
  };
  constexpr Case kCases[] = {
      {"nothing near", 0, -30, true, kNothingFound, 0},
      {"features not wanted", 38.65, -9.0, false, kFound, 0},
      {"a place named like its country has one name less", -18, 178, true, kFound, 2},
      {"no latitude", 90.0000001, 0, true, kInvalidPosition, 0},
      {"no longitude", 0, -180.0000001, true, kInvalidPosition, 0},
  };
  for (const Case& c : kCases) {
    CAPTURE(c.description);
    OneElement element;
    SetPosition(c.latitude, c.longitude, element.get());
    element->mutable_geocode()->set_want_features(c.want_features);
    const lbs::GLocReplyElement& answer = element.Ask();
    CHECK(answer.status() == c.status);
    CHECK(answer.has_location() == (c.status == kFound));
    CHECK(answer.location().feature_size() == c.features);
  }
  OneElement element;
  element->mutable_geocode();
  element->mutable_location()->mutable_latlng()->set_latitude_e7(1);
  CHECK(element.Ask().status() == kInvalidPosition);
}

}  // namespace
