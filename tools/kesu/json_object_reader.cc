#include "tools/kesu/json_object_reader.h"

#include <algorithm>
#include <utility>

namespace kesu_tool {

using nlohmann::json;

JsonObjectReader::JsonObjectReader(const json& object, std::string path, std::string* error)
    : object_(object), path_(std::move(path)), error_(error) {
  if (!object.is_object()) Fail("", "must be a JSON object");
}

const json* JsonObjectReader::Find(const char* name) {
  if (!is_ok()) return nullptr;
  known_.emplace_back(name);
  const auto found = object_.find(name);
  return found == object_.end() || found->is_null() ? nullptr : &*found;
}

const json* JsonObjectReader::Need(const char* name) {
  const json* found = Find(name);
  if (found == nullptr && is_ok()) Fail(name, "is missing");
  return found;
}

void JsonObjectReader::TakeInteger(const char* name, const IntegerRange& range, int* value) {
  if (const json* found = Need(name)) Integer(name, *found, range, value);
}

void JsonObjectReader::TakeInteger(const char* name, const IntegerRange& range,
                                   std::optional<int>* value) {
  if (const json* found = Find(name)) Integer(name, *found, range, &value->emplace());
}

void JsonObjectReader::TakeNumber(const char* name, double smallest, double largest,
                                  double* value) {
  if (const json* found = Need(name)) Number(name, *found, smallest, largest, value);
}

void JsonObjectReader::TakeNumber(const char* name, double smallest, double largest,
                                  std::optional<double>* value) {
  if (const json* found = Find(name)) Number(name, *found, smallest, largest, &value->emplace());
}

void JsonObjectReader::TakeText(const char* name, std::string* value) {
  if (const json* found = Need(name)) Text(name, *found, value);
}

void JsonObjectReader::TakeText(const char* name, std::optional<std::string>* value) {
  if (const json* found = Find(name)) Text(name, *found, &value->emplace());
}

void JsonObjectReader::Integer(const char* name, const json& value, const IntegerRange& range,
                               int* number) {
  // One that is larger than any integer is a double here, so nothing is cut on the way.
  const double wide = value.is_number_integer() ? value.get<double>() : range.largest + 1.0;
  if (wide >= range.smallest && wide <= range.largest) {
    *number = static_cast<int>(wide);
    return;
  }
  Fail(name, "must be a whole number from " + std::to_string(range.smallest) + " to " +
                 std::to_string(range.largest));
}

void JsonObjectReader::Number(const char* name, const json& value, double smallest, double largest,
                              double* number) {
  if (value.is_number()) *number = value.get<double>();
  if (value.is_number() && *number >= smallest && *number <= largest) return;
  Fail(name, "must be a number from " + json(smallest).dump() + " to " + json(largest).dump());
}

void JsonObjectReader::Text(const char* name, const json& value, std::string* text) {
  if (!value.is_string()) return Fail(name, "must be a string");
  *text = value.get<std::string>();
}

void JsonObjectReader::RefuseOthers() {
  if (!is_ok()) return;
  for (const auto& member : object_.items()) {
    const auto known = std::find(known_.begin(), known_.end(), member.key());
    if (known == known_.end()) return Fail(member.key(), "is not known");
  }
}

void JsonObjectReader::Fail(std::string_view name, const std::string& fault) {
  if (!is_ok()) return;
  const std::string path = name.empty() ? path_ : PathOf(name);
  *error_ = (path.empty() ? "the line" : path) + " " + fault;
}

std::string JsonObjectReader::PathOf(std::string_view name) const {
  std::string path = path_.empty() ? "" : path_ + ".";
  return path += name;
}

}  // namespace kesu_tool
