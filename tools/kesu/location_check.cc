#include "tools/kesu/location_check.h"

#include <cmath>
#include <cstdio>
#include <string>

#include "tools/kesu/observation.h"

namespace kesu_tool {
namespace {

/// Half way around the equator; further away from anywhere there is no place.
constexpr int kLargestAccuracyM = 20'037'508;

/// Empty when the coordinate is within its limit.
std::string DescribeBeyond(const char* name, double limit, int e7) {
  const double degrees = e7 / kUnitsPerDegree;
  if (std::abs(degrees) <= limit) return {};
  char text[64];
  std::snprintf(text, sizeof(text), "a %s of %.7f", name, degrees);
  return text;
}

std::string DescribeImpossible(const lbs::GLocation& location) {
  const lbs::GLatLng& latlng = location.latlng();
  std::string text = DescribeBeyond("latitude", kLargestLatitude, latlng.latitude_e7());
  if (text.empty()) text = DescribeBeyond("longitude", kLargestLongitude, latlng.longitude_e7());
  if (!text.empty()) return text;
  const int accuracy_m = location.accuracy_m();
  if (accuracy_m >= 0 && accuracy_m <= kLargestAccuracyM) return {};
  return "an accuracy of " + std::to_string(accuracy_m) + " m";
}

}  // namespace

std::string DescribeImpossible(const lbs::GLocReply& reply) {
  std::string description;
  for (int i = 0; description.empty() && i < reply.replyelements_size(); ++i) {
    description = DescribeImpossible(reply.replyelements(i).location());
  }
  return description;
}

}  // namespace kesu_tool
