#include "server/geo/geodesy.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace kesu_server {
namespace {

constexpr double kRadiansPerDegree = std::numbers::pi / 180;

double Radians(double degrees) {
  return degrees * kRadiansPerDegree;
}

double Degrees(double radians) {
  return radians / kRadiansPerDegree;
}

/// The direction in which the great circle to `to` leaves `from`: degrees clockwise from north,
/// -180 to 180.
double InitialBearing(const LatLng& from, const LatLng& to) {
  const double from_latitude = Radians(from.latitude);
  const double to_latitude = Radians(to.latitude);
  const double turn = Radians(to.longitude - from.longitude);
  const double east = std::sin(turn) * std::cos(to_latitude);
  const double north = std::cos(from_latitude) * std::sin(to_latitude) -
                       std::sin(from_latitude) * std::cos(to_latitude) * std::cos(turn);
  return Degrees(std::atan2(east, north));
}

}  // namespace

bool IsOnEarth(const LatLng& position) {
  return std::abs(position.latitude) <= 90 && std::abs(position.longitude) <= 180;
}

double DistanceM(const LatLng& a, const LatLng& b) {
  const double half_latitudes = std::sin(Radians(b.latitude - a.latitude) / 2);
  const double half_longitudes = std::sin(Radians(b.longitude - a.longitude) / 2);
  const double haversine = half_latitudes * half_latitudes + std::cos(Radians(a.latitude)) *
                                                                 std::cos(Radians(b.latitude)) *
                                                                 half_longitudes * half_longitudes;
  return 2 * kEarthRadiusM * std::asin(std::sqrt(std::clamp(haversine, 0.0, 1.0)));
}

std::string_view CompassDirection(const LatLng& from, const LatLng& to) {
  static constexpr std::array<std::string_view, 8> kDirections = {
      "north", "north-east", "east", "south-east", "south", "south-west", "west", "north-west"};
  // At a pole every meridian leads the same way, whatever longitude the position states.
  if (std::abs(from.latitude) == 90) return from.latitude > 0 ? "south" : "north";
  const long eighths = std::lround(InitialBearing(from, to) / 45);
  return kDirections[static_cast<unsigned>(eighths + 8) % 8];
}

LatLng Centroid(std::span<const WeightedPosition> points) {
  constexpr double kBalanced = 1e-9;
  double x = 0;
  double y = 0;
  double z = 0;
  double weights = 0;
  for (const auto& [position, weight] : points) {
    const double latitude = Radians(position.latitude);
    const double longitude = Radians(position.longitude);
    x += weight * std::cos(latitude) * std::cos(longitude);
    y += weight * std::cos(latitude) * std::sin(longitude);
    z += weight * std::sin(latitude);
    weights += weight;
  }
  if (std::hypot(x, y, z) <= kBalanced * weights) return points.front().position;
  return {Degrees(std::atan2(z, std::hypot(x, y))), Degrees(std::atan2(y, x))};
}

}  // namespace kesu_server
