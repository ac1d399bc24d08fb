#ifndef SERVER_STORAGE_NEAREST_QUERY_H_
#define SERVER_STORAGE_NEAREST_QUERY_H_

#include "server/storage/sqlite_connection.h"

namespace kesu_server {

/// Gives the connection the condition "id MATCH nearest(LATITUDE, LONGITUDE, METRES)" for the
/// R*Trees of the schema: the rows within that distance of the point, the nearest first. A query
/// with a LIMIT looks at no more of the tree than it needs.
bool AddNearestQuery(SqliteConnection* connection);

}  // namespace kesu_server

#endif  // SERVER_STORAGE_NEAREST_QUERY_H_
