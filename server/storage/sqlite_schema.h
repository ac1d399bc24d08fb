#ifndef SERVER_STORAGE_SQLITE_SCHEMA_H_
#define SERVER_STORAGE_SQLITE_SCHEMA_H_

#include <cstdint>
#include <string>

#include "server/storage/sqlite_connection.h"

/// The tables of a database. Positions are in units of 1e-7 degrees, radii in metres, times in
/// seconds since 1970; docs/data.md describes the columns.
namespace kesu_server {

inline constexpr int kSchemaVersion = 1;

/// Makes the tables in an empty database, which may be in memory.
bool CreateSchema(SqliteConnection* connection);

/// Whether this is a database of ours with the very tables of this version. Else `error` says what
/// it is.
bool CheckSchema(SqliteConnection* connection, const std::string& path, std::string* error);

/// A file that has nothing in it yet.
bool IsEmptyDatabase(SqliteConnection* connection);

/// Counts what the tables hold and raises the version of the data; to be called before a
/// transaction that changed them is committed.
bool CountRows(SqliteConnection* connection);

}  // namespace kesu_server

#endif  // SERVER_STORAGE_SQLITE_SCHEMA_H_
