#ifndef SERVER_IMPORT_FORMATS_H_
#define SERVER_IMPORT_FORMATS_H_

#include <memory>
#include <string>

#include "server/import/place_names.h"
#include "server/import/record.h"

namespace kesu_server {

/// The formats of files; docs/data.md describes each.
std::unique_ptr<LineFormat> NewCellFormat();
std::unique_ptr<LineFormat> NewWifiFormat();
std::unique_ptr<LineFormat> NewReportFormat();
/// Takes places of the feature classes that `classes` lists. `names` is borrowed.
std::unique_ptr<LineFormat> NewPlaceFormat(const std::string& classes, const PlaceNames* names);
/// The country of all addresses, which their files do not say; may be empty.
std::unique_ptr<LineFormat> NewAddressFormat(const std::string& country);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_FORMATS_H_
