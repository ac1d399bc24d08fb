#ifndef KESU_TOOL_JSON_OBJECT_READER_H_
#define KESU_TOOL_JSON_OBJECT_READER_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/kesu/value_ranges.h"

namespace kesu_tool {

/// Takes the members of a JSON object one by one. What is wrong with the first that is wrong stays
/// in `error`, and nothing is taken after it. A member that is null counts as absent.
class JsonObjectReader {
 public:
  /// `path` is the object's own, for `error`; empty for the outermost. All are borrowed.
  JsonObjectReader(const nlohmann::json& object, std::string path, std::string* error);

  bool is_ok() const { return error_->empty(); }

  void TakeInteger(const char* name, const IntegerRange& range, int* value);
  void TakeInteger(const char* name, const IntegerRange& range, std::optional<int>* value);
  void TakeNumber(const char* name, double smallest, double largest, double* value);
  void TakeNumber(const char* name, double smallest, double largest, std::optional<double>* value);
  void TakeText(const char* name, std::string* value);
  void TakeText(const char* name, std::optional<std::string>* value);

  /// Hands each element of a list, if it is there, to `take` as an object.
  template <typename Take>
  void TakeList(const char* name, Take take) {
    const nlohmann::json* list = Find(name);
    if (list == nullptr) return;
    if (!list->is_array()) return Fail(name, "must be a list");
    for (std::size_t i = 0; is_ok() && i < list->size(); ++i) {
      JsonObjectReader element((*list)[i], PathOf(name) + "[" + std::to_string(i) + "]", error_);
      take(&element);
      element.RefuseOthers();
    }
  }
  /// The same for one object.
  template <typename Take>
  void TakeObject(const char* name, Take take) {
    const nlohmann::json* object = Find(name);
    if (object == nullptr) return;
    JsonObjectReader reader(*object, PathOf(name), error_);
    take(&reader);
    reader.RefuseOthers();
  }

  /// Members that were not asked for are a fault: they may be misspelt.
  void RefuseOthers();
  void Fail(std::string_view name, const std::string& fault);

 private:
  const nlohmann::json* Find(const char* name);
  /// Null, with the fault noted, where it is not there.
  const nlohmann::json* Need(const char* name);
  std::string PathOf(std::string_view name) const;
  void Integer(const char* name, const nlohmann::json& value, const IntegerRange& range,
               int* number);
  void Number(const char* name, const nlohmann::json& value, double smallest, double largest,
              double* number);
  void Text(const char* name, const nlohmann::json& value, std::string* text);

  const nlohmann::json& object_;
  const std::string path_;
  std::string* error_;
  std::vector<std::string_view> known_;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_JSON_OBJECT_READER_H_
