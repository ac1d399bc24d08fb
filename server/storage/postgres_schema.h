#ifndef SERVER_STORAGE_POSTGRES_SCHEMA_H_
#define SERVER_STORAGE_POSTGRES_SCHEMA_H_

#include <string>

namespace kesu_server {

/// The tables have partitions by hash of the key, so that they can be spread over disks, and each
/// has an index of its own that fits into memory sooner.
inline constexpr int kPostgresPartitions = 16;

inline constexpr int kPostgresSchemaVersion = 1;

/// Makes the schema "kesu" and what is in it, to be run in a transaction in an empty database.
std::string PostgresSchemaText();

/// A transaction that changes what is imported holds this advisory lock.
inline constexpr char kLockForImport[] = "SELECT pg_advisory_xact_lock(1265988469)";

/// Counts what the tables hold and raises the version of the data; to be run at the end of a
/// transaction that changed them.
std::string PostgresCountRows();

}  // namespace kesu_server

#endif  // SERVER_STORAGE_POSTGRES_SCHEMA_H_
