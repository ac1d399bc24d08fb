#ifndef SERVER_STORAGE_SQLITE_ROWS_H_
#define SERVER_STORAGE_SQLITE_ROWS_H_

#include <cstdint>
#include <optional>

#include "server/storage/learned_station.h"
#include "server/storage/place.h"
#include "server/storage/sqlite_connection.h"
#include "server/storage/station.h"

/// Rows of the tables, and what they say. What is in a row may be anything: positions that are not
/// on earth, and numbers that make no sense, yield none.
namespace kesu_server {

inline constexpr char kStationColumns[] =
    "latitude, longitude, radius, samples, updated, power, exponent, shadowing";
inline constexpr int kNumberOfStationColumns = 8;

/// Reads kStationColumns, the first of which is `column`.
std::optional<ImportedStation> ReadStation(const StationKey& key, const SqliteStatement& row,
                                           int column);
/// Binds them, from `parameter` on.
void BindStation(const ImportedStation& station, int parameter, SqliteStatement* insert);

inline constexpr char kLearnedColumns[] =
    "area, id, weight, latitude, longitude, radius, south, north, west, east, first_seen,"
    " last_seen, times_blocked, blocked_until";
std::optional<LearnedStation> ReadLearned(const SqliteStatement& row);
void BindLearned(const LearnedStation& station, SqliteStatement* insert);

inline constexpr char kPlaceColumns[] = "south, west, name, region, country";
std::optional<Place> ReadPlace(const SqliteStatement& row);
/// For an INSERT of an id, the position's two coordinates, each for both sides of a box, and the
/// texts of kPlaceColumns.
inline constexpr char kInsertPlace[] =
    "INSERT OR REPLACE INTO place VALUES(?1, ?2, ?2, ?3, ?3, ?4, ?5, ?6)";
void BindPlace(std::int64_t id, const Place& place, SqliteStatement* insert);

inline constexpr char kAddressColumns[] =
    "south, west, number, street, unit, city, district, region, postcode, country";
std::optional<Address> ReadAddress(const SqliteStatement& row);
inline constexpr char kInsertAddress[] =
    "INSERT OR REPLACE INTO address VALUES(?1, ?2, ?2, ?3, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11)";
void BindAddress(std::int64_t id, const Address& address, SqliteStatement* insert);

}  // namespace kesu_server

#endif  // SERVER_STORAGE_SQLITE_ROWS_H_
