#include "server/import/import_mark.h"

#include <memory>
#include <string_view>

#include <glib.h>

namespace kesu_server {
namespace {

std::int64_t NumberFrom(SqliteStorage* storage, const std::string& sql) {
  return storage->connection()->Integer(sql).value_or(0);
}

std::int64_t NumberFrom(PostgresStorage* storage, const std::string& sql) {
  PostgresConnection* const connection = storage->connection();
  if (!connection->Open()) return 0;
  const PostgresResult rows = connection->Query(sql);
  return rows && PQntuples(rows.get()) > 0 ? PostgresRow(rows.get(), 0).Integer(0) : 0;
}

bool ChangesOneRow(SqliteStorage* storage, const std::string& sql) {
  return storage->connection()->Execute(sql) &&
         sqlite3_changes(storage->connection()->handle()) == 1;
}

bool ChangesOneRow(PostgresStorage* storage, const std::string& sql) {
  const PostgresResult result = storage->connection()->Query(sql);
  return result && std::string_view(PQcmdTuples(result.get())) == "1";
}

const char* Table(const DataStore& store) {
  return std::holds_alternative<SqliteStorage*>(store) ? "meta" : "kesu.meta";
}

}  // namespace

ImportMark::ImportMark(const std::string& identity, const DataStore& store) : store_(store) {
  if (identity.empty()) return;
  const std::unique_ptr<char, decltype(&g_free)> digest(
      g_compute_checksum_for_string(G_CHECKSUM_SHA256, identity.c_str(), -1), g_free);
  name_ = std::string("'reports ") + digest.get() + "'";
  const std::string sql =
      std::string("SELECT value FROM ") + Table(store_) + " WHERE name = " + name_;
  reports_ = std::visit([&](auto* storage) { return NumberFrom(storage, sql); }, store_);
}

bool ImportMark::Change(const std::string& sql) {
  return std::visit([&](auto* storage) { return ChangesOneRow(storage, sql); }, store_);
}

bool ImportMark::Move(std::int64_t reports) {
  if (name_.empty()) return true;
  const std::string table = Table(store_);
  const std::string value = std::to_string(reports);
  const std::string sql =
      reports_ == 0 ? "INSERT INTO " + table + " VALUES(" + name_ + ", " + value + ")"
                    : "UPDATE " + table + " SET value = " + value + " WHERE name = " + name_ +
                          " AND value = " + std::to_string(reports_);
  if (!Change(sql)) return false;
  reports_ = reports;
  return true;
}

bool ImportMark::Remove() {
  const std::string table = Table(store_);
  return (reports_ == 0 || Change("DELETE FROM " + table + " WHERE name = " + name_ +
                                  " AND value = " + std::to_string(reports_))) &&
         Change("UPDATE " + table + " SET value = value + 1 WHERE name = 'data_version'");
}

}  // namespace kesu_server
