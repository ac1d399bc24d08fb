#ifndef TOOLS_SUPPORT_EMBEDDED_FILE_H_
#define TOOLS_SUPPORT_EMBEDDED_FILE_H_

#include <string_view>

/// A file that became part of the program when it was built, see cmake/KesuEmbedFiles.cmake.
struct EmbeddedFile {
  /// A relative path: "map/map_view.js", say.
  std::string_view name;
  /// As in a Content-Type.
  std::string_view media_type;
  std::string_view content;
};

#endif  // TOOLS_SUPPORT_EMBEDDED_FILE_H_
