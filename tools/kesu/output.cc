#include "tools/kesu/output.h"

#include <cstdio>

#include <glib.h>
#include <nlohmann/json.hpp>

namespace kesu_tool {
namespace {

/// Keeps the members in the order they are added.
using Json = nlohmann::ordered_json;

Json NullIfEmpty(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

void AddPoint(const Result& result, Json* json) {
  (*json)["latitude"] = result.point ? Json(result.point->latitude) : Json();
  (*json)["longitude"] = result.point ? Json(result.point->longitude) : Json();
}

void AddError(const Result& result, Json* json) {
  (*json)["error"] = {{"kind", KindOfFailure(result)},
                      {"status", result.status},
                      {"message", DescribeFailure(result)},
                      {"reason", NullIfEmpty(result.reason)}};
}

Json LocateJson(const Result& result) {
  Json json = Json::object();
  if (IsFailure(result.outcome)) {
    AddError(result, &json);
    return json;
  }
  AddPoint(result, &json);
  json["accuracy_m"] = result.accuracy_m ? Json(*result.accuracy_m) : Json();
  json["platform_key"] = NullIfEmpty(result.platform_key);
  return json;
}

Json ReverseJson(const Result& result) {
  Json json = Json::object();
  AddPoint(result, &json);
  if (IsFailure(result.outcome)) {
    AddError(result, &json);
    return json;
  }
  json["address"] = NullIfEmpty(result.address);
  json["features"] = result.features;
  return json;
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

std::string PointText(const Point& point) {
  char text[64];
  std::snprintf(text, sizeof(text), "%.5f, %.5f", point.latitude, point.longitude);
  return text;
}

/// The part of the text behind what was asked about.
std::string AnswerText(Command command, const Result& result) {
  if (IsFailure(result.outcome)) return FormatFailure(result);
  if (result.outcome == Outcome::kNothingFound) return "nothing found";
  if (command == Command::kReverse) {
    std::string text = Printable(result.address);
    for (const std::string& feature : result.features) {
      if (feature != result.address) text += "\n  " + Printable(feature);
    }
    return text;
  }
  std::string text = PointText(*result.point);
  if (result.accuracy_m) text += ", within " + std::to_string(*result.accuracy_m) + " m";
  if (!result.platform_key.empty()) text += ", platform key " + Printable(result.platform_key);
  return text;
}

}  // namespace

std::string FormatFailure(const Result& result) {
  return Printable(DescribeFailure(result));
}

std::string FormatJson(Command command, const Result& result) {
  const Json json = command == Command::kReverse ? ReverseJson(result) : LocateJson(result);
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string FormatText(Command command, const Result& result) {
  const std::string answer = AnswerText(command, result);
  return command == Command::kReverse ? PointText(*result.point) + ": " + answer : answer;
}

}  // namespace kesu_tool
