#include "tools/kesu-server/reverse_geocoder.h"

#include <algorithm>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "tools/server/test_world.h"

namespace {

using kesu_server::CompassDirection;
using kesu_server::LatLng;
using kesu_server::ReverseGeocoder;

TEST_CASE("descriptions of the nearest listed place") {
  kesu_test::TestWorld world;
  ReverseGeocoder geocoder(&world.places);
  struct Case {
    const char* description = nullptr;
    LatLng position;
    const char* sentence = nullptr;
  };
  // A degree of a great circle is 111.195 km.
  constexpr Case kCases[] = {
      {"at the very place",
       {38.71667, -9.13333},
       "nearest listed place: Lisbon, Portugal (less than 1 km away)"},
      {"north of it",
       {39.71667, -9.13333},
       "nearest listed place: Lisbon, Portugal (111 km south)"},
      {"a place named like its country",
       {-18.13333, 179.41667},
       "nearest listed place: Fiji (106 km west)"},
      {"from the east across the antimeridian",
       {-18.13333, -179.58333},
       "nearest listed place: Fiji (211 km west)"},
      {"from the west across the antimeridian",
       {-14.0, 179.1},
       "nearest listed place: West End, Eastland (108 km east)"},
      {"on the antimeridian",
       {-14.0, 180},
       "nearest listed place: West End, Eastland (11 km east)"},
      {"on the antimeridian, written the other way",
       {-14.0, -180},
       "nearest listed place: West End, Eastland (11 km east)"},
      {"beyond the north pole", {89.5, -80}, "nearest listed place: Far North, Ice (111 km north)"},
      {"at the north pole", {90, 12}, "nearest listed place: Far North, Ice (56 km south)"},
      {"at the south pole", {-90, -12}, "nearest listed place: Far South, Ice (111 km north)"},
      {"just within 300 km",
       {38.71667 + 2.697, -9.13333},
       "nearest listed place: Lisbon, Portugal (300 km south)"},
  };
  for (const Case& c : kCases) {
    CAPTURE(c.description);
    const auto description = geocoder.Describe(c.position);
    REQUIRE(description);
    CHECK(description->sentence == c.sentence);
  }
  CHECK_FALSE(geocoder.Describe({0, 0}));
  CHECK_FALSE(geocoder.Describe({38.71667 + 2.699, -9.13333}));
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
  for (int row = 0; row <= 40; ++row) {
    for (int column = 0; column <= 32; ++column) {
      const LatLng position = {-90 + row * 4.5, -180 + column * 11.25};
      CAPTURE(position.latitude);
      CAPTURE(position.longitude);
      double nearest_m = kesu_server::kHalfCircumferenceM;
      for (const LatLng& place : grid) {
        nearest_m = std::min(nearest_m, DistanceM(position, place));
      }
      const auto found = places.Nearest(position, ReverseGeocoder::kRadiusM);
      CHECK(found.has_value() == (nearest_m <= ReverseGeocoder::kRadiusM));
      if (found) CHECK(found->distance_m == nearest_m);
    }
  }
}

TEST_CASE("directions") {
  constexpr LatLng kHere = {50, 10};
  CHECK(CompassDirection(kHere, {51, 10}) == "north");
  CHECK(CompassDirection(kHere, {50.64, 11}) == "north-east");
  CHECK(CompassDirection(kHere, {50, 11}) == "east");
  CHECK(CompassDirection(kHere, {49.36, 11}) == "south-east");
  CHECK(CompassDirection(kHere, {49, 10}) == "south");
  CHECK(CompassDirection(kHere, {49.36, 9}) == "south-west");
  CHECK(CompassDirection(kHere, {50, 9}) == "west");
  CHECK(CompassDirection(kHere, {50.64, 9}) == "north-west");
}

}  // namespace
