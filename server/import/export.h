#ifndef SERVER_IMPORT_EXPORT_H_
#define SERVER_IMPORT_EXPORT_H_

#include <functional>
#include <string>
#include <string_view>

#include "server/storage/sqlite_storage.h"

namespace kesu_server {

using LineWriter = std::function<bool(std::string_view line)>;

/// Each writes lines that can be imported again, with what the tables keep; false when the database
/// fails or `write` does.
bool ExportCells(SqliteStorage* storage, const LineWriter& write);
bool ExportWifi(SqliteStorage* storage, const LineWriter& write);
bool ExportPlaces(SqliteStorage* storage, const LineWriter& write);
bool ExportAddresses(SqliteStorage* storage, const LineWriter& write);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_EXPORT_H_
