#ifndef SERVER_STORAGE_POSITION_UNITS_H_
#define SERVER_STORAGE_POSITION_UNITS_H_

#include <cmath>
#include <cstdint>

#include "server/geo/geodesy.h"

/// Positions stand in databases in units of 1e-7 degrees.
namespace kesu_server {

inline constexpr double kUnitsPerDegree = 1e7;

inline std::int64_t ToUnits(double degrees) {
  return std::llround(degrees * kUnitsPerDegree);
}

inline LatLng FromUnits(std::int64_t latitude, std::int64_t longitude) {
  return {static_cast<double>(latitude) / kUnitsPerDegree,
          static_cast<double>(longitude) / kUnitsPerDegree};
}

}  // namespace kesu_server

#endif  // SERVER_STORAGE_POSITION_UNITS_H_
