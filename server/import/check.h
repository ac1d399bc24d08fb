#ifndef SERVER_IMPORT_CHECK_H_
#define SERVER_IMPORT_CHECK_H_

#include <string>
#include <vector>

#include "server/import/data_store.h"

namespace kesu_server {

/// What is wrong with a database, a line for each: pages that are damaged, indexes that contradict
/// their tables, rows that make no sense. Reads all of it.
std::vector<std::string> FindFaults(const DataStore& store);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_CHECK_H_
