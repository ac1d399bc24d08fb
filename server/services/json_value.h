#ifndef SERVER_SERVICES_JSON_VALUE_H_
#define SERVER_SERVICES_JSON_VALUE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

/// What is read of JSON from anybody: whatever a member is, it is the wanted or nothing.
namespace kesu_server {

using Json = nlohmann::json;

/// Whether arrays and objects are nested more deeply than in anything that is read here.
bool IsTooDeep(std::string_view text);
/// Discarded when the text is no JSON, or too deep.
Json ParseJson(std::string_view text);

/// A member of an object; null when there is none.
const Json& Member(const Json& object, const char* name);
/// A finite number.
std::optional<double> NumberOf(const Json& object, const char* name);
/// A number that is written as a whole one.
std::optional<std::int64_t> IntegerOf(const Json& object, const char* name);
/// None when it is no text; an empty one is a text.
std::optional<std::string> TextOf(const Json& object, const char* name);

}  // namespace kesu_server

#endif  // SERVER_SERVICES_JSON_VALUE_H_
