#include "tools/kesu/answer_json.h"

#include <cmath>
#include <numbers>
#include <utility>

namespace kesu_tool {
namespace {

using kesu::ErrorKind;

constexpr double kEarthRadiusM = 6'371'008.8;
constexpr double kDegreesPerRadian = 180 / std::numbers::pi;

bool IsOutOfTime(const kesu::Error& error) {
  return error.kind == ErrorKind::kTimedOut || error.kind == ErrorKind::kCancelled;
}

template <typename Value>
Json NullIfAbsent(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

Json PointJson(const kesu::Point& point) {
  return Json::object({{"latitude", point.latitude}, {"longitude", point.longitude}});
}

Json BoxJson(const kesu::BoundingBox& box) {
  return Json::object({{"south", box.south_west.latitude},
                       {"west", box.south_west.longitude},
                       {"north", box.north_east.latitude},
                       {"east", box.north_east.longitude}});
}

Json AddressJson(const kesu::Address& address) {
  Json components = Json::array();
  for (const kesu::AddressComponent& component : address.components) {
    components.push_back(Json::object({{"name", component.name},
                                       {"kind", NullIfAbsent(component.kind)},
                                       {"language", NullIfEmpty(component.language)}}));
  }
  return Json::object({{"lines", address.lines}, {"components", std::move(components)}});
}

Json FeatureJson(const kesu::Feature& feature) {
  return Json::object(
      {{"name", NullIfEmpty(feature.name)},
       {"kind", NullIfAbsent(feature.kind)},
       {"centre", feature.centre ? PointJson(*feature.centre) : Json()},
       {"bounding_box", feature.bounding_box ? BoxJson(*feature.bounding_box) : Json()},
       {"address", AddressJson(feature.address)}});
}

/// To the unit of the messages, a ten-millionth of a degree.
double Rounded(double degrees) {
  constexpr double kUnitsPerDegree = 1e7;
  return std::round(degrees * kUnitsPerDegree) / kUnitsPerDegree;
}

}  // namespace

std::string KindOfFailure(const kesu::Error& error) {
  if (IsOutOfTime(error)) return "timeout";
  if (!error.transport.empty()) return error.transport;
  return error.kind == ErrorKind::kServer ? "failure" : kesu::ErrorKindName(error.kind);
}

std::string DescribeFailure(const kesu::Error& error) {
  if (!IsOutOfTime(error)) return error.message;
  return "no answer in time" + (error.reason.empty() ? "" : ": " + error.reason);
}

Json NullIfEmpty(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

Json ErrorJson(const kesu::Error& error) {
  return Json::object({{"kind", KindOfFailure(error)},
                       {"status", error.response_status},
                       {"message", DescribeFailure(error)},
                       {"reason", NullIfEmpty(error.reason)}});
}

Json AccuracyJson(const kesu::LocateResult& result) {
  const bool is_known = result && result->accuracy_m;
  return is_known ? Json(std::llround(*result->accuracy_m)) : Json();
}

Json FeaturesJson(const std::vector<kesu::Feature>& features) {
  Json json = Json::array();
  for (const kesu::Feature& feature : features) json.push_back(FeatureJson(feature));
  return json;
}

Json GeoJsonFeature(const kesu::Point* point) {
  Json feature = Json::object({{"type", "Feature"}, {"geometry", Json()}});
  if (point != nullptr) {
    feature["geometry"] = Json::object(
        {{"type", "Point"}, {"coordinates", Json::array({point->longitude, point->latitude})}});
  }
  feature["properties"] = Json::object();
  return feature;
}

Json GeoJsonBox(const kesu::BoundingBox& box) {
  return Json::array({box.south_west.longitude, box.south_west.latitude, box.north_east.longitude,
                      box.north_east.latitude});
}

kesu::BoundingBox BoxAround(const kesu::Point& point, double radius_m) {
  const double angle = radius_m / kEarthRadiusM * kDegreesPerRadian;
  const double south = point.latitude - angle;
  const double north = point.latitude + angle;
  // Around a pole, every meridian is within.
  if (south <= -90 || north >= 90) {
    return {{Rounded(std::max(south, -90.0)), -180}, {Rounded(std::min(north, 90.0)), 180}};
  }
  const double width = std::asin(std::sin(angle / kDegreesPerRadian) /
                                 std::cos(point.latitude / kDegreesPerRadian)) *
                       kDegreesPerRadian;
  double west = point.longitude - width;
  double east = point.longitude + width;
  if (west < -180) west += 360;
  if (east > 180) east -= 360;
  return {{Rounded(south), Rounded(west)}, {Rounded(north), Rounded(east)}};
}

}  // namespace kesu_tool
