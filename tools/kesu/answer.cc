#include "tools/kesu/answer.h"

#include <cmath>
#include <cstdio>
#include <utility>

#include <glib.h>

#include "tools/kesu/answer_json.h"

namespace kesu_tool {
namespace {

std::string PointText(double latitude, double longitude) {
  char text[64];
  std::snprintf(text, sizeof text, "%.5f, %.5f", latitude, longitude);
  return text;
}

std::string LocationText(const kesu::Location& location, const std::string& platform_key) {
  std::string text = PointText(location.latitude, location.longitude);
  if (location.accuracy_m) {
    text += ", within " + std::to_string(std::llround(*location.accuracy_m)) + " m";
  }
  if (!platform_key.empty()) text += ", platform key " + Printable(platform_key);
  return text;
}

std::string PlaceText(const kesu::Place& place) {
  std::string text = Printable(place.name);
  for (const kesu::Feature& feature : place.features) {
    if (feature.name.empty() || feature.name == place.name) continue;
    text += "\n  " + Printable(feature.name);
  }
  return text;
}

/// `subject` is what stands in front of it, if anything does.
Answer TextAnswer(const std::string& subject, const kesu::Error& error, std::string text) {
  const ExitStatus exit_status = ExitStatusOf(error);
  const bool is_failure = IsFailure(exit_status);
  if (is_failure) text = Printable(DescribeFailure(error));
  if (error.kind == kesu::ErrorKind::kNotFound) text = "nothing found";
  return {exit_status, subject.empty() ? text : subject + ": " + text, is_failure};
}

/// Of a line of standard input, its number; of track, the time.
Json Beginning(const Label& label) {
  Json json = Json::object();
  if (label.line > 0) json["line"] = label.line;
  if (!label.time.empty()) json["time"] = label.time;
  return json;
}

Answer JsonAnswer(const kesu::Error& error, const Json& json) {
  return {ExitStatusOf(error), json.dump(-1, ' ', false, Json::error_handler_t::replace)};
}

void AddLocation(const kesu::LocateResult& result, const std::string& platform_key, Json* json) {
  (*json)["accuracy_m"] = AccuracyJson(result);
  (*json)["platform_key"] = NullIfEmpty(platform_key);
}

void AddPlace(const kesu::ReverseResult& result, Json* json) {
  (*json)["address"] = result ? Json(result->name) : Json();
  (*json)["features"] = FeaturesJson(result ? result->features : std::vector<kesu::Feature>());
}

Answer GeoJsonAnswer(const kesu::Error& error, Json feature, Json properties,
                     const std::optional<kesu::BoundingBox>& box) {
  if (box) feature["bbox"] = GeoJsonBox(*box);
  feature["properties"] = std::move(properties);
  return JsonAnswer(error, feature);
}

/// That of the feature that the place is named after.
std::optional<kesu::BoundingBox> BoxOf(const kesu::Place& place) {
  for (const kesu::Feature& feature : place.features) {
    if (feature.name == place.name) return feature.bounding_box;
  }
  return std::nullopt;
}

}  // namespace

std::string Printable(const std::string& text) {
  char* const valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
  std::string printable;
  for (const char* position = valid; *position != 0;) {
    const char* const next = g_utf8_next_char(position);
    if (g_unichar_iscntrl(g_utf8_get_char(position))) {
      printable += ' ';
    } else {
      printable.append(position, next);
    }
    position = next;
  }
  g_free(valid);
  return printable;
}

Answer FailureAnswer(Format format, const Label& label, const kesu::Error& error) {
  if (format == Format::kText) return TextAnswer(label.words, error, "");
  Json json = Beginning(label);
  json["error"] = ErrorJson(error);
  if (format == Format::kJson) return JsonAnswer(error, json);
  return GeoJsonAnswer(error, GeoJsonFeature(nullptr), std::move(json), std::nullopt);
}

Answer LocationAnswer(Format format, const Label& label, const kesu::LocateResult& result,
                      const std::string& platform_key) {
  const kesu::Error& error = result.error();
  if (IsFailure(ExitStatusOf(error))) return FailureAnswer(format, label, error);
  if (format == Format::kText) {
    return TextAnswer(label.words, error, result ? LocationText(*result, platform_key) : "");
  }
  Json json = Beginning(label);
  if (format == Format::kJson) {
    json["latitude"] = result ? Json(result->latitude) : Json();
    json["longitude"] = result ? Json(result->longitude) : Json();
    AddLocation(result, platform_key, &json);
    return JsonAnswer(error, json);
  }
  AddLocation(result, platform_key, &json);
  if (!result) return GeoJsonAnswer(error, GeoJsonFeature(nullptr), std::move(json), std::nullopt);
  const kesu::Point point{result->latitude, result->longitude};
  std::optional<kesu::BoundingBox> box;
  if (result->accuracy_m) box = BoxAround(point, *result->accuracy_m);
  return GeoJsonAnswer(error, GeoJsonFeature(&point), std::move(json), box);
}

Answer PlaceAnswer(Format format, const Label& label, const kesu::Point& point,
                   const kesu::ReverseResult& result) {
  const kesu::Error& error = result.error();
  if (format == Format::kText) {
    return TextAnswer(PointText(point.latitude, point.longitude), error,
                      result ? PlaceText(*result) : "");
  }
  Json json = Beginning(label);
  if (format == Format::kJson) {
    json["latitude"] = point.latitude;
    json["longitude"] = point.longitude;
  }
  if (IsFailure(ExitStatusOf(error))) {
    json["error"] = ErrorJson(error);
  } else {
    AddPlace(result, &json);
  }
  if (format == Format::kJson) return JsonAnswer(error, json);
  return GeoJsonAnswer(error, GeoJsonFeature(&point), std::move(json),
                       result ? BoxOf(*result) : std::nullopt);
}

}  // namespace kesu_tool
