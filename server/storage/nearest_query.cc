#include "server/storage/nearest_query.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <numbers>

#include "server/geo/geodesy.h"
#include "server/storage/position_units.h"

namespace kesu_server {
namespace {

constexpr int kParameters = 3;
constexpr int kCoordinates = 4;

struct Box {
  double south, north, west, east;
};

/// The latitude, within the box, at which its edge on the meridian `longitude` is nearest.
double NearestLatitude(const LatLng& point, double longitude, const Box& box) {
  constexpr double kRadiansPerDegree = std::numbers::pi / 180;
  const double latitude = point.latitude * kRadiansPerDegree;
  const double turn = (longitude - point.longitude) * kRadiansPerDegree;
  const double foot = std::atan2(std::sin(latitude), std::cos(latitude) * std::cos(turn));
  return std::clamp(foot / kRadiansPerDegree, box.south, box.north);
}

/// The distance of the point from the nearest one of the box; never more than that.
double DistanceToBoxM(const LatLng& point, const Box& box) {
  if (point.longitude >= box.west && point.longitude <= box.east) {
    return DistanceM(point, {std::clamp(point.latitude, box.south, box.north), point.longitude});
  }
  double distance_m = kHalfCircumferenceM;
  for (const double longitude : {box.west, box.east}) {
    // On the far side of the earth one of the corners, behind a pole, may be the nearest.
    for (const double latitude : {NearestLatitude(point, longitude, box), box.south, box.north}) {
      distance_m = std::min(distance_m, DistanceM(point, {latitude, longitude}));
    }
  }
  return distance_m;
}

/// SQLite calls it for each node and each entry that it meets, and goes on with the one of the
/// lowest score.
int Score(sqlite3_rtree_query_info* info) {
  if (info->nParam != kParameters || info->nCoord != kCoordinates) return SQLITE_ERROR;
  const LatLng point = {info->aParam[0], info->aParam[1]};
  const double radius_m = info->aParam[2];
  const LatLng southwest = FromUnits(std::llround(info->aCoord[0]), std::llround(info->aCoord[2]));
  const LatLng northeast = FromUnits(std::llround(info->aCoord[1]), std::llround(info->aCoord[3]));
  const Box box = {southwest.latitude, std::max(southwest.latitude, northeast.latitude),
                   southwest.longitude, northeast.longitude};
  info->rScore = DistanceToBoxM(point, box);
  info->eWithin = info->rScore <= radius_m ? PARTLY_WITHIN : NOT_WITHIN;
  return SQLITE_OK;
}

}  // namespace

bool AddNearestQuery(SqliteConnection* connection) {
  return sqlite3_rtree_query_callback(connection->handle(), "nearest", Score, nullptr, nullptr) ==
         SQLITE_OK;
}

}  // namespace kesu_server
