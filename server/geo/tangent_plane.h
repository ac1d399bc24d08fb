#ifndef SERVER_GEO_TANGENT_PLANE_H_
#define SERVER_GEO_TANGENT_PLANE_H_

#include <cmath>

#include "server/geo/geodesy.h"

namespace kesu_server {

/// A point of the unit sphere: it has no poles and no antimeridian to mind.
struct SpherePoint {
  double x = 0;
  double y = 0;
  double z = 0;
};

SpherePoint OnSphere(const LatLng& position);

/// The square of the straight distance through the earth, in square metres: for what is near, that
/// of the distance.
inline double ChordSquaredM2(const SpherePoint& a, const SpherePoint& b) {
  const double x = a.x - b.x;
  const double y = a.y - b.y;
  const double z = a.z - b.z;
  return kEarthRadiusM * kEarthRadiusM * (x * x + y * y + z * z);
}

/// Metres east and north of the origin of a TangentPlane.
struct PlanePoint {
  double east = 0;
  double north = 0;
};

/// The sphere as a map around a point: distances from the origin are true, and so are, within a few
/// hundred kilometres of it, all others.
class TangentPlane {
 public:
  explicit TangentPlane(const LatLng& origin);

  PlanePoint Project(const SpherePoint& point) const;
  /// The position of a point; going further than half way around the earth is allowed.
  LatLng Position(const PlanePoint& point) const;

 private:
  SpherePoint up_;
  SpherePoint east_;
  SpherePoint north_;
};

}  // namespace kesu_server

#endif  // SERVER_GEO_TANGENT_PLANE_H_
