#include "tools/kesu-server/location_estimator.h"

#include <cmath>
#include <vector>

#include <doctest/doctest.h>

namespace {

using doctest::Approx;
using kesu_server::EstimateLocation;
using kesu_server::LatLng;
using kesu_server::Sighting;

/// A station that is 100 m away at -80 dBm and 10 m at -60 dBm; one standard deviation of the
/// signal doubles a distance.
Sighting Seen(const LatLng& position, std::optional<double> received_dbm) {
  return {{position, {-40, 2, 20 * std::log10(2.0)}, -90}, received_dbm};
}

constexpr double kDegreeM = 6'371'000 * 3.14159265358979 / 180;

TEST_CASE("nothing seen, nothing known") {
  CHECK_FALSE(EstimateLocation({}));
}

TEST_CASE("estimates") {
  struct Case {
    const char* description;
    std::vector<Sighting> sightings;
    LatLng position;
    double accuracy_m;
  };
  const Case kCases[] = {
      {"one station, 100 m away", {Seen({10, 20}, -80)}, {10, 20}, 200},
      {"one station, signal not stated: at the edge of its range",
       {Seen({10, 20}, std::nullopt)},
       {10, 20},
       2 * 316.227766},
      {"an impossibly strong signal: no nearer than a metre", {Seen({10, 20}, -1)}, {10, 20}, 2},
      {"two equal stations: their middle",
       {Seen({0, 20}, -80), Seen({0.002, 20}, -80)},
       {0.001, 20},
       200},
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
  for (const Case& c : kCases) {
    CAPTURE(c.description);
    const auto estimate = EstimateLocation(c.sightings);
    REQUIRE(estimate);
    CHECK(DistanceM(estimate->position, c.position) < 0.001);
    CHECK(estimate->accuracy_m == Approx(c.accuracy_m));
  }
}

TEST_CASE("the receiver is within the accuracy when every signal is as the model has it") {
  // Four stations around a receiver at 0, 0, each received exactly as its distance demands.
  const LatLng receiver;
  std::vector<Sighting> sightings;
  for (const LatLng& offset_m :
       {LatLng{30, 40}, LatLng{-120, 10}, LatLng{5, 90}, LatLng{60, -80}}) {
    const LatLng position = {offset_m.latitude / kDegreeM, offset_m.longitude / kDegreeM};
    const double distance_m = DistanceM(receiver, position);
    sightings.push_back(Seen(position, -40 - 20 * std::log10(distance_m)));
    sightings.back().station.model.shadowing_db = 0;
    const auto estimate = EstimateLocation(sightings);
    REQUIRE(estimate);
    CHECK(DistanceM(receiver, estimate->position) <= estimate->accuracy_m * 1.000001);
  }
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

}  // namespace
