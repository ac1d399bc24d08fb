#ifndef SERVER_GEO_GEODESY_H_
#define SERVER_GEO_GEODESY_H_

#include <span>
#include <string_view>

namespace kesu_server {

/// A position in degrees, north and east being positive.
struct LatLng {
  double latitude = 0;
  double longitude = 0;
};

/// The earth is taken for a sphere; the error, up to half a percent of a distance, is far below
/// what the data can say.
inline constexpr double kEarthRadiusM = 6'371'000;
/// The distance of two opposite points; no two points are further apart.
inline constexpr double kHalfCircumferenceM = 20'015'087;

bool IsOnEarth(const LatLng& position);

double DistanceM(const LatLng& a, const LatLng& b);

/// Where `to` lies as seen from `from`: one of eight directions, "north" to "north-west".
std::string_view CompassDirection(const LatLng& from, const LatLng& to);

struct WeightedPosition {
  LatLng position;
  double weight = 0;
};

/// The centroid of points on the sphere, wherever on it they are. When they balance each other
/// out, so that no point is in their middle, it is the first of them. `points` is not empty.
LatLng Centroid(std::span<const WeightedPosition> points);

}  // namespace kesu_server

#endif  // SERVER_GEO_GEODESY_H_
