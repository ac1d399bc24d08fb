#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "server/estimate/location_estimator.h"
#include "server/simulation/town.h"

using namespace kesu_server;

namespace {

Sighting Seen(const LatLng& station, std::optional<double> dbm) {
  // 100 m away at -80 dBm.
  return {{station, {-40, 2, 6}, -90}, dbm};
}

}  // namespace

TEST_CASE("Devices of the invented town are located, and as well as is said") {
  constexpr int kDevices = 400;
  struct Case {
    const char* what;
    bool are_cells_seen;
    bool are_access_points_seen;
    double shared_shadowing;
    double median_below_m;
  };
  for (const Case& it : {Case{"all", true, true, 0.25, 14}, Case{"independent", true, true, 0, 15},
                         Case{"cells only", true, false, 0.25, 260}}) {
    const std::string what = it.what;
    CAPTURE(what);
    const Town town(
        {.moved_within = 0.03, .moved_away = 0.02, .shared_shadowing = it.shared_shadowing});
    Random random(7);
    int near = 0;
    int covered = 0;
    for (int i = 0; i < kDevices; ++i) {
      const PlanePoint truth = town.Indoors(&random);
      std::vector<Sighting> sightings;
      for (const Reception& reception : town.Observe(truth, &random)) {
        const Transmitter& sender = town.transmitters()[reception.transmitter];
        if (!(sender.is_cell ? it.are_cells_seen : it.are_access_points_seen)) continue;
        sightings.push_back({sender.listed, reception.dbm, {}, sender.is_cell});
      }
      const std::optional<Estimate> estimate = EstimateLocation(sightings);
      REQUIRE(estimate);
      const double error_m = DistanceM(estimate->position, town.Position(truth));
      if (error_m < it.median_below_m) ++near;
      if (error_m <= estimate->accuracy_m) ++covered;
    }
    // More than half; the standard deviation of what should be 95 in 100 is 1.1.
    CHECK(near > kDevices / 2);
    CHECK(covered > kDevices * 0.92);
    CHECK(covered < kDevices * 0.98);
  }
}

TEST_CASE("Of two stations that contradict each other either may be right") {
  const LatLng here = {10, 20};
  const LatLng far = {10, 21};
  const Estimate estimate = *EstimateLocation({Seen(here, -60), Seen(far, -80)});
  CHECK(DistanceM(estimate.position, here) < 100);
  CHECK(DistanceM(estimate.position, far) < estimate.accuracy_m);
  // A third one decides.
  CHECK(EstimateLocation({Seen(here, -60), Seen(far, -80), Seen(here, -70)})->accuracy_m < 200);
}

TEST_CASE("What was seen long ago may be anywhere around, and counts less") {
  const LatLng here = {10, 20};
  const LatLng there = {10, 20.002};
  std::vector<Sighting> sightings = {Seen(here, -80), Seen(there, -80)};
  const double fresh_m = EstimateLocation(sightings)->accuracy_m;
  sightings[1].age_s = 600;
  const Estimate of_old = *EstimateLocation(sightings);
  CHECK(DistanceM(of_old.position, here) < DistanceM(of_old.position, there));
  sightings[0].age_s = 600;
  CHECK(EstimateLocation(sightings)->accuracy_m > 3 * fresh_m);
}

TEST_CASE("Whatever is seen, the estimate is on earth") {
  Random random(11);
  for (int i = 0; i < 300; ++i) {
    // Models as extreme as the tables allow, stations around the world, at the poles, at one point.
    const double spread = random.Chance(0.5) ? 1 : random.Uniform(0, 1e-6);
    const LatLng centre = {random.Chance(0.3) ? 90 : random.Uniform(-90, 90),
                           random.Chance(0.3) ? 180 : random.Uniform(-180, 180)};
    std::vector<Sighting> sightings(static_cast<std::size_t>(random.Uniform(1, 300)));
    for (Sighting& sighting : sightings) {
      sighting.station = {{centre.latitude * (1 - spread * random.Uniform(0, 2)),
                           centre.longitude * (1 - spread * random.Uniform(0, 2))},
                          {random.Uniform(-100, 100), random.Uniform(1, 10),
                           random.Chance(0.2) ? 0 : random.Uniform(0, 30)},
                          -110};
      if (random.Chance(0.8)) sighting.received_dbm = random.Uniform(-140, -1);
      if (random.Chance(0.2)) sighting.age_s = random.Uniform(-1e9, 1e18);
      if (random.Chance(0.2)) sighting.station.position_error_m = random.Uniform(0, 1e7);
      sighting.is_cell = random.Chance(0.3);
    }
    const std::optional<Estimate> estimate = EstimateLocation(sightings);
    REQUIRE(estimate);
    CHECK(IsOnEarth(estimate->position));
    CHECK(estimate->accuracy_m >= 1);
    CHECK(estimate->accuracy_m <= kHalfCircumferenceM);
  }
}
