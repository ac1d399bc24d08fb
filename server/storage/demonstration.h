#ifndef SERVER_STORAGE_DEMONSTRATION_H_
#define SERVER_STORAGE_DEMONSTRATION_H_

#include <string>

#include "server/storage/data_set.h"
#include "server/storage/sqlite_storage.h"

namespace kesu_server {

/// Takes the tables of a data set into an empty storage; false, and why in `error`, when there is a
/// fault in one.
bool LoadDataSet(const DataSet& data, SqliteStorage* storage, std::string* error);

}  // namespace kesu_server

#endif  // SERVER_STORAGE_DEMONSTRATION_H_
