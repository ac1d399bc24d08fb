#include "server/learn/learn.h"

#include <algorithm>
#include <cmath>

#include "server/geo/tangent_plane.h"

namespace kesu_server {
namespace {

constexpr double kAccessPointReachM = 5'000;
constexpr double kCellReachM = 100'000;
constexpr std::int64_t kDayS = 86'400;
constexpr std::int64_t kMonthS = 30 * kDayS;
constexpr std::int64_t kBlockS = 2 * kDayS;

/// How far east of `west` a longitude is, going east: 0 to 360 degrees.
double EastOf(double west, double longitude) {
  const double turn = std::fmod(longitude - west, 360);
  return turn < 0 ? turn + 360 : turn;
}

void ExtendBox(const LatLng& position, LearnedStation* station) {
  station->south = std::min(station->south, position.latitude);
  station->north = std::max(station->north, position.latitude);
  if (EastOf(station->west, position.longitude) <= EastOf(station->west, station->east)) return;
  if (EastOf(station->east, position.longitude) <= EastOf(position.longitude, station->west)) {
    station->east = position.longitude;
  } else {
    station->west = position.longitude;
  }
}

double FarthestCornerM(const LearnedStation& station) {
  double farthest_m = 0;
  for (const double latitude : {station.south, station.north}) {
    for (const double longitude : {station.west, station.east}) {
      farthest_m = std::max(farthest_m, DistanceM(station.position, {latitude, longitude}));
    }
  }
  return farthest_m;
}

double DiagonalM(const LearnedStation& station) {
  return std::max(DistanceM({station.south, station.west}, {station.north, station.east}),
                  DistanceM({station.north, station.west}, {station.south, station.east}));
}

void Begin(const LatLng& position, LearnedStation* station) {
  station->position = position;
  station->radius_m = 0;
  station->south = station->north = position.latitude;
  station->west = station->east = position.longitude;
}

/// A month that has begun counts as one, so that a new station is blocked once for 48 hours only.
void Block(std::int64_t time, LearnedStation* station) {
  const std::int64_t months = 1 + std::max<std::int64_t>(time - station->first_seen, 0) / kMonthS;
  ++station->times_blocked;
  station->blocked_until = station->times_blocked > months ? kBlockedForGood : time + kBlockS;
  station->weight_sum = 0;
  Begin({}, station);
}

}  // namespace

void Learn(const Lesson& lesson, std::int64_t time, LearnedStation* station) {
  const double weight = WeightOf(lesson);
  if (!(weight > 0) || station->IsBlockedAt(time)) return;
  if (station->first_seen == 0) station->first_seen = time;
  station->last_seen = std::max(station->last_seen, time);
  if (station->weight_sum <= 0) Begin(lesson.position, station);

  ExtendBox(lesson.position, station);
  const bool is_cell = !station->key.is_access_point();
  if (DiagonalM(*station) > (is_cell ? kCellReachM : kAccessPointReachM)) {
    Block(time, station);
    return;
  }
  station->weight_sum += weight;
  const TangentPlane plane(station->position);
  const PlanePoint there = plane.Project(OnSphere(lesson.position));
  const double share = weight / station->weight_sum;
  const PlanePoint moved{there.east * share, there.north * share};
  station->position = plane.Position(moved);
  // Either bound is sure; the lesser is kept.
  station->radius_m = std::min(FarthestCornerM(*station),
                               std::max(station->radius_m + std::hypot(moved.east, moved.north),
                                        DistanceM(station->position, lesson.position)));
}

}  // namespace kesu_server
