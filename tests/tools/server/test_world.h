#ifndef TOOLS_SERVER_TEST_WORLD_H_
#define TOOLS_SERVER_TEST_WORLD_H_

#include <string>

#include <doctest/doctest.h>

#include "tools/kesu-server/location_service.h"
#include "tools/kesu-server/place_index.h"
#include "tools/kesu-server/station_index.h"

namespace kesu_test {

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
  static constexpr char kAccessPoints[] =
      "00-00-5E-00-53-0A\t10\t20.001\t-40\t2\t4\n"
      "00-00-5E-00-53-0B\t-33.87\t151.21\t-40\t2\t4\n";
};

}  // namespace kesu_test

#endif  // TOOLS_SERVER_TEST_WORLD_H_
