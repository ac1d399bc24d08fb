#include "server/learn/learn.h"

#include <cstdint>
#include <optional>
#include <string_view>

#include <doctest/doctest.h>

using namespace kesu_server;

namespace {

constexpr std::int64_t kNow = 1'800'000'000;
constexpr std::int64_t kDayS = 86'400;

StationKey AccessPoint(std::string_view address) {
  return AccessPointKey(address).value_or(StationKey());
}

Lesson At(double latitude, double longitude) {
  return {AccessPoint("00005e005301"), {latitude, longitude}, 10};
}

}  // namespace

TEST_CASE("The weight of a lesson is the product of four factors") {
  const StationKey wifi = AccessPoint("00005e005301");
  const StationKey cell = CellKey({1, 1, 1, 1}).value_or(StationKey());
  // Half way, by the logarithm: 10 * sqrt(20), 10 * sqrt(100), 2 * sqrt(10), 5 * sqrt(10).
  const struct {
    Lesson lesson;
    double weight;
  } kCases[] = {
      {{wifi, {}, 0}, 1},
      {{wifi, {}, 10, 2, 5, -75}, 1},
      {{wifi, {}, 44.72136}, 0.5},
      {{wifi, {}, 199.999}, 0},
      {{wifi, {}, 5000}, 0},
      {{cell, {}, 100, 0, 0, -95}, 0.5},
      {{cell, {}, 1000}, 0},
      {{wifi, {}, 5, 6.324555}, 0.5},
      {{wifi, {}, 5, 20}, 0},
      {{wifi, {}, 5, 0, 15.811388}, 0.5},
      {{wifi, {}, 5, 0, 50}, 0},
      {{wifi, {}, 44.72136, 6.324555, 15.811388, -60}, 1.25},
      {{wifi, {}, 5, 0, 0, -140}, 0.05},
      {{wifi, {}, 5, 0, 0, -1}, 10},
  };
  for (const auto& it : kCases) {
    CHECK(WeightOf(it.lesson) == doctest::Approx(it.weight).epsilon(1e-4));
  }
}

TEST_CASE("What may be learned") {
  const struct {
    const char* address;
    std::optional<std::string_view> name;
    bool may;
  } kCases[] = {
      {"00005e005301", std::nullopt, true},
      {"00005e005301", "home", true},
      {"00005e005301", "home_nomap", false},
      {"00005e005301", "HOME_NoMap", false},
      {"00005e005301", "_nomap_", true},
      {"00005e005301", "", false},
      {"00005e005301", std::string_view("\0\0", 2), false},
      {"02005e005301", std::nullopt, false},
      {"01005e005301", "home", false},
  };
  for (const auto& it : kCases) CHECK(MayBeLearned(AccessPoint(it.address), it.name) == it.may);
}

TEST_CASE("A station is at the weighted mean, and its radius holds all it was seen at") {
  LearnedStation station;
  station.key = AccessPoint("00005e005301");
  Lesson strong = At(0, 179.999);
  strong.received_dbm = -75 + 15 * 0.47712125;  // 3 times the average
  Learn(strong, kNow, &station);
  CHECK(station.radius_m == 0);
  Learn(At(0, -179.997), kNow + 60, &station);
  CHECK(station.weight_sum == doctest::Approx(4));
  // A quarter of the way of 0.004 degrees: onto the antimeridian.
  CHECK(DistanceM(station.position, {0, 180}) < 0.1);
  CHECK(station.radius_m == doctest::Approx(0.003 * 111'195).epsilon(0.001));
  CHECK(station.west == 179.999);
  CHECK(station.east == -179.997);
  CHECK(station.first_seen == kNow);
  CHECK(station.last_seen == kNow + 60);
  // What is well known moves little.
  station.weight_sum = 1e6;
  Learn(At(0, 179.999), kNow, &station);
  CHECK(DistanceM(station.position, {0, 180}) < 0.11);
}

TEST_CASE("A station that is seen too far apart is blocked, then for good") {
  LearnedStation station;
  station.key = AccessPoint("00005e005301");
  Learn(At(10, 20), kNow, &station);
  // 4.9 and 5.1 km away.
  Learn(At(10.044, 20), kNow, &station);
  CHECK(station.times_blocked == 0);
  Learn(At(10.046, 20), kNow, &station);
  CHECK(station.times_blocked == 1);
  CHECK(station.weight_sum == 0);
  CHECK(station.blocked_until == kNow + 2 * kDayS);
  Learn(At(10, 20), kNow + 2 * kDayS - 1, &station);
  CHECK(station.weight_sum == 0);
  const auto move = [&](std::int64_t time) {
    Learn(At(10, 20), time, &station);
    Learn(At(11, 20), time, &station);
  };
  // In its second month it may be blocked twice, but not three times.
  move(kNow + 31 * kDayS);
  CHECK(station.blocked_until == kNow + 33 * kDayS);
  move(kNow + 40 * kDayS);
  CHECK(station.times_blocked == 3);
  CHECK(station.blocked_until == kBlockedForGood);
}
