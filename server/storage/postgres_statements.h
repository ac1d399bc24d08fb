#ifndef SERVER_STORAGE_POSTGRES_STATEMENTS_H_
#define SERVER_STORAGE_POSTGRES_STATEMENTS_H_

#include <string>
#include <vector>

/// The statements that are prepared on connections to PostgreSQL. docs/data.md describes the
/// tables.
namespace kesu_server {

struct PostgresStatement {
  const char* name;
  std::string sql;
};

/// Stations: the position of the key in the arrays, counted from 1 or as the arrays say, then the
/// columns of the station, for a cell behind its id. Several rows may answer for one cell.
const PostgresStatement& FindAccessPoints();
const PostgresStatement& FindCells();
const PostgresStatement& FindLearned();

/// The position of the point in the arrays, and what is near it.
const PostgresStatement& NearestPlaces();
const PostgresStatement& NearestAddresses();

/// Takes rows, whose keys ascend, in place of those that are there. No two that store the same keys
/// can wait for each other.
const PostgresStatement& StoreLearned();
/// Makes rows for those keys that have none; then finds all, and keeps others from changing them
/// until the transaction ends.
const PostgresStatement& MakeLearned();
const PostgresStatement& LockLearned();

/// "area = excluded.area, id = excluded.id", of "area, id": for ON CONFLICT DO UPDATE SET.
std::string TakeExcluded(const std::string& columns);

/// What connections that look up begin with.
std::vector<std::string> LookupSettings();

}  // namespace kesu_server

#endif  // SERVER_STORAGE_POSTGRES_STATEMENTS_H_
