#include "client/earth.h"

#include <cmath>
#include <cstdio>

namespace kesu::detail {
namespace {

constexpr double kLargestLatitude = 90;
constexpr double kLargestLongitude = 180;
/// Half way around the equator; further away from anywhere there is no place.
constexpr int kLargestAccuracyM = 20'037'508;

/// Empty where the coordinate is within its limit.
std::string DescribeBeyond(const char* name, double limit, int e7) {
  const double degrees = e7 / kUnitsPerDegree;
  if (std::abs(degrees) <= limit) return {};
  char text[64];
  std::snprintf(text, sizeof text, "a %s of %.7f", name, degrees);
  return text;
}

std::string DescribeImpossibleFeature(const lbs::GFeature& feature) {
  for (const lbs::GLatLng* corner :
       {&feature.center(), &feature.bounds().lowerleft(), &feature.bounds().upperright()}) {
    std::string text = DescribeImpossible(*corner);
    if (!text.empty()) return text;
  }
  return {};
}

}  // namespace

bool IsOnEarth(double latitude, double longitude) {
  return std::abs(latitude) <= kLargestLatitude && std::abs(longitude) <= kLargestLongitude;
}

std::string DescribeImpossible(const lbs::GLatLng& latlng) {
  std::string text = DescribeBeyond("latitude", kLargestLatitude, latlng.latitude_e7());
  if (!text.empty()) return text;
  return DescribeBeyond("longitude", kLargestLongitude, latlng.longitude_e7());
}

std::string DescribeImpossible(const lbs::GLocation& location) {
  std::string text = DescribeImpossible(location.latlng());
  const int accuracy_m = location.accuracy_m();
  if (text.empty() && (accuracy_m < 0 || accuracy_m > kLargestAccuracyM)) {
    text = "an accuracy of " + std::to_string(accuracy_m) + " m";
  }
  for (int i = 0; text.empty() && i < location.feature_size(); ++i) {
    text = DescribeImpossibleFeature(location.feature(i));
  }
  return text;
}

}  // namespace kesu::detail
