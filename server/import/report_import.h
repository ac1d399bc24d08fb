#ifndef SERVER_IMPORT_REPORT_IMPORT_H_
#define SERVER_IMPORT_REPORT_IMPORT_H_

#include <cstddef>
#include <string>
#include <vector>

#include "server/import/data_store.h"
#include "server/import/importer.h"
#include "server/import/record.h"

namespace kesu_server {

/// So many lessons are written in one transaction: others that learn have their turn between two.
inline constexpr std::size_t kLessonsInTransaction = 5'000;

/// Lets the database learn what the reports of files teach, as a server does that learns. Readers
/// see it grow. After an interruption the same call goes on where it was, and learns nothing twice,
/// unless the files have changed. False, and why in `error`.
bool ImportReports(const std::vector<std::string>& files, LineFormat* format,
                   const DataStore& store, const ImportProgress& progress, ImportResult* result,
                   std::string* error, std::size_t lessons_in_transaction = kLessonsInTransaction);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_REPORT_IMPORT_H_
