#include "tools/kesu/answer.h"

#include <cmath>
#include <cstdio>
#include <utility>

#include <glib.h>
#include <nlohmann/json.hpp>

namespace kesu_tool {
namespace {

using kesu::ErrorKind;
/// Keeps the members in the order they are added.
using Json = nlohmann::ordered_json;

bool IsOutOfTime(const kesu::Error& error) {
  return error.kind == ErrorKind::kTimedOut || error.kind == ErrorKind::kCancelled;
}

/// A word for programs.
std::string KindOfFailure(const kesu::Error& error) {
  if (IsOutOfTime(error)) return "timeout";
  if (!error.transport.empty()) return error.transport;
  return error.kind == ErrorKind::kServer ? "failure" : kesu::ErrorKindName(error.kind);
}

std::string Message(const kesu::Error& error) {
  if (!IsOutOfTime(error)) return error.message;
  return "no answer in time" + (error.reason.empty() ? "" : ": " + error.reason);
}

/// `text` as valid UTF-8 with a space for each control character.
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

std::string PointText(double latitude, double longitude) {
  char text[64];
  std::snprintf(text, sizeof text, "%.5f, %.5f", latitude, longitude);
  return text;
}

Json NullIfEmpty(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

/// Metres, as the service states them.
long long Rounded(double metres) {
  return std::llround(metres);
}

Json ErrorJson(const kesu::Error& error) {
  return {{"kind", KindOfFailure(error)},
          {"status", error.response_status},
          {"message", Message(error)},
          {"reason", NullIfEmpty(error.reason)}};
}

void AddLocation(const kesu::LocateResult& result, const std::string& platform_key, Json* json) {
  (*json)["latitude"] = result ? Json(result->latitude) : Json();
  (*json)["longitude"] = result ? Json(result->longitude) : Json();
  const bool has_accuracy = result && result->accuracy_m;
  (*json)["accuracy_m"] = has_accuracy ? Json(Rounded(*result->accuracy_m)) : Json();
  (*json)["platform_key"] = NullIfEmpty(platform_key);
}

std::string LocationText(const kesu::Location& location, const std::string& platform_key) {
  std::string text = PointText(location.latitude, location.longitude);
  if (location.accuracy_m) {
    text += ", within " + std::to_string(Rounded(*location.accuracy_m)) + " m";
  }
  if (!platform_key.empty()) text += ", platform key " + Printable(platform_key);
  return text;
}

void AddPlace(const kesu::ReverseResult& result, Json* json) {
  (*json)["address"] = result ? Json(result->name) : Json();
  Json& features = (*json)["features"] = Json::array();
  if (!result) return;
  for (const kesu::Feature& feature : result->features) {
    if (!feature.name.empty()) features.push_back(feature.name);
  }
}

std::string PlaceText(const kesu::Place& place) {
  std::string text = Printable(place.name);
  for (const kesu::Feature& feature : place.features) {
    if (feature.name.empty() || feature.name == place.name) continue;
    text += "\n  " + Printable(feature.name);
  }
  return text;
}

Answer JsonAnswer(ExitStatus exit_status, const Json& json) {
  return {exit_status, json.dump(-1, ' ', false, Json::error_handler_t::replace)};
}

/// `subject` is what stands in front of it, if anything does.
Answer TextAnswer(const std::string& subject, const kesu::Error& error, std::string text) {
  const ExitStatus exit_status = ExitStatusOf(error);
  const bool is_failure = IsFailure(exit_status);
  if (is_failure) text = DescribeFailure(error);
  if (error.kind == ErrorKind::kNotFound) text = "nothing found";
  return {exit_status, subject.empty() ? text : subject + ": " + text, is_failure};
}

}  // namespace

std::string DescribeFailure(const kesu::Error& error) {
  return Printable(Message(error));
}

Answer LocationAnswer(Format format, const Label& label, const kesu::LocateResult& result,
                      const std::string& platform_key) {
  const kesu::Error& error = result.error();
  if (format == Format::kText) {
    return TextAnswer(label, error, result ? LocationText(*result, platform_key) : "");
  }
  Json json = Json::object();
  const ExitStatus exit_status = ExitStatusOf(error);
  if (IsFailure(exit_status)) {
    json["error"] = ErrorJson(error);
  } else {
    AddLocation(result, platform_key, &json);
  }
  return JsonAnswer(exit_status, json);
}

Answer PlaceAnswer(Format format, const kesu::Point& point, const kesu::ReverseResult& result) {
  const kesu::Error& error = result.error();
  if (format == Format::kText) {
    return TextAnswer(PointText(point.latitude, point.longitude), error,
                      result ? PlaceText(*result) : "");
  }
  Json json = {{"latitude", point.latitude}, {"longitude", point.longitude}};
  const ExitStatus exit_status = ExitStatusOf(error);
  if (IsFailure(exit_status)) {
    json["error"] = ErrorJson(error);
  } else {
    AddPlace(result, &json);
  }
  return JsonAnswer(exit_status, json);
}

}  // namespace kesu_tool
