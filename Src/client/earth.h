#ifndef CLIENT_EARTH_H_
#define CLIENT_EARTH_H_

#include <string>

#include "kesu/proto/lbs.h"

/// What a place on earth can have.
namespace kesu::detail {

inline constexpr double kUnitsPerDegree = 1e7;

bool IsOnEarth(double latitude, double longitude);

/// What a message states that no place on earth has, in words; empty where there is nothing of the
/// kind. What is not stated is not missed.
std::string DescribeImpossible(const lbs::GLatLng& latlng);
/// The features included.
std::string DescribeImpossible(const lbs::GLocation& location);

}  // namespace kesu::detail

#endif  // CLIENT_EARTH_H_
