#include "server/storage/postgres_connection.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace kesu_server {
namespace {

constexpr int kBinary = 1;

struct ParameterPointers {
  explicit ParameterPointers(const PostgresParameters& parameters) {
    for (const std::string& value : parameters.values()) {
      values.push_back(value.data());
      lengths.push_back(static_cast<int>(value.size()));
    }
    formats.assign(values.size(), kBinary);
  }
  int count() const { return static_cast<int>(values.size()); }

  std::vector<const char*> values;
  std::vector<int> lengths;
  std::vector<int> formats;
};

}  // namespace

PostgresConnection::PostgresConnection(PostgresTarget target, std::string settings)
    : target_(std::move(target)), settings_(std::move(settings)) {}

PostgresConnection::~PostgresConnection() {
  PQfinish(connection_);
}

bool PostgresConnection::Open() {
  if (PQstatus(connection_) == CONNECTION_OK) return true;
  for (std::size_t i = 0; i < target_.attempts(); ++i) {
    PQfinish(connection_);
    prepared_.clear();
    const PostgresTarget::Attempt attempt = target_.attempt(i);
    connection_ = PQconnectdbParams(attempt.keywords.data(), attempt.values.data(), 1);
    if (PQstatus(connection_) == CONNECTION_OK && (settings_.empty() || Execute(settings_))) {
      PQsetNoticeProcessor(
          connection_, [](void*, const char*) {}, nullptr);
      return true;
    }
    Fail();
  }
  PQfinish(std::exchange(connection_, nullptr));
  return false;
}

bool PostgresConnection::Fail() {
  error_ = PQerrorMessage(connection_);
  while (!error_.empty() && error_.back() == '\n') error_.pop_back();
  return false;
}

bool PostgresConnection::Execute(const std::string& sql) {
  const PostgresResult result(PQexec(connection_, sql.c_str()));
  const ExecStatusType status = PQresultStatus(result.get());
  return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK || Fail();
}

PostgresResult PostgresConnection::Check(PGresult* result) {
  PostgresResult checked(result);
  const ExecStatusType status = PQresultStatus(result);
  if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) return checked;
  Fail();
  return nullptr;
}

PostgresResult PostgresConnection::Query(const std::string& sql,
                                         const PostgresParameters& parameters) {
  const ParameterPointers given(parameters);
  return Check(PQexecParams(connection_, sql.c_str(), given.count(), nullptr, given.values.data(),
                            given.lengths.data(), given.formats.data(), kBinary));
}

PostgresResult PostgresConnection::Run(const PostgresStatement& statement,
                                       const PostgresParameters& parameters) {
  if (!prepared_.contains(statement.name)) {
    if (!Check(PQprepare(connection_, statement.name, statement.sql.c_str(), 0, nullptr))) {
      return nullptr;
    }
    prepared_.insert(statement.name);
  }
  const ParameterPointers given(parameters);
  return Check(PQexecPrepared(connection_, statement.name, given.count(), given.values.data(),
                              given.lengths.data(), given.formats.data(), kBinary));
}

PostgresTransaction::PostgresTransaction(PostgresConnection* connection)
    : connection_(connection), is_open_(connection->Open() && connection->Execute("BEGIN")) {}

PostgresTransaction::~PostgresTransaction() {
  if (is_open_) PQclear(PQexec(connection_->handle(), "ROLLBACK"));
}

bool PostgresTransaction::Commit() {
  // What has failed before makes it a rollback, which succeeds.
  const bool is_good = PQtransactionStatus(connection_->handle()) == PQTRANS_INTRANS;
  if (!is_good || !connection_->Execute("COMMIT")) return false;
  is_open_ = false;
  return true;
}

}  // namespace kesu_server
