#ifndef SERVER_IMPORT_EXPORT_H_
#define SERVER_IMPORT_EXPORT_H_

#include <functional>
#include <string>
#include <string_view>

#include "server/import/data_store.h"

namespace kesu_server {

using LineWriter = std::function<bool(std::string_view line)>;

/// Each writes lines that can be imported again, with what the tables keep; false when the database
/// fails or `write` does.
bool ExportCells(const DataStore& store, const LineWriter& write);
bool ExportWifi(const DataStore& store, const LineWriter& write);
bool ExportPlaces(const DataStore& store, const LineWriter& write);
bool ExportAddresses(const DataStore& store, const LineWriter& write);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_EXPORT_H_
