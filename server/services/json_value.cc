#include "server/services/json_value.h"

#include <cmath>
#include <limits>

namespace kesu_server {
namespace {

/// A document of reports needs five.
constexpr int kMaxDepth = 8;

}  // namespace

bool IsTooDeep(std::string_view text) {
  int depth = 0;
  bool is_in_text = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (is_in_text) {
      if (c == '\\') ++i;
      is_in_text = c != '"';
    } else if (c == '[' || c == '{') {
      if (++depth > kMaxDepth) return true;
    } else if (c == ']' || c == '}') {
      --depth;
    } else {
      is_in_text = c == '"';
    }
  }
  return false;
}

Json ParseJson(std::string_view text) {
  if (IsTooDeep(text)) return Json(Json::value_t::discarded);
  return Json::parse(text, nullptr, /*allow_exceptions=*/false);
}

const Json& Member(const Json& object, const char* name) {
  static const Json kNone;
  if (!object.is_object()) return kNone;
  const auto found = object.find(name);
  return found == object.end() ? kNone : *found;
}

std::optional<double> NumberOf(const Json& object, const char* name) {
  const Json& member = Member(object, name);
  if (!member.is_number()) return std::nullopt;
  const auto number = member.get<double>();
  return std::isfinite(number) ? std::optional(number) : std::nullopt;
}

std::optional<std::int64_t> IntegerOf(const Json& object, const char* name) {
  const Json& member = Member(object, name);
  if (!member.is_number_integer()) return std::nullopt;
  constexpr auto kMost = std::uint64_t{std::numeric_limits<std::int64_t>::max()};
  if (member.is_number_unsigned() && member.get<std::uint64_t>() > kMost) return std::nullopt;
  return member.get<std::int64_t>();
}

std::optional<std::string> TextOf(const Json& object, const char* name) {
  const Json& member = Member(object, name);
  return member.is_string() ? std::optional(member.get<std::string>()) : std::nullopt;
}

}  // namespace kesu_server
