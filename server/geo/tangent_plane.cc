#include "server/geo/tangent_plane.h"

#include <numbers>

namespace kesu_server {
namespace {

constexpr double kRadiansPerDegree = std::numbers::pi / 180;

double Dot(const SpherePoint& a, const SpherePoint& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}

}  // namespace

SpherePoint OnSphere(const LatLng& position) {
  const double latitude = position.latitude * kRadiansPerDegree;
  const double longitude = position.longitude * kRadiansPerDegree;
  return {std::cos(latitude) * std::cos(longitude), std::cos(latitude) * std::sin(longitude),
          std::sin(latitude)};
}

TangentPlane::TangentPlane(const LatLng& origin) : up_(OnSphere(origin)) {
  // At a pole east is where the stated longitude has it.
  const double longitude = origin.longitude * kRadiansPerDegree;
  east_ = {-std::sin(longitude), std::cos(longitude), 0};
  north_ = {-up_.z * east_.y, up_.z * east_.x, up_.x * east_.y - up_.y * east_.x};
}

PlanePoint TangentPlane::Project(const SpherePoint& point) const {
  const double east = Dot(point, east_);
  const double north = Dot(point, north_);
  const double sine = std::hypot(east, north);
  if (sine == 0) return {};
  const double scale = kEarthRadiusM * std::atan2(sine, Dot(point, up_)) / sine;
  return {east * scale, north * scale};
}

LatLng TangentPlane::Position(const PlanePoint& point) const {
  const double distance_m = std::hypot(point.east, point.north);
  if (distance_m == 0)
    return {std::asin(up_.z) / kRadiansPerDegree,
            std::atan2(-east_.x, east_.y) / kRadiansPerDegree};
  const double angle = distance_m / kEarthRadiusM;
  const double east = std::sin(angle) * point.east / distance_m;
  const double north = std::sin(angle) * point.north / distance_m;
  const double up = std::cos(angle);
  const SpherePoint there = {up * up_.x + east * east_.x + north * north_.x,
                             up * up_.y + east * east_.y + north * north_.y,
                             up * up_.z + east * east_.z + north * north_.z};
  return {std::atan2(there.z, std::hypot(there.x, there.y)) / kRadiansPerDegree,
          std::atan2(there.y, there.x) / kRadiansPerDegree};
}

}  // namespace kesu_server
