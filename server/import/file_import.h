#ifndef SERVER_IMPORT_FILE_IMPORT_H_
#define SERVER_IMPORT_FILE_IMPORT_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "server/import/importer.h"
#include "server/import/record.h"

namespace kesu_server {

/// Reads one file line by line through a format, and counts what becomes of the lines. `after_line`
/// is told the number of each line and stops it by being false.
bool ReadFile(const std::string& path, LineFormat* format, RecordSink* sink,
              const ImportProgress& progress,
              const std::function<bool(std::int64_t line)>& after_line, ImportResult* result,
              std::string* error);

/// Tells apart files and their versions; empty when that cannot be done.
std::string IdentityOf(const std::vector<std::string>& files);

/// Does with a line what becomes of each.
void CountLine(std::string_view line, bool is_too_long, const std::string& file,
               std::int64_t number, LineFormat* format, RecordSink* sink, ImportResult* result);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_FILE_IMPORT_H_
