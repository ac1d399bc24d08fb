#ifndef SERVER_STORAGE_POSTGRES_CONNECTION_H_
#define SERVER_STORAGE_POSTGRES_CONNECTION_H_

#include <set>
#include <string>

#include <libpq-fe.h>

#include "server/storage/postgres_statements.h"
#include "server/storage/postgres_target.h"
#include "server/storage/postgres_values.h"

namespace kesu_server {

/// A connection to PostgreSQL for those who can wait. One that is lost is made anew by the next
/// call.
class PostgresConnection {
 public:
  /// `settings` are statements that each new connection begins with.
  PostgresConnection(PostgresTarget target, std::string settings);
  PostgresConnection(const PostgresConnection&) = delete;
  PostgresConnection& operator=(const PostgresConnection&) = delete;
  ~PostgresConnection();

  /// True at once when it is open.
  bool Open();
  /// Statements without parameters. Only while it is open, as those below.
  bool Execute(const std::string& sql);
  /// Rows in binary; null when it fails.
  PostgresResult Query(const std::string& sql, const PostgresParameters& parameters = {});
  PostgresResult Run(const PostgresStatement& statement, const PostgresParameters& parameters);

  /// Of the last call that failed. Never holds the password.
  const std::string& error() const { return error_; }
  PGconn* handle() const { return connection_; }
  /// Notes what the connection says is wrong; always false.
  bool Fail();

 private:
  PostgresResult Check(PGresult* result);

  PostgresTarget target_;
  std::string settings_;
  PGconn* connection_ = nullptr;
  std::set<std::string> prepared_;
  std::string error_;
};

/// A transaction that is undone unless it is committed.
class PostgresTransaction {
 public:
  explicit PostgresTransaction(PostgresConnection* connection);
  PostgresTransaction(const PostgresTransaction&) = delete;
  PostgresTransaction& operator=(const PostgresTransaction&) = delete;
  ~PostgresTransaction();

  bool has_begun() const { return is_open_; }
  bool Commit();

 private:
  PostgresConnection* connection_;
  bool is_open_;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_POSTGRES_CONNECTION_H_
