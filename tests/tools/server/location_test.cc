#include <algorithm>
#include <cmath>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/proto/lbs.h"

#include "support/bytes.h"
#include "tools/kesu-server/location_estimator.h"
#include "tools/kesu-server/location_messages.h"
#include "tools/kesu-server/location_service.h"
#include "tools/kesu-server/place_index.h"
#include "tools/kesu-server/reverse_geocoder.h"
#include "tools/kesu-server/station_index.h"

namespace {

using doctest::Approx;
using kesu_server::CompassDirection;
using kesu_server::EstimateLocation;
using kesu_server::LatLng;
using kesu_server::ReverseGeocoder;
using kesu_server::Sighting;
using kesu_test::TextOf;
using lbs::GLocRequestElement;

/// A small world to ask the server about.
class TestWorld {
 public:
  TestWorld() {
    std::string error;
    REQUIRE_MESSAGE(places.Load({"places.tsv", kPlaces}, &error), error);
    REQUIRE_MESSAGE(
        stations.Load({"cells.tsv", kCells}, {"access_points.tsv", kAccessPoints}, &error), error);
  }

  kesu_server::PlaceIndex places;
  kesu_server::StationIndex stations;
  kesu_server::LocationService service{&places, &stations, [] { return std::string("issued"); }};

 private:
  static constexpr char kPlaces[] =
      "# a comment\n"
      "38.71667\t-9.13333\tPT\tPortugal\tLisbon\tEurope/Lisbon\n"
      "-18.13333\t178.41667\tFJ\tFiji\tFiji\tPacific/Fiji\n"
      "-14.0\t-179.9\tXX\tEastland\tWest End\tTest/West_End\n"
      "89.5\t100.0\tXX\tIce\tFar North\tTest/Far_North\n"
      "-89.0\t0.0\tXX\tIce\tFar South\tTest/Far_South\n";
  /// 100 m at -80 dBm, and 158.49 m when the signal is one standard deviation off.
  static constexpr char kCells[] =
      "1\t1\t1\t1001\t10\t20\t-40\t2\t4\n"
      "1\t1\t1\t1002\t10\t20.002\t-40\t2\t4\n";
  static constexpr char kAccessPoints[] = "00-00-5E-00-53-0A\t10\t20.001\t-40\t2\t4\n";
};

/// A station that is 100 m away at -80 dBm and 10 m at -60 dBm; one standard deviation of the
/// signal doubles a distance.
Sighting Seen(const LatLng& position, std::optional<double> received_dbm) {
  return {{position, {-40, 2, 20 * std::log10(2.0)}, -90}, received_dbm};
}

TEST_CASE("estimates") {
  const struct {
    std::string description;
    std::vector<Sighting> sightings;
    LatLng position;
    double accuracy_m;
  } cases[] = {
      {"one station, 100 m away", {Seen({10, 20}, -80)}, {10, 20}, 200},
      {"signal not stated: at the edge of its range", {Seen({10, 20}, {})}, {10, 20}, 632.455532},
      {"an impossibly strong signal: no nearer than a metre", {Seen({10, 20}, -1)}, {10, 20}, 2},
      {"two equal stations across the antimeridian",
       {Seen({0, 179.999}, -80), Seen({0, -179.999}, -80)},
       {0, 180},
       200},
      // Weights 1/100 and 1/10000; the mean distance is (1/10 + 1/100) / (1/100 + 1/10000).
      {"the nearer one counts for a hundred times as much",
       {Seen({0, 0}, -60), Seen({0, 0.00101}, -80)},
       {0, 0.00001},
       2 * 0.11 / 0.0101},
      {"one that cannot be near the two others is left out",
       {Seen({-33, 151}, -60), Seen({0, 20}, -80), Seen({0.002, 20}, -80)},
       {0.001, 20},
       200},
      {"of two that contradict each other the stronger stays",
       {Seen({0, 0}, -80), Seen({0, 180}, -79)},
       {0, 180},
       2 * std::pow(10, 39 / 20.0)},
  };
  for (const auto& row : cases) {
    CAPTURE(row.description);
    const auto estimate = EstimateLocation(row.sightings);
    REQUIRE(estimate);
    CHECK(DistanceM(estimate->position, row.position) < 0.001);
    CHECK(estimate->accuracy_m == Approx(row.accuracy_m));
  }
  CHECK_FALSE(EstimateLocation({}));
}

TEST_CASE("absurd models and many stations still give a finite answer") {
  std::vector<Sighting> sightings;
  for (int i = 0; i < 5000; ++i) {
    sightings.push_back({{{i % 180 - 90.0, i % 360 - 180.0}, {100, 1, 30}, -110}, -140.0});
  }
  const auto estimate = EstimateLocation(sightings);
  REQUIRE(estimate);
  CHECK(IsOnEarth(estimate->position));
  CHECK(estimate->accuracy_m <= kesu_server::kHalfCircumferenceM);
}

TEST_CASE("descriptions of the nearest listed place") {
  TestWorld world;
  ReverseGeocoder geocoder(&world.places);
  // A degree of a great circle is 111.195 km.
  const struct {
    std::string description;
    LatLng position;
    /// Behind "nearest listed place: "; empty for none.
    const char* sentence;
  } cases[] = {
      {"at the very place", {38.71667, -9.13333}, "Lisbon, Portugal (less than 1 km away)"},
      {"north of it", {39.71667, -9.13333}, "Lisbon, Portugal (111 km south)"},
      {"just within 300 km", {38.71667 + 2.697, -9.13333}, "Lisbon, Portugal (300 km south)"},
      {"just beyond", {38.71667 + 2.699, -9.13333}, ""},
      {"a place named like its country", {-18.13333, 179.41667}, "Fiji (106 km west)"},
      {"east of the antimeridian", {-18.13333, -179.58333}, "Fiji (211 km west)"},
      {"on the antimeridian", {-14.0, 180}, "West End, Eastland (11 km east)"},
      {"at the north pole", {90, 12}, "Far North, Ice (56 km south)"},
      {"at the south pole", {-90, -12}, "Far South, Ice (111 km north)"},
  };
  for (const auto& row : cases) {
    CAPTURE(row.description);
    const auto description = geocoder.Describe(row.position);
    const std::string place = row.sentence;
    CHECK(description.has_value() == !place.empty());
    if (description) CHECK(description->sentence == "nearest listed place: " + place);
  }
}

TEST_CASE("the search finds what comparing with every place finds") {
  // A place on each crossing of a coarse grid, poles and antimeridian included.
  std::string table;
  std::vector<LatLng> grid;
  for (int latitude = -90; latitude <= 90; latitude += 6) {
    for (int longitude = -180; longitude < 180; longitude += 9) {
      grid.push_back({static_cast<double>(latitude), static_cast<double>(longitude)});
      table += std::to_string(latitude) + "\t" + std::to_string(longitude) + "\tXX\tX\tX\tX\n";
    }
  }
  kesu_server::PlaceIndex places;
  std::string error;
  REQUIRE_MESSAGE(places.Load({"grid", table}, &error), error);
  for (int i = 0; i < 41 * 33; ++i) {
    const LatLng position = {-90 + i / 33 * 4.5, -180 + i % 33 * 11.25};
    CAPTURE(position.latitude);
    CAPTURE(position.longitude);
    double nearest_m = kesu_server::kHalfCircumferenceM;
    for (const LatLng& place : grid) nearest_m = std::min(nearest_m, DistanceM(position, place));
    const auto found = places.Nearest(position, ReverseGeocoder::kRadiusM);
    CHECK(found.has_value() == (nearest_m <= ReverseGeocoder::kRadiusM));
    if (found) CHECK(found->distance_m == nearest_m);
  }
}

TEST_CASE("directions") {
  constexpr LatLng kHere = {50, 10};
  CHECK(CompassDirection(kHere, {51, 10}) == "north");
  CHECK(CompassDirection(kHere, {50.64, 11}) == "north-east");
  CHECK(CompassDirection(kHere, {50, 11}) == "east");
  CHECK(CompassDirection(kHere, {49.36, 11}) == "south-east");
  CHECK(CompassDirection(kHere, {49.36, 9}) == "south-west");
  CHECK(CompassDirection(kHere, {50.64, 9}) == "north-west");
}

struct Question {
  std::optional<int> cell_id = {};
  std::optional<int> access_point_dbm = {};
  std::optional<LatLng> fix = {};
  std::optional<int> fix_accuracy_m = {};
  /// Of reverse geocoding, which nothing else is asked for than.
  std::optional<bool> wants_features = {};
};

void SetCell(int cell_id, lbs::GCell* cell) {
  cell->set_mcc(1);
  cell->set_mnc(1);
  cell->set_area_code(1);
  cell->set_cell_id(cell_id);
  cell->set_signal_strength_dbm(-80);
}

void AddAccessPoint(const char* mac_address, int dbm, GLocRequestElement* element) {
  lbs::GWifiDevice* const device = element->mutable_wifiprofile()->add_wifidevices();
  device->set_mac_address(mac_address);
  device->set_signal_strength_dbm(dbm);
}

void Fill(const Question& question, GLocRequestElement* element) {
  const auto& [cell_id, access_point_dbm, fix, fix_accuracy_m, wants_features] = question;
  if (cell_id) SetCell(*cell_id, element->mutable_cellularprofile()->mutable_primarycell());
  if (access_point_dbm) AddAccessPoint("00:00:5e:00:53:0a", *access_point_dbm, element);
  if (fix) kesu_server::WritePosition(*fix, element->mutable_location()->mutable_latlng());
  if (fix_accuracy_m) element->mutable_location()->set_accuracy_m(*fix_accuracy_m);
  if (wants_features) element->mutable_geocode()->set_want_features(*wants_features);
}

/// "STATUS LATITUDE,LONGITUDE within METRES FEATURE|FEATURE|", less what is not there.
std::string Describe(const lbs::GLocReplyElement& answer) {
  std::ostringstream out;
  out << answer.status();
  if (!answer.has_location()) return out.str();
  const lbs::GLocation& location = answer.location();
  out << " " << location.latlng().latitude_e7() / 1e7 << ",";
  out << location.latlng().longitude_e7() / 1e7;
  if (location.has_accuracy_m()) out << " within " << location.accuracy_m();
  if (location.feature_size() > 0) out << " ";
  for (int i = 0; i < location.feature_size(); ++i)
    out << TextOf(location.feature(i).name()) << "|";
  return out.str();
}

TEST_CASE("what is asked, and what is answered") {
  const std::optional<LatLng> here = {{38.64, -9.0}};
  const std::string near_lisbon =
      "Lisbon|Lisbon, Portugal|nearest listed place: Lisbon, Portugal (14 km north-west)|";
  const std::string near_fiji = "Fiji|nearest listed place: Fiji (46 km east)|";
  const struct {
    std::string description;
    Question question;
    std::string answer;
  } cases[] = {
      {"an unknown cell", {.cell_id = 9999}, "1"},
      // Too strong and too weak to be measured: 316.2 m, at the edge of what can be received.
      {"a signal too strong", {.access_point_dbm = 0}, "0 10,20.001 within 502"},
      {"a signal too weak", {.access_point_dbm = -141}, "0 10,20.001 within 502"},
      {"the handset's own fix", {{}, {}, here, 5000}, "0 38.64,-9 within 5000 " + near_lisbon},
      {"a fix beside a cell", {.cell_id = 1001, .fix = here}, "0 38.64,-9 " + near_lisbon},
      {"a fix better than it", {1001, {}, here, 158}, "0 38.64,-9 within 158 " + near_lisbon},
      {"a fix worse than it", {1001, {}, here, 159}, "0 10,20 within 159"},
      {"what is here?", {.fix = here, .wants_features = true}, "0 38.64,-9 " + near_lisbon},
      {"features not wanted", {.fix = here, .wants_features = false}, "0 38.64,-9"},
      // A place named like its country has one name less.
      {"Fiji", {.fix = {{-18, 178}}, .wants_features = true}, "0 -18,178 " + near_fiji},
      {"no place near", {.fix = {{0, -30}}, .wants_features = true}, "1"},
      {"not on earth", {.fix = {{90.0000001, 0}}, .wants_features = true}, "2"},
      {"no longitude on earth", {.fix = {{0, -180.0000001}}}, "2"},
      {"a location without a position", {.fix_accuracy_m = 1}, "2"},
      {"no location to describe", {.wants_features = true}, "2"},
  };
  // All in one request, whose answers have to come in its order.
  TestWorld world;
  lbs::GLocRequest request;
  for (const auto& row : cases) Fill(row.question, request.add_requestelements());
  lbs::GLocReply reply;
  world.service.Answer(request, &reply);
  CHECK(reply.status() == kesu_server::kFound);
  REQUIRE(reply.replyelements_size() == std::size(cases));
  for (int i = 0; i < reply.replyelements_size(); ++i) {
    CAPTURE(cases[i].description);
    CHECK(Describe(reply.replyelements(i)) == cases[i].answer);
  }
}

TEST_CASE("cells and access points are weighed together, each once; earlier cells do not count") {
  TestWorld world;
  lbs::GLocRequest request;
  GLocRequestElement* const element = request.add_requestelements();
  SetCell(1002, element->mutable_cellularprofile()->add_historicalcells());
  lbs::GLocReply nothing;
  world.service.Answer(request, &nothing);
  CHECK(nothing.status() == kesu_server::kNothingFound);

  Fill({.cell_id = 1001, .access_point_dbm = -80}, element);
  SetCell(1002, element->mutable_cellularprofile()->add_neighbors());
  SetCell(1002, element->mutable_cellularprofile()->add_neighbors());
  AddAccessPoint("00005E00530A", -40, element);
  AddAccessPoint("not a MAC address", -40, element);
  lbs::GLocReply reply;
  world.service.Answer(request, &reply);
  CHECK(Describe(reply.replyelements(0)) == "0 10,20.001 within 159");
}

TEST_CASE("a request that is no request message, or multipart, is refused") {
  TestWorld world;
  CHECK(world.service.Answer({7, "g:loc/ql", 1, "", false}).status == 200);
  // A profile of 5 bytes, of which there is one.
  CHECK(world.service.Answer({7, "g:loc/ql", 1, "\x0A\x05\x42", false}).status == 400);
  CHECK(world.service.Answer({7, "g:loc/ql", 1, "", true}).status == 400);
}

TEST_CASE("the address and the place of a feature; a platform key is issued once, then kept") {
  TestWorld world;
  lbs::GLocRequest request;
  lbs::GLocReply reply;
  world.service.Answer(request, &reply);
  CHECK(reply.has_status());
  CHECK(TextOf(reply.platform_key()) == "issued");

  request.mutable_platformprofile()->set_platform_key("mine");
  Fill({.fix = {{38.64, -9.0}}, .wants_features = true}, request.add_requestelements());
  world.service.Answer(request, &reply);
  CHECK(TextOf(reply.platform_key()) == "mine");
  const lbs::GFeature& feature = reply.replyelements(0).location().feature(1);
  CHECK(feature.center().latitude_e7() == 387'166'700);
  CHECK(feature.center().longitude_e7() == -91'333'300);
  REQUIRE(feature.address().formattedaddressline_size() == 1);
  CHECK(TextOf(feature.address().formattedaddressline(0)) == "Lisbon, Portugal");
  REQUIRE(feature.address().component_size() == 2);
  CHECK(TextOf(feature.address().component(0).name()) == "Lisbon");
  CHECK(TextOf(feature.address().component(1).name()) == "Portugal");
}

}  // namespace
