#include "tools/kesu/map_json.h"

#include <cstdio>
#include <utility>

#include "tools/kesu/answer_json.h"

namespace kesu_tool {
namespace {

Json PositionJson(double latitude, double longitude) {
  return Json::object({{"latitude", latitude}, {"longitude", longitude}});
}

void AddAccuracy(const std::optional<double>& accuracy_m, Json* json) {
  if (accuracy_m) (*json)["accuracy_m"] = *accuracy_m;
}

Json FeaturesOfMap(const std::vector<kesu::Feature>& features) {
  Json list = Json::array();
  for (const kesu::Feature& feature : features) {
    Json json = Json::object();
    if (feature.centre) json = PositionJson(feature.centre->latitude, feature.centre->longitude);
    json["name"] = feature.name;
    if (feature.kind) json["kind"] = *feature.kind;
    if (const auto& box = feature.bounding_box) {
      json["box"] = Json::array({box->south_west.latitude, box->south_west.longitude,
                                 box->north_east.latitude, box->north_east.longitude});
    }
    list.push_back(std::move(json));
  }
  return list;
}

std::string NoteOf(const kesu::Error& error) {
  return error.kind == kesu::ErrorKind::kNotFound ? "nothing found" : DescribeFailure(error);
}

/// The text of a script ends at "</script>", whatever that is inside of.
std::string WithoutMarkup(const Json& json) {
  std::string text;
  for (const char c : json.dump(-1, ' ', false, Json::error_handler_t::replace)) {
    c == '<' ? text.append("\\u003c") : text.append(1, c);
  }
  return text;
}

}  // namespace

std::string LocationMap(const std::string& title, const kesu::Observation& seen,
                        const kesu::LocateResult& result) {
  Json json = Json::object({{"title", title}});
  if (result) {
    Json estimate = PositionJson(result->latitude, result->longitude);
    AddAccuracy(result->accuracy_m, &estimate);
    json["estimates"] = Json::array({std::move(estimate)});
    json["features"] = FeaturesOfMap(result->features);
  } else {
    json["note"] = NoteOf(result.error());
  }
  if (seen.fix) {
    Json fix = PositionJson(seen.fix->latitude, seen.fix->longitude);
    AddAccuracy(seen.fix->accuracy_m, &fix);
    json["fixes"] = Json::array({std::move(fix)});
  }
  return WithoutMarkup(json);
}

std::string PlaceMap(const std::string& title, const kesu::Point& point,
                     const kesu::ReverseResult& result) {
  char position[64];
  std::snprintf(position, sizeof position, "%.5f, %.5f", point.latitude, point.longitude);
  Json json = Json::object({{"title", title.empty() ? position : title + ": " + position}});
  json["points"] = Json::array({PositionJson(point.latitude, point.longitude)});
  if (result) {
    json["note"] = result->name;
    json["features"] = FeaturesOfMap(result->features);
  } else {
    json["note"] = NoteOf(result.error());
  }
  return WithoutMarkup(json);
}

std::string FailureMap(const std::string& title, const kesu::Error& error) {
  return WithoutMarkup(Json::object({{"title", title}, {"note", NoteOf(error)}}));
}

}  // namespace kesu_tool
