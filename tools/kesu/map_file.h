#ifndef KESU_TOOL_MAP_FILE_H_
#define KESU_TOOL_MAP_FILE_H_

#include <string>
#include <string_view>

namespace kesu_tool {

/// Whether MapFile can write there, as far as can be said before. Else the reason is in `error`.
bool CanWriteMap(const std::string& path, std::string* error);

/// A page that shows answers on a map and needs nothing but itself.
class MapFile {
 public:
  explicit MapFile(std::string path) : path_(std::move(path)) {}

  /// `map` is JSON without a "<", as map_json.h makes it. Nothing is written yet.
  void Add(std::string_view map);
  /// Writes the file as a whole: where it fails, which `error` tells, what was there is there
  /// still.
  bool Write(std::string* error) const;

 private:
  const std::string path_;
  std::string maps_;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_MAP_FILE_H_
