#ifndef KESU_TOOL_ANSWER_JSON_H_
#define KESU_TOOL_ANSWER_JSON_H_

#include <string>

#include <nlohmann/json.hpp>

#include "client/client.h"

/// The parts of answers in JSON. What is not known is null.
namespace kesu_tool {

/// Keeps the members in the order they are added.
using Json = nlohmann::ordered_json;

Json NullIfEmpty(const std::string& text);
Json ErrorJson(const kesu::Error& error);
/// Metres, as the service states them.
Json AccuracyJson(const kesu::LocateResult& result);
/// All that they carry.
Json FeaturesJson(const std::vector<kesu::Feature>& features);

/// A Feature of GeoJSON (RFC 7946), `point` being null where there is none, with an empty object of
/// properties.
Json GeoJsonFeature(const kesu::Point* point);
/// Its "bbox": west, south, east, north. West is more than east where the box lies on both sides
/// of the antimeridian.
Json GeoJsonBox(const kesu::BoundingBox& box);
/// That of all points within so many metres.
kesu::BoundingBox BoxAround(const kesu::Point& point, double radius_m);

/// A word for programs, and a sentence for people.
std::string KindOfFailure(const kesu::Error& error);
std::string DescribeFailure(const kesu::Error& error);

}  // namespace kesu_tool

#endif  // KESU_TOOL_ANSWER_JSON_H_
