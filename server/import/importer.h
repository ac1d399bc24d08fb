#ifndef SERVER_IMPORT_IMPORTER_H_
#define SERVER_IMPORT_IMPORTER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "server/import/data_store.h"
#include "server/import/record.h"
#include "server/import/rejections.h"

namespace kesu_server {

/// What an import came to.
struct ImportResult {
  std::int64_t lines = 0;
  std::int64_t records = 0;
  Rejections rejected;
  Rejections passed_over;
  /// It went on from where another one was interrupted.
  bool was_resumed = false;
};

/// How far it has come in a file: bytes of how many, which are 0 where that is not known.
using ImportProgress = std::function<void(std::int64_t position, std::int64_t size)>;

/// So many stations are held in memory, 48 bytes each; what is more goes to a file beside the
/// database meanwhile.
inline constexpr std::size_t kStationsInMemory = std::size_t{1} << 20;

/// Reads files of stations into the database; `database_path` is the beginning of the names of
/// files that are needed meanwhile. Whoever reads that sees all of them or none. After an
/// interruption the same call goes on where it was, unless the files have changed. False, and why
/// in `error`.
bool ImportStations(const std::vector<std::string>& files, LineFormat* format,
                    const std::string& database_path, const DataStore& store,
                    const ImportProgress& progress, ImportResult* result, std::string* error,
                    std::size_t stations_in_memory = kStationsInMemory);

/// Reads files of places or addresses in one transaction.
bool ImportPlaces(const std::vector<std::string>& files, LineFormat* format, const DataStore& store,
                  const ImportProgress& progress, ImportResult* result, std::string* error);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_IMPORTER_H_
