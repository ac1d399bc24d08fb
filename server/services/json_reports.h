#ifndef SERVER_SERVICES_JSON_REPORTS_H_
#define SERVER_SERVICES_JSON_REPORTS_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "server/learn/lesson.h"

namespace kesu_server {

/// What reports teach. Each says where a device was ("position"), how exactly it knew that, and
/// what it received there; it teaches of 200 stations at most.
struct Reports {
  /// They stand in an object's "items".
  bool has_items = false;
  /// Of each that teaches something.
  std::vector<std::vector<Lesson>> lessons;
  /// Why the others teach nothing, and how many: constant texts.
  std::map<std::string_view, std::int64_t> faults;
};

/// Reads a report, or an object whose "items" are reports, in time in proportion to the text. A
/// report of more than a megabyte is a fault. None when the text is no JSON.
std::optional<Reports> ReadReports(std::string_view text);

}  // namespace kesu_server

#endif  // SERVER_SERVICES_JSON_REPORTS_H_
