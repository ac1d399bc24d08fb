#include <string>

#include <doctest/doctest.h>

#include "tools/kesu-server/data_set.h"
#include "tools/kesu-server/place_index.h"
#include "tools/kesu-server/station_index.h"

namespace {

using kesu_server::PlaceIndex;
using kesu_server::StationIndex;

TEST_CASE("the built-in data") {
  const kesu_server::DataSet data = kesu_server::BuiltInData();
  PlaceIndex places;
  StationIndex stations;
  std::string error;
  CHECK_MESSAGE(places.Load(data.places, &error), error);
  CHECK_MESSAGE(stations.Load(data.cells, data.access_points, &error), error);
  const auto lisbon = places.Nearest({38.71, -9.14}, 10'000);
  REQUIRE(lisbon);
  CHECK(lisbon->place.name == "Lisbon");
  CHECK(stations.Find(kesu_server::CellKey(1, 1, 1, 1001)));
  CHECK(stations.Find(kesu_server::AccessPointKey("00-00-5E-00-53-00")));
}

TEST_CASE("faults in the tables are named with file and line") {
  struct Case {
    const char* places;
    const char* cells;
    const char* access_points;
    const char* error;
  };
  constexpr Case kCases[] = {
      {"#\n\n91\t0\tXX\tX\tX\tX\n", "", "", "places:3: \"91\" in column 1 is no number"},
      {"0\tnan\tXX\tX\tX\tX", "", "", "places:1: \"nan\" in column 2 is no number"},
      {"0\t0 \tXX\tX\tX\tX", "", "", "places:1: \"0 \" in column 2 is no number"},
      {"0\t0\tXX\tX\tX\r\n", "", "", "places:1: 5 columns instead of 6"},
      {"", "1\t1\t1\t1x\t0\t0\t0\t2\t4\n", "", "cells:1: \"1x\" in column 4 is no whole number"},
      {"", "1\t1\t1\t1\t0\t0\t0\t2\t4\n1\t1\t1\t1\t5\t5\t0\t2\t4\n", "",
       "cells:2: the station is listed twice"},
      {"", "1\t1\t1\t1\t0\t0\t0\t0\t4\n", "", "cells:1: \"0\" in column 8 is no number"},
      {"", "", "00-00-5E-00-53\t0\t0\t0\t2\t4\n",
       "access points:1: \"00-00-5E-00-53\" is no MAC address"},
  };
  for (const Case& c : kCases) {
    CAPTURE(c.error);
    PlaceIndex places;
    StationIndex stations;
    std::string error;
    CHECK_FALSE((places.Load({"places", c.places}, &error) &&
                 stations.Load({"cells", c.cells}, {"access points", c.access_points}, &error)));
    CHECK_MESSAGE(error.starts_with(c.error), error);
  }
}

TEST_CASE("a directory without the files") {
  std::string error;
  CHECK_FALSE(kesu_server::ReadDataDirectory("/nowhere", &error));
  CHECK(error.find("/nowhere/places.tsv") != std::string::npos);
}

}  // namespace
