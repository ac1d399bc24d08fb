#ifndef SERVER_STORAGE_SQLITE_ROWS_H_
#define SERVER_STORAGE_SQLITE_ROWS_H_

#include "server/storage/record_columns.h"

/// Places and addresses in the R*Trees of SQLite, which keep a box of each.
namespace kesu_server {

inline constexpr char kPlaceColumns[] = "south, west, name, region, country";
/// For BindPlace(): each coordinate stands for both sides of the box.
inline constexpr char kInsertPlace[] =
    "INSERT OR REPLACE INTO place VALUES(?1, ?2, ?2, ?3, ?3, ?4, ?5, ?6)";

inline constexpr char kAddressColumns[] =
    "south, west, number, street, unit, city, district, region, postcode, country";
inline constexpr char kInsertAddress[] =
    "INSERT OR REPLACE INTO address VALUES(?1, ?2, ?2, ?3, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11)";

}  // namespace kesu_server

#endif  // SERVER_STORAGE_SQLITE_ROWS_H_
