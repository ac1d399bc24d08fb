#include <string>

#include <doctest/doctest.h>

#include "tools/kesu-server/place_index.h"
#include "tools/kesu-server/station_index.h"

namespace {

TEST_CASE("faults in the tables are named with file and line") {
  const struct {
    const char* places;
    const char* cells;
    const char* access_points;
    const char* error;
  } cases[] = {
      {"#\n\n91\t0\tXX\tX\tX\tX\n", "", "", "places:3: \"91\" in column 1 is no number"},
      {"0\tnan\tXX\tX\tX\tX", "", "", "places:1: \"nan\" in column 2 is no number"},
      {"0\t0 \tXX\tX\tX\tX", "", "", "places:1: \"0 \" in column 2 is no number"},
      {"0\t0\tXX\tX\tX\r\n", "", "", "places:1: 5 columns instead of 6"},
      {"", "1\t1\t1\t1x\t0\t0\t0\t2\t4\n", "", "cells:1: \"1x\" in column 4 is no whole number"},
      {"", "1\t1\t1\t1\t0\t0\t0\t2\t4\n1\t1\t1\t1\t5\t5\t0\t2\t4\n", "",
       "cells:2: the station is listed twice"},
      {"", "1\t1\t1\t1\t0\t0\t0\t0\t4\n", "", "cells:1: \"0\" in column 8 is no number"},
      {"", "", "00-00-5E-00-53\t0\t0\t0\t2\t4\n", "points:1: \"00-00-5E-00-53\" is no MAC address"},
  };
  for (const auto& row : cases) {
    kesu_server::PlaceIndex places;
    kesu_server::StationIndex stations;
    std::string error;
    CHECK_FALSE((places.Load({"places", row.places}, &error) &&
                 stations.Load({"cells", row.cells}, {"points", row.access_points}, &error)));
    CHECK_MESSAGE(error.starts_with(row.error), error);
  }
}

}  // namespace
