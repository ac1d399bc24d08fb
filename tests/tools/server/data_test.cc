#include <string>

#include <doctest/doctest.h>

#include "tools/kesu-server/data_set.h"
#include "tools/kesu-server/place_index.h"
#include "tools/kesu-server/station_index.h"

namespace {

using kesu_server::BuiltInData;
using kesu_server::DataSet;

/// Empty when the data is good.
std::string ErrorOf(const DataSet& data) {
  kesu_server::PlaceIndex places;
  kesu_server::StationIndex stations;
  std::string error;
  const bool ok =
      places.Load(data.places, &error) && stations.Load(data.cells, data.access_points, &error);
  CHECK(ok == error.empty());
  return error;
}

TEST_CASE("the built-in data is that of the data folder, and good") {
  std::string error;
  const auto folder = kesu_server::ReadDataDirectory(KESU_DATA, &error);
  REQUIRE_MESSAGE(folder, error);
  CHECK(ErrorOf(BuiltInData()).empty());
  CHECK((folder->places.text == BuiltInData().places.text));
  CHECK((folder->cells.text == BuiltInData().cells.text));
  CHECK((folder->access_points.text == BuiltInData().access_points.text));
  CHECK_FALSE(kesu_server::ReadDataDirectory("/nowhere", &error));
  CHECK(error.find("/nowhere/places.tsv") != std::string::npos);
}

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
    const std::string error =
        ErrorOf({{"places", row.places}, {"cells", row.cells}, {"points", row.access_points}});
    CHECK_MESSAGE(error.starts_with(row.error), error);
  }
}

}  // namespace
