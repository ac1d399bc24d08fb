#include <algorithm>
#include <cmath>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
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

/// A small world to ask the server about.
class TestWorld {
 public:
  TestWorld() {
    std::string error;
    REQUIRE(places.Load({"", kPlaces}, &error));
    REQUIRE(stations.Load({"", kCells}, {"", kAccessPoints}, &error));
  }

  kesu_server::PlaceIndex places;
  kesu_server::StationIndex stations;
  kesu_server::LocationService service{&places, &stations, [] { return std::string("key"); }};

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
    const int row = i / 33;
    const LatLng position = {-90 + row * 4.5, -180 + i % 33 * 11.25};
    CAPTURE(position.latitude);
    CAPTURE(position.longitude);
    double nearest_m = kesu_server::kHalfCircumferenceM;
    for (const LatLng& place : grid) nearest_m = std::min(nearest_m, DistanceM(position, place));
    const auto found = places.Nearest(position, ReverseGeocoder::kRadiusM);
    CHECK(found.has_value() == (nearest_m <= ReverseGeocoder::kRadiusM));
    if (found) CHECK(found->distance_m == nearest_m);
  }
}

TEST_CASE("directions between the four") {
  CHECK(CompassDirection({50, 10}, {50.64, 11}) == "north-east");
  CHECK(CompassDirection({50, 10}, {49.36, 11}) == "south-east");
  CHECK(CompassDirection({50, 10}, {49.36, 9}) == "south-west");
  CHECK(CompassDirection({50, 10}, {50.64, 9}) == "north-west");
}

struct Question {
  std::vector<int> cell_ids = {};
  std::vector<std::pair<const char*, int>> access_points = {};
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

void Fill(const Question& question, lbs::GLocRequestElement* element) {
  for (const int cell_id : question.cell_ids) {
    lbs::GCellularProfile* const profile = element->mutable_cellularprofile();
    SetCell(cell_id,
            profile->has_primarycell() ? profile->add_neighbors() : profile->mutable_primarycell());
  }
  for (const auto& [mac_address, dbm] : question.access_points) {
    lbs::GWifiDevice* const device = element->mutable_wifiprofile()->add_wifidevices();
    device->set_mac_address(mac_address);
    device->set_signal_strength_dbm(dbm);
  }
  if (question.fix) {
    kesu_server::WritePosition(*question.fix, element->mutable_location()->mutable_latlng());
  }
  if (question.fix_accuracy_m) {
    element->mutable_location()->set_accuracy_m(*question.fix_accuracy_m);
  }
  if (question.wants_features)
    element->mutable_geocode()->set_want_features(*question.wants_features);
}

std::ostream& operator<<(std::ostream& out, const lbs::GLatLng& position) {
  return out << " " << position.latitude_e7() / 1e7 << "," << position.longitude_e7() / 1e7;
}

std::ostream& operator<<(std::ostream& out, const lbs::GAddress& address) {
  for (int i = 0; i < address.formattedaddressline_size(); ++i) {
    out << " '" << TextOf(address.formattedaddressline(i)) << "'";
  }
  for (int i = 0; i < address.component_size(); ++i) {
    out << " " << TextOf(address.component(i).name());
  }
  return out;
}

/// All that there is.
std::string Describe(const lbs::GLocReplyElement& answer) {
  std::ostringstream out;
  out << answer.status();
  const lbs::GLocation& location = answer.location();
  if (answer.has_location()) out << location.latlng();
  if (location.has_accuracy_m()) out << " within " << location.accuracy_m();
  for (int i = 0; i < location.feature_size(); ++i) {
    const lbs::GFeature& feature = location.feature(i);
    out << "; " << TextOf(feature.name()) << feature.center() << feature.address();
  }
  return out.str();
}

TEST_CASE("what is asked, and what is answered") {
  const std::optional<LatLng> here = {{38.64, -9.0}};
  const std::string near_lisbon =
      "; Lisbon 38.7167,-9.13333; Lisbon, Portugal 38.7167,-9.13333 'Lisbon, Portugal' Lisbon "
      "Portugal; nearest listed place: Lisbon, Portugal (14 km north-west) 38.7167,-9.13333";
  const struct {
    std::string description;
    Question question;
    std::string answer;
  } cases[] = {
      {"two cells and an access point, weighed together, each once",
       {{1001, 1002, 1002},
        {{"00:00:5e:00:53:0a", -80}, {"00005E00530A", -40}, {"not a MAC address", -40}}},
       "0 10,20.001 within 159"},
      // Too strong and too weak to be measured: 316.2 m, at the edge of what can be received.
      {"a signal too strong", {{}, {{"00:00:5e:00:53:0a", 0}}}, "0 10,20.001 within 502"},
      {"a signal too weak", {{}, {{"00:00:5e:00:53:0a", -141}}}, "0 10,20.001 within 502"},
      {"a fix beside a cell", {.cell_ids = {1001}, .fix = here}, "0 38.64,-9" + near_lisbon},
      {"a fix better than it", {{1001}, {}, here, 158}, "0 38.64,-9 within 158" + near_lisbon},
      {"a fix worse than it", {{1001}, {}, here, 159}, "0 10,20 within 159"},
      {"features not wanted", {.fix = here, .wants_features = false}, "0 38.64,-9"},
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

TEST_CASE("cells of the past do not count, and no, multipart or malformed questions") {
  TestWorld world;
  lbs::GLocRequest request;
  lbs::GLocReply reply;
  world.service.Answer(request, &reply);
  CHECK((reply.has_status() && reply.status() == kesu_server::kFound));
  SetCell(1002, request.add_requestelements()->mutable_cellularprofile()->add_historicalcells());
  world.service.Answer(request, &reply);
  CHECK(reply.status() == kesu_server::kNothingFound);
  CHECK(world.service.Answer({7, "g:loc/ql", 1, "", true}).status == 400);
  // A profile of 5 bytes, of which there is one.
  CHECK(world.service.Answer({7, "g:loc/ql", 1, "\x0A\x05\x42", false}).status == 400);
}

}  // namespace
